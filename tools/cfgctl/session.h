#ifndef CFGCTL_SESSION_H
#define CFGCTL_SESSION_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "connection.h"
#include "messages.pb.h"

namespace cfgctl {

/// What the options of one run say.
struct OptionsT {
    std::optional<pbcommon::Role> role{};  ///< nothing: the service's default
    std::string sSocket{};                 ///< empty: where the service usually listens
    Connection::Clock::duration timeout = std::chrono::seconds(10);
    bool bJson = false;
    bool bDryRun = false;
    bool bVerbose = false;
    bool bQuiet = false;
    bool bReveal = false;
    bool bYes = false;
    bool bDot = false;
    bool bFull = false;
    bool bChanged = false;
    std::optional<std::uint64_t> mostChanges{};
    std::optional<std::uint64_t> since{};  ///< revision
};

/// Has a request answered. @throws Failure  as Connection does
using AskT = std::function<pbcommon::Reply(const pbcommon::Request& request)>;

/// What the commands of one run share: the options and the connection.
class Session {
public:
    explicit Session(const OptionsT& options);

    [[nodiscard]] const OptionsT& options() const { return m_options; }

    /// Completes the request and has it answered. @throws Failure  as Connection does
    [[nodiscard]] pbcommon::Reply ask(pbcommon::Request request);

    /// Asks on this session, which outlives it.
    [[nodiscard]] AskT asking();

    /// After an ask(): a further reply. @throws Failure  as Connection does
    [[nodiscard]] pbcommon::Reply next();

private:
    OptionsT m_options;
    Connection m_connection;
};

/// The variables that match a pattern, all pages in one reply; when a page is refused, its code and
/// tags, and the variables before it. @param bChanged  only those whose value is not the default
[[nodiscard]] pbcommon::Reply listAll(const AskT& ask, const std::string& pattern,
                                      bool bChanged = false);

/// The newest changes that touch a variable that matches a pattern, the newest first, all pages in
/// one reply; when a page is refused, its code and tags, and the changes before it.
/// @param nMost  changes, at least 1
[[nodiscard]] pbcommon::Reply newestChanges(const AskT& ask, const std::string& pattern,
                                            std::uint32_t nMost);

}  // namespace cfgctl

#endif
