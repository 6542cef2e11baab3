#ifndef TESTS_SUPPORT_ONEWATCHER_H
#define TESTS_SUPPORT_ONEWATCHER_H

#include <string>
#include <vector>

#include "messages.pb.h"
#include "requesthandler.h"

/// Acts as the dispatcher: puts requests to a handler, commits each at once or several together,
/// and keeps what the one who watches has been told last.
class OneWatcher {
public:
    pbcommon::Reply ask(PbUtility::RequestHandler& handler, const pbcommon::Requester& requester,
                        const pbcommon::Request& request) {
        pbcommon::Reply reply;
        const PbUtility::Answer answer = handler.handle(requester, request, reply);
        if (answer.watcher) watcher = *answer.watcher;
        if (answer.bUncommitted && !bHeld) (void)commit(handler, reply);
        return reply;
    }
    /// @param reply  becomes the failure, when there is one
    eErrorT commit(PbUtility::RequestHandler& handler, pbcommon::Reply& reply) {
        PbUtility::Revisions revisions;
        pbcommon::Reply failure;
        const eErrorT result = handler.commit(revisions, failure);
        if (result != kNoError) reply = failure;
        for (std::uint64_t n = revisions.nFirst; n <= revisions.nLast; ++n) {
            pbcommon::Event event;
            if (handler.tell(n, watcher, event)) all.push_back(told = event.change());
        }
        handler.release();
        return result;
    }

    bool bHeld = false;  ///< changes wait for commit()

    PbUtility::Watcher watcher;
    pbcommon::Change told;
    std::vector<pbcommon::Change> all;
};

#endif
