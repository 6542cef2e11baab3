#ifndef TESTS_SUPPORT_ONEWATCHER_H
#define TESTS_SUPPORT_ONEWATCHER_H

#include <functional>
#include <string>

#include "messages.pb.h"
#include "requesthandler.h"

/// Stands for the dispatcher: puts requests to a handler, commits each at once, and keeps what the
/// one who watches has been told.
class OneWatcher : private PbUtility::Publisher, private PbUtility::Client {
public:
    pbcommon::Reply ask(PbUtility::RequestHandler& handler, const PbUtility::Requester& requester,
                        const pbcommon::Request& request) {
        pbcommon::Reply reply, failure;
        const bool bFinal =
            handler.handle(requester, request, reply, *this) == PbUtility::Answer::kFinal;
        return bFinal || handler.commit(*this, failure) == kNoError ? reply : failure;
    }

    PbUtility::Watcher watcher;
    pbcommon::Change told;

private:
    eErrorT watch(PbUtility::Watcher asked) override { return watcher = asked, kNoError; }
    void publish(
        const std::function<bool(const PbUtility::Watcher&, pbcommon::Reply&)>& news) override {
        pbcommon::Reply message;
        if (news(watcher, message)) told = message.change();
    }
};

#endif
