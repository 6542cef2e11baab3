// The commands about the service and the one who asks it: ping, whoami, status.
#include <unistd.h>

#include "answers.h"
#include "command.h"
#include "display.h"
#include "layout.h"
#include "names.h"
#include "render.h"

namespace cfgctl {

namespace {

std::string processText(const pbcommon::Service& service) {
    return shown(service.name() + " " + service.version()) + ", process " +
           std::to_string(service.pid());
}

std::string whoAmIText(const pbcommon::WhoAmIReply& reply) {
    std::string text = "uid " + std::to_string(reply.uid()) +
                       (reply.login().empty() ? "" : " (" + shown(reply.login()) + ")") +
                       ", role " + pbcommon::roleName(reply.role()) + ", up to " +
                       pbcommon::roleName(reply.highest()) + "\n";
    if (!reply.next_group().empty()) {
        text += "members of group " + shown(reply.next_group()) + " may act up to " +
                pbcommon::roleName(reply.next_role()) + "\n";
    }
    return text;
}

std::string statusText(const pbcommon::StatusReply& status) {
    const std::string sHistory =
        status.has_oldest() ? ", history complete from " + std::to_string(status.oldest()) : "";
    RowsT rows = {
        {"service", processText(status.service())},
        {"since", timeText(status.since_us())},
        {"revision", std::to_string(status.revision()) + sHistory},
        {"settings", std::to_string(status.settings())},
        {"changes", status.writable() ? "are kept" : "are refused: they cannot be kept"},
    };
    if (!status.database().empty()) {
        rows.push_back({"database", shown(status.database())});
    }
    for (const pbcommon::SchemaFile& file : status.file()) {
        rows.push_back(
            {"schema", shown(file.path()) +
                           (file.fault().empty() ? "" : "  left out: " + shown(file.fault()))});
    }
    rows.push_back({"connections", std::to_string(status.connections())});
    rows.push_back({"watches", std::to_string(status.watches())});
    return rowLines(rows, 0, streamOf(STDOUT_FILENO));
}

}  // namespace

ExitStatus runPing(Session& session, const OperandsT& /*operands*/) {
    constexpr std::uint32_t kProtocol = 1;  // that this program speaks
    pbcommon::Request request;
    request.mutable_ping();
    const pbcommon::Reply reply = session.ask(request);
    const pbcommon::Service& service = reply.ping();
    const std::string sProtocol =
        service.protocol() == kProtocol
            ? ""
            : ", protocol version " + std::to_string(service.protocol()) + " (this program's is 1)";
    return answerPlain(session, "ping", reply, processText(service) + sProtocol + "\n");
}

ExitStatus runWhoAmI(Session& session, const OperandsT& /*operands*/) {
    pbcommon::Request request;
    request.mutable_whoami();
    const pbcommon::Reply reply = session.ask(request);
    return answerPlain(session, "whoami", reply, whoAmIText(reply.whoami()));
}

ExitStatus runStatus(Session& session, const OperandsT& /*operands*/) {
    pbcommon::Request request;
    request.mutable_status();
    const pbcommon::Reply reply = session.ask(request);
    return answerPlain(session, "status", reply, statusText(reply.status()));
}

}  // namespace cfgctl
