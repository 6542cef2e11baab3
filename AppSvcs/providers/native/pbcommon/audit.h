#ifndef PBCOMMON_AUDIT_H
#define PBCOMMON_AUDIT_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

#include "requester.h"

namespace pbcommon {

/// Log lines about what users do: who it was, with the login name, and not so many about any one
/// user that they push all else out of the log. One thread at a time.
class Audit {
public:
    using Clock = std::chrono::steady_clock;

    /// Whether a line about a user may be written: 100 at once, 10 a second. When lines begin to be
    /// left out that is logged, and how many they were before the next one that is written.
    [[nodiscard]] bool admits(uid_t uid, Clock::time_point now = Clock::now());
    /// "uid 1000 (anna), process 4711 (cfgctl), role admin"; of an admitted line.
    [[nodiscard]] std::string describe(const Requester& requester);

private:
    struct User {
        double lines = 0;  ///< that may be written at once
        Clock::time_point since;
        std::uint64_t nLeftOut = 0;
        std::string sLogin{};  ///< "(anna)"; empty until it is looked up
    };
    [[nodiscard]] User& userOf(uid_t uid, Clock::time_point now);

    std::map<uid_t, User> m_users;
};

}  // namespace pbcommon

#endif
