#include "audit.h"

#include <algorithm>

#include "clientlimits.h"
#include "login.h"
#include "logmsg.h"
#include "names.h"

namespace pbcommon {

namespace {

/// Users that are remembered; one whose lines are not limited now is forgotten for another.
constexpr std::size_t kMaxUsers = 256;

}  // namespace

Audit::User& Audit::userOf(uid_t uid, Clock::time_point now) {
    if (m_users.size() >= kMaxUsers && !m_users.contains(uid)) {
        std::erase_if(m_users, [now](const auto& entry) {
            const std::chrono::duration<double> idle = now - entry.second.since;
            return entry.second.lines + idle.count() * kLogLinesPerSecond >= kLogLinesAtOnce;
        });
    }
    return m_users.try_emplace(uid, User{.lines = kLogLinesAtOnce, .since = now}).first->second;
}

bool Audit::admits(uid_t uid, Clock::time_point now) {
    User& user = userOf(uid, now);
    const std::chrono::duration<double> passed = now - user.since;
    user.lines = std::min(kLogLinesAtOnce, user.lines + passed.count() * kLogLinesPerSecond);
    user.since = now;
    if (user.lines < 1) {
        if (user.nLeftOut++ == 0) {
            logwarn("cfgCommon", "too many lines about uid %u: leaving out some\n", uid);
        }
        return false;
    }
    if (user.nLeftOut > 0) {
        logwarn("cfgCommon", "lines about uid %u that were left out: %llu\n", uid,
                static_cast<unsigned long long>(user.nLeftOut));
        user.nLeftOut = 0;
    }
    user.lines -= 1;
    return true;
}

std::string Audit::describe(const Requester& requester) {
    User& user = userOf(requester.uid, Clock::now());
    if (user.sLogin.empty()) {
        const std::string sLogin = loginOf(requester.uid);
        user.sLogin = sLogin.empty() ? "(no login)" : "(" + sLogin + ")";
    }
    return "uid " + std::to_string(requester.uid) + " " + user.sLogin + ", process " +
           std::to_string(requester.pid) + " (" + requester.sClient + "), role " +
           roleName(requester.role);
}

}  // namespace pbcommon
