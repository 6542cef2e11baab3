#ifndef TESTS_PLATFORM_DISPATCHERCASE_H
#define TESTS_PLATFORM_DISPATCHERCASE_H

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <mutex>

#include "dispatcher.h"
#include "logfile.h"
#include "pbUtils.h"
#include "rawclient.h"

/// Answers with what it saw of the request. A `set` waits for the commit unless it is a rehearsal;
/// watchers hear its value. Keeps a trace.
class EchoHandler : public PbUtility::RequestHandler {
public:
    /// Called at a change, with its value, and at a commit, for its result. Dispatcher's thread.
    std::function<eErrorT(const std::string&)> m_at = [](const std::string&) { return kNoError; };

    void dispatchingBegins() override {}

    PbUtility::Answer handle(const pbcommon::Requester& requester, const pbcommon::Request& request,
                             pbcommon::Reply& reply, PbUtility::Client& client) override {
        if (request.has_watch()) {
            const eErrorT result = client.watch({requester.role, request.watch().pattern()});
            reply.set_code(static_cast<pbcommon::ErrorCode>(result));
        } else if (request.has_set()) {
            const std::string& sValue = request.set().assignment(0).value();
            note(sValue.substr(0, 10));
            reply.add_tag(sValue);
            (void)m_at(sValue);
            if (!request.set().dry_run()) {
                m_changes.push_back(sValue);
                return PbUtility::Answer::kUncommitted;
            }
        } else {
            const std::string& sNode = request.get().address().node();
            note(sNode.substr(0, 10));
            reply.add_tag(sNode + " " + requester.sClient + " " + std::to_string(requester.role));
        }
        return PbUtility::Answer::kFinal;
    }

    eErrorT commit(PbUtility::Publisher& publisher, pbcommon::Reply& failure) override {
        note("commit");
        const eErrorT result = m_at("commit");
        if (result != kNoError) failure.add_tag("failure");
        for (const std::string& sValue : std::exchange(m_changes, {})) {
            publisher.publish([&](const PbUtility::Watcher& watcher, pbcommon::Reply& message) {
                message.mutable_change()->set_client(sValue);
                return result == kNoError && watcher.sPattern == "*";
            });
        }
        return result;
    }

    /// What it was asked for, words with a blank behind each.
    [[nodiscard]] std::string trace() const {
        const std::lock_guard lock(m_mutex);
        return m_sTrace;
    }

private:
    void note(const std::string& sWhat) {
        const std::lock_guard lock(m_mutex);
        m_sTrace += sWhat + " ";
    }

    mutable std::mutex m_mutex;
    std::string m_sTrace;
    std::vector<std::string> m_changes;
};

inline std::string getFrame(const std::string& sNode, const std::string& sRole = "") {
    return RawClient::frame("client: 'me\\033' " + sRole + " get { address { node: '" + sNode +
                            "' } }");
}

inline std::string setFrame(const std::string& sValue, bool bDryRun = false) {
    return RawClient::frame("set { assignment { value: '" + sValue +
                            "' } dry_run: " + (bDryRun ? "true" : "false") + " }");
}

/// A dispatcher with a handler that echoes, in a directory of its own.
class Dispatcher : public testing::Test {
protected:
    Dispatcher() { setenv("RUNTIME_DIRECTORY", m_directory.path("run").c_str(), 1); }

    void start(bool bReady = true) {
        ASSERT_EQ(m_pbUtils.start(), kNoError);
        dispatcher().setRequestHandler(m_handler);
        m_pbUtils.readyToDispatchMessages(bReady);
    }
    [[nodiscard]] PbUtility::PbUtilsImpl& dispatcher() {
        return *PbUtility::PbUtilsImpl::of(m_pbUtils);
    }
    [[nodiscard]] std::string socketPath() const { return m_directory.path("run/echo.sock"); }

    /// The first tag of the answer, or its code; "none" without an answer.
    static std::string answer(const RawClient& client, const std::string& sFrame = "") {
        client.send(sFrame);
        pbcommon::Reply reply;
        if (!client.receive(reply)) return "none";
        return reply.tag_size() > 0 ? reply.tag(0) : std::to_string(reply.code());
    }
    /// Whether a new client gets an answer.
    [[nodiscard]] bool serves() const {
        return answer(RawClient(socketPath()), RawClient::ping()) == "0";
    }

    LogFile m_log;
    TemporaryDirectory m_directory;
    EchoHandler m_handler;
    PbUtility::PbUtils m_pbUtils{"echo", 2};
};

#endif
