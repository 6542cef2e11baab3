#ifndef PBUTILITY_DISPATCHER_USER_H
#define PBUTILITY_DISPATCHER_USER_H

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <memory>

#include "SecurityRole.h"

namespace PbUtility {

class Session;

/// What the connections of one user take of the service together: turns and limits are per user, so
/// that more connections bring nobody more. Dispatcher's thread.
struct User {
    uid_t uid = 0;
    std::size_t nConnections = 0;
    std::size_t nWatches = 0;
    std::size_t nInputBytes = 0;  ///< memory for what has come in and is not served
    /// Those with a request to be served, who has waited longest first.
    std::deque<std::shared_ptr<Session>> ready{};
    std::chrono::steady_clock::time_point restsUntil{};
};

}  // namespace PbUtility

#endif
