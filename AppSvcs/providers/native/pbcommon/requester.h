#ifndef PBCOMMON_REQUESTER_H
#define PBCOMMON_REQUESTER_H

#include <sys/types.h>

#include <string>

#include "SecurityRole.h"

namespace pbcommon {

/// Who asks: what the kernel vouches for (uid, pid), the role granted, and the name that the client
/// gives itself, cleaned.
struct Requester {
    AppConfig::SecurityRole role = AppConfig::kUser;
    uid_t uid = 0;
    pid_t pid = 0;
    std::string sClient;
};

/// "uid 0, process 4711 (cfgctl), role admin", for log records.
[[nodiscard]] std::string describe(const Requester& requester);

}  // namespace pbcommon

#endif
