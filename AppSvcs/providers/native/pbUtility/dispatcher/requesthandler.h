#ifndef PBUTILITY_DISPATCHER_REQUESTHANDLER_H
#define PBUTILITY_DISPATCHER_REQUESTHANDLER_H

#include <functional>
#include <string>

#include "ErrTypes.h"
#include "SecurityRole.h"
#include "requester.h"

namespace pbcommon {
class Reply;
class Request;
}  // namespace pbcommon

namespace PbUtility {

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

/// The connection that a request came over.
class Client {
public:
    virtual ~Client() = default;

    /// From now on it is told of changes.
    /// @return kNoError; kOutOfResources (there are too many watchers)
    [[nodiscard]] virtual eErrorT watch(Watcher watcher) = 0;
};

/// What an answer is worth.
enum class Answer {
    kFinal,        ///< it may be sent
    kUncommitted,  ///< it, and every answer behind it, has to wait for commit()
};

/// Where the dispatcher delivers requests that it does not answer itself.
class RequestHandler {
public:
    virtual ~RequestHandler() = default;

    /// Called on the dispatcher's thread before the first request.
    virtual void dispatchingBegins() = 0;

    /// Answers one request. Dispatcher's thread, one call at a time. Between an uncommitted answer
    /// and commit() only requests that set something are handed over: no other sees what may yet
    /// be undone.
    /// @param reply   empty; what it holds on return is sent
    /// @param client  for a request to watch
    [[nodiscard]] virtual Answer handle(const pbcommon::Requester& requester,
                                        const pbcommon::Request& request, pbcommon::Reply& reply,
                                        Client& client) = 0;

    /// Makes durable, all at once, what the uncommitted answers tell of, then tells the watchers.
    /// @param failure  empty; on a failure the answer to each of the requests since the first
    ///                 uncommitted one, whatever had been its own
    /// @return kNoError; kWriteError (logged; everything they did has been undone)
    [[nodiscard]] virtual eErrorT commit(Publisher& publisher, pbcommon::Reply& failure) = 0;
};

}  // namespace PbUtility

#endif
