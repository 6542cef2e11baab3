#ifndef TESTS_PLATFORM_DISPATCHERCASE_H
#define TESTS_PLATFORM_DISPATCHERCASE_H

#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <mutex>

#include "control.h"
#include "logfile.h"
#include "pbUtils.h"
#include "rawclient.h"
#include "requesthandler.h"

/// Answers with what it saw of the request. A `set`, unless it is a rehearsal, and a `history`
/// change something; watchers hear what. Keeps a trace.
class EchoHandler : public PbUtility::RequestHandler {
public:
    /// Called at a change, with its value, and at a commit, for its result. Dispatcher's thread.
    std::function<eErrorT(const std::string&)> m_at = [](const std::string&) { return kNoError; };

    void dispatchingBegins() override {}

    [[nodiscard]] bool isChange(const pbcommon::Request& request) const override {
        return request.has_set() || request.has_history();
    }

    PbUtility::Answer handle(const pbcommon::Requester& requester, const pbcommon::Request& request,
                             pbcommon::Reply& reply) override {
        if (request.has_watch()) {
            return {.watcher = PbUtility::Watcher{requester.role, request.watch().pattern()}};
        }
        if (isChange(request)) {
            const std::string& sValue = request.has_set() ? request.set().assignment(0).value()
                                                          : request.history().pattern();
            note(sValue.substr(0, 10));
            reply.add_tag(sValue);
            (void)m_at(sValue);
            if (request.set().dry_run()) return {};
            m_changes.push_back(sValue);
            return {.bUncommitted = true};
        }
        const std::string& sNode = request.get().address().node();
        note(sNode.substr(0, 10));
        reply.add_tag(sNode + " " + requester.sClient + " " + std::to_string(requester.role));
        return {};
    }

    eErrorT commit(PbUtility::Revisions& revisions, pbcommon::Reply& failure) override {
        note("commit");
        const eErrorT result = m_at("commit");
        if (result != kNoError) failure.add_tag("failure");
        revisions = {.nFirst = 0, .nLast = m_changes.size() - 1};
        if (result != kNoError) m_changes.clear();
        return result;
    }
    bool tell(std::uint64_t nRevision, const PbUtility::Watcher& watcher,
              pbcommon::Event& event) override {
        event.mutable_change()->set_client(m_changes[nRevision]);
        return watcher.sPattern == "*";
    }
    void release() override { m_changes.clear(); }

    /// What it was asked for, words with a blank after each.
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
        ASSERT_EQ(PbUtility::setRequestHandler(m_pbUtils, m_handler), kNoError);
        m_pbUtils.readyToDispatchMessages(bReady);
    }
    void setFrameTime(int nMilliseconds) {
        ASSERT_EQ(PbUtility::setFrameTime(m_pbUtils, std::chrono::milliseconds(nMilliseconds)),
                  kNoError);
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
