#ifndef TESTS_SUPPORT_ONEWATCHER_H
#define TESTS_SUPPORT_ONEWATCHER_H

#include <functional>
#include <string>
#include <vector>

#include "messages.pb.h"
#include "requesthandler.h"

/// Acts as the dispatcher: puts requests to a handler, commits each at once or several together,
/// and keeps what the one who watches has been told last.
class OneWatcher : private PbUtility::Publisher, private PbUtility::Client {
public:
    pbcommon::Reply ask(PbUtility::RequestHandler& handler, const pbcommon::Requester& requester,
                        const pbcommon::Request& request) {
        pbcommon::Reply reply, failure;
        const bool bFinal =
            handler.handle(requester, request, reply, *this) == PbUtility::Answer::kFinal;
        return bFinal || bHeld || handler.commit(*this, failure) == kNoError ? reply : failure;
    }
    eErrorT commit(PbUtility::RequestHandler& handler) {
        pbcommon::Reply failure;
        return handler.commit(*this, failure);
    }

    bool bHeld = false;  ///< changes wait for commit()

    PbUtility::Watcher watcher;
    pbcommon::Change told;
    std::vector<pbcommon::Change> all;

private:
    eErrorT watch(PbUtility::Watcher asked) override { return watcher = asked, kNoError; }
    void publish(
        const std::function<bool(const PbUtility::Watcher&, pbcommon::Reply&)>& news) override {
        pbcommon::Reply message;
        if (news(watcher, message)) told = message.change(), all.push_back(told);
    }
};

#endif
