#ifndef CONFIG_REQUESTS_AUDIENCE_H
#define CONFIG_REQUESTS_AUDIENCE_H

#include <string>
#include <string_view>

#include "SecurityRole.h"
#include "messages.pb.h"

namespace AppConfig {

class ConfigStore;

/// Whoever is told of changes. A role hears of nothing that it may not read: not of a variable, nor
/// that one is behind a change of another.
class Audience {
public:
    enum class Hears {
        kNews,     ///< right after the change: also that a variable appears or disappears
        kHistory,  ///< later: of what it could read then and can read now
    };

    /// @param store  borrowed
    Audience(ConfigStore& store, SecurityRole role, Hears hears)
        : m_store(store), m_role(role), m_hears(hears) {}

    /// Fills `told` with what may be told of a change.
    /// @return whether that touches a variable whose address matches
    bool tell(const pbcommon::Change& change, std::string_view sPattern,
              pbcommon::Change& told) const;
    /// The effects alone.
    void tell(const pbcommon::Change& change,
              google::protobuf::RepeatedPtrField<pbcommon::Effect>& told) const;

private:
    [[nodiscard]] bool mayRead(const std::string& sVariable) const;
    void mask(const std::string& sVariable, std::string& sValue) const;
    [[nodiscard]] bool mayHear(const std::string& sVariable, pbcommon::Role reader) const;

    ConfigStore& m_store;
    const SecurityRole m_role;
    const Hears m_hears;
};

}  // namespace AppConfig

#endif
