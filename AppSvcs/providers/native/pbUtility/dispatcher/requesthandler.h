#ifndef PBUTILITY_DISPATCHER_REQUESTHANDLER_H
#define PBUTILITY_DISPATCHER_REQUESTHANDLER_H

#include <sys/types.h>

#include <functional>
#include <string>

#include "SecurityRole.h"

namespace pbcommon {
class Reply;
class Request;
}  // namespace pbcommon

namespace PbUtility {

/// Who asks: what the kernel vouches for (uid, pid), the role granted, and the name that the client
/// gives itself, made printable.
struct Requester {
    AppConfig::SecurityRole role = AppConfig::kUser;
    uid_t uid = 0;
    pid_t pid = 0;
    std::string sClient;
};

/// "uid 0, process 4711 (cfgctl), role admin", for log records.
[[nodiscard]] std::string describe(const Requester& requester);

/// A client that wants to be told of changes.
struct Watcher {
    AppConfig::SecurityRole role = AppConfig::kUser;
    std::string sPattern;  ///< of addresses, '*' standing for any text
};

/// Tells the clients that watch.
class Publisher {
public:
    virtual ~Publisher() = default;

    /// @param news  called for each watcher; fills the message for it, or returns false when this
    ///              watcher is to hear nothing. Not kept.
    virtual void publish(
        const std::function<bool(const Watcher& watcher, pbcommon::Reply& message)>& news) = 0;
};

/// Where the dispatcher delivers requests that it does not answer itself.
class RequestHandler {
public:
    virtual ~RequestHandler() = default;

    /// Called on the dispatcher's thread before the first request.
    virtual void dispatchingBegins() = 0;

    /// Answers one request. Dispatcher's thread, one call at a time.
    /// @param reply      empty; what it holds on return is sent
    /// @param publisher  for what others are to hear of it
    virtual void handle(const Requester& requester, const pbcommon::Request& request,
                        pbcommon::Reply& reply, Publisher& publisher) = 0;
};

}  // namespace PbUtility

#endif
