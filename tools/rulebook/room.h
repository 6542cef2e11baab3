#ifndef RULEBOOK_ROOM_H
#define RULEBOOK_ROOM_H

#include <filesystem>
#include <list>
#include <string>
#include <vector>

#include "AppConfigServiceProvider.h"
#include "UICntrlConfigHandler.h"
#include "VantorTouchConfigHandler.h"
#include "model/state.h"
#include "requester.h"
#include "store/configstore.h"

namespace rulebook {

using AppConfig::Cell;

/// What is part of a setting's state.
struct CellStateT {
    std::string sValue;
    std::vector<std::string> offered;
    AppConfig::AccessLevel access;

    bool operator==(const CellStateT&) const = default;
};
using StateT = std::vector<CellStateT>;  ///< of all settings, in the order of the schema

/// What a change, or a start, would do.
struct OutcomeT {
    bool bAccepted = false;
    bool bByHandler = false;  ///< a handler has refused it
    std::list<std::string> tags{};
    std::vector<AppConfig::RecordedEffect> effects{};
    std::vector<AppConfig::Reads::Read> verdictReads{}, effectReads{};
    StateT after{};  ///< of an accepted one
};

/// The service with all of its rules, but without clients: settings are put into any state, and
/// what would follow is rehearsed. One in a process.
class Room {
public:
    /// Starts the service on the schema's defaults.
    Room();
    ~Room();

    Room(const Room&) = delete;
    Room& operator=(const Room&) = delete;

    [[nodiscard]] const std::vector<Cell>& cells() const { return m_store->cells(); }
    [[nodiscard]] std::size_t indexOf(const Cell& cell) const {
        return static_cast<std::size_t>(&cell - cells().data());
    }
    [[nodiscard]] StateT state() const;
    /// Past all rules.
    void put(const StateT& state);
    void putValue(const Cell& cell, const std::string& sValue);

    [[nodiscard]] OutcomeT rehearse(const Cell& cell, const std::string& sValue,
                                    AppConfig::SecurityRole role);
    /// Lets the service start in the present state.
    [[nodiscard]] OutcomeT restart();
    /// The handler's verdict alone.
    [[nodiscard]] bool isValid(const Cell& cell, const std::string& sValue);

private:
    void note(OutcomeT& outcome, const AppConfig::Record& record) const;

    std::filesystem::path m_directory;  ///< of the endpoint, which nobody uses
    std::unique_ptr<AppConfigProvider::AppConfigServiceProvider> m_provider;
    AppConfig::ConfigStore* m_store = nullptr;
    // of its own: the service's are not for others to start
    AppConfigProvider::UICntrlConfigHandler m_userInterface;
    AppConfigProvider::VantorTouchConfigNotificationHandler m_touchPanel;
};

}  // namespace rulebook

#endif
