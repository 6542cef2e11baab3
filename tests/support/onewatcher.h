#ifndef TESTS_SUPPORT_ONEWATCHER_H
#define TESTS_SUPPORT_ONEWATCHER_H

#include <functional>
#include <string>

#include "messages.pb.h"
#include "requesthandler.h"

/// Stands for all who watch; keeps what one watcher has been told.
class OneWatcher : public PbUtility::Publisher {
public:
    void publish(
        const std::function<bool(const PbUtility::Watcher&, pbcommon::Reply&)>& news) override {
        pbcommon::Reply message;
        if (news(watcher, message)) told = message.change();
    }

    PbUtility::Watcher watcher;
    pbcommon::Change told;
};

#endif
