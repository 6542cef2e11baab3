#ifndef PBCOMMON_LOGIN_H
#define PBCOMMON_LOGIN_H

#include <sys/types.h>

#include <string>

namespace pbcommon {

/// The login name of a user, cleaned; empty without one.
[[nodiscard]] std::string loginOf(uid_t uid);

}  // namespace pbcommon

#endif
