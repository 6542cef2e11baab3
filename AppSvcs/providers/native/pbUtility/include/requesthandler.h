#ifndef PBUTILITY_INCLUDE_REQUESTHANDLER_H
#define PBUTILITY_INCLUDE_REQUESTHANDLER_H

#include <cstdint>
#include <optional>
#include <string>

#include "ErrTypes.h"
#include "SecurityRole.h"
#include "requester.h"

namespace pbcommon {
class Event;
class Reply;
class Request;
}  // namespace pbcommon

namespace PbUtility {

/// A client that wants to be notified of changes.
struct Watcher {
    AppConfig::SecurityRole role = AppConfig::kUser;
    std::string sPattern;  ///< of addresses, '*' matching any text
};

/// What a reply means for the dispatcher.
struct Answer {
    bool bUncommitted = false;         ///< it, and every reply after it, has to wait for commit()
    std::optional<Watcher> watcher{};  ///< begins to watch
};

/// The revisions of the changes that one commit has made durable.
struct Revisions {
    std::uint64_t nFirst = 1;
    std::uint64_t nLast = 0;  ///< less than the first: there are none
};

/// Where the dispatcher delivers the requests that it does not answer itself. Dispatcher's thread,
/// one call at a time.
class RequestHandler {
public:
    virtual ~RequestHandler() = default;

    /// Called before the first request.
    virtual void dispatchingBegins() = 0;

    /// Whether a request may change something. Between an uncommitted answer and commit() only
    /// these are handed over: no other sees what may yet be undone.
    [[nodiscard]] virtual bool isChange(const pbcommon::Request& request) const = 0;

    /// Answers one request.
    /// @param reply  empty but for the request's id; what it holds on return is sent
    [[nodiscard]] virtual Answer handle(const pbcommon::Requester& requester,
                                        const pbcommon::Request& request,
                                        pbcommon::Reply& reply) = 0;

    /// Makes durable, all at once, what the uncommitted answers report.
    /// @param failure  empty; on a failure it becomes the answer to each of the requests since the
    ///                 first uncommitted one, whatever had been its own
    /// @return kNoError; kWriteError (logged; everything they did has been undone)
    [[nodiscard]] virtual eErrorT commit(Revisions& revisions, pbcommon::Reply& failure) = 0;

    /// Reports a change of the last commit() to one who watches.
    /// @param event  empty
    /// @return false when there is nothing in it for this watcher
    [[nodiscard]] virtual bool tell(std::uint64_t nRevision, const Watcher& watcher,
                                    pbcommon::Event& event) = 0;

    /// Every watcher has been notified of the last commit().
    virtual void release() = 0;
};

}  // namespace PbUtility

#endif
