#include "commands.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "bashcompletion.h"
#include "completion.h"
#include "directories.h"
#include "input.h"
#include "names.h"
#include "output.h"
#include "text.h"

namespace cfgctl {

namespace {

bool isAccepted(const pbcommon::Reply& reply) { return reply.code() == pbcommon::kNoError; }

void fillAddress(const pbcommon::VariableAddress& from, pbcommon::Address& to) {
    to.set_node(from.sNode);
    to.set_node_instance(from.nNodeInstance);
    to.set_variable(from.sVariable);
    to.set_instance(from.nVarInstance);
}

/// What the role may see. Empty when the service does not say: the refusal before stays the
/// outcome.
std::vector<std::string> knownNames(Session& session) {
    std::vector<std::string> names;
    try {
        const pbcommon::Reply known = session.list("*");
        for (const pbcommon::Variable& variable : known.variable()) {
            names.push_back(variable.name());
        }
    } catch (const Failure&) {
        names.clear();
    }
    return names;
}

void complainUnknown(Session& session, const std::string& sName) {
    const std::string sNearest = nearestName(sName, knownNames(session));
    complain("no variable " + sName + " for this role" +
             (sNearest.empty() ? "; 'cfgctl list' shows all" : "; did you mean " + sNearest + "?"));
}

/// Says on standard error that `what` was refused.
void complainRefused(const std::string& what, const pbcommon::Reply& reply) {
    complain(what + " refused: " + outcomeText(reply, " "));
}

/// Prints a reply, or without --json what its acceptance is to say.
ExitStatus answer(const Session& session, const pbcommon::Reply& reply, const std::string& text) {
    if (session.isJson()) {
        print(jsonText(reply));
    } else if (isAccepted(reply)) {
        print(text);
    }
    return isAccepted(reply) ? kAccepted : kRefused;
}

/// One name's value goes to a script exactly as it is; a terminal, and a reader of lines, get it
/// with nothing in it that is not for show.
std::string valueText(const pbcommon::Variable& variable, bool bOnlyOne) {
    if (!bOnlyOne) {
        return shown(variable.name()) + " = " + shown(variable.value()) + "\n";
    }
    return (streamOf(STDOUT_FILENO).bTerminal ? shown(variable.value()) : variable.value()) + "\n";
}

/// Says on standard error that `what` was refused for a variable.
void complainRefusedName(Session& session, const std::string& what, const std::string& sName,
                         const pbcommon::Reply& reply) {
    if (reply.code() == pbcommon::kItemNotFound) {
        complainUnknown(session, sName);
    } else {
        complainRefused(what + " " + sName, reply);
    }
}

ExitStatus runGet(Session& session, const OperandsT& operands) {
    std::vector<pbcommon::VariableAddress> addresses;
    std::ranges::transform(operands, std::back_inserter(addresses), addressOf);
    pbcommon::Reply all;  // the variables, and the first refusal
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        pbcommon::Request request;
        fillAddress(addresses[i], *request.mutable_get()->mutable_address());
        const pbcommon::Reply reply = session.ask(request);
        if (!isAccepted(reply)) {
            complainRefusedName(session, "get", pbcommon::formatAddress(addresses[i]), reply);
        }
        if (isAccepted(reply) || isAccepted(all)) {
            all.MergeFrom(reply);
        }
        if (!isAccepted(reply) && !all.has_failed()) {
            all.set_failed(static_cast<std::uint32_t>(i));
        }
        if (isAccepted(reply) && !session.isJson() && reply.variable_size() > 0) {
            print(valueText(reply.variable(0), addresses.size() == 1));
        }
    }
    print(session.isJson() ? jsonText(all) : "");
    return isAccepted(all) ? kAccepted : kRefused;
}

/// "NAME=VALUE" as the reply's variable shows it, with a secret masked. What was typed is no
/// substitute: only the service knows which values are secret.
std::string assignmentText(const pbcommon::Reply& reply, int nVariable,
                           const AssignmentT& assignment) {
    if (nVariable >= reply.variable_size()) {
        return pbcommon::formatAddress(assignment.address);
    }
    const pbcommon::Variable& variable = reply.variable(nVariable);
    return shown(variable.name()) + "=" + shown(variable.value());
}

std::string acceptedSetText(const Session& session, const std::vector<AssignmentT>& assignments,
                            const pbcommon::Reply& reply) {
    const StreamT stream = streamOf(STDOUT_FILENO);
    const std::string sAccepted =
        painted(session.isDryRun() ? "would be accepted" : "accepted", Colour::kGreen, stream);
    std::string text;
    for (std::size_t i = 0; i < assignments.size(); ++i) {
        text += "set " + assignmentText(reply, static_cast<int>(i), assignments[i]) + "  " +
                sAccepted + "  " + outcomeText(reply, "  ") + "\n";
    }
    return text + effectLines(reply.effect(), stream) +
           (reply.reboot_needed() ? "reboot needed\n" : "");
}

void complainRefusedSet(Session& session, const std::vector<AssignmentT>& assignments,
                        const pbcommon::Reply& reply) {
    if (!reply.has_failed() || reply.failed() >= assignments.size()) {
        complainRefused("set", reply);  // no single assignment is at fault
        return;
    }
    const AssignmentT& assignment = assignments[reply.failed()];
    if (reply.code() == pbcommon::kItemNotFound) {
        complainUnknown(session, pbcommon::formatAddress(assignment.address));
        return;
    }
    const std::string text = "set " + assignmentText(reply, 0, assignment) + "  " +
                             painted("refused", Colour::kRed, streamOf(STDERR_FILENO)) + "  " +
                             outcomeText(reply, "  ") + "\n";
    printError(text);
}

ExitStatus runSet(Session& session, const OperandsT& operands) {
    const std::vector<AssignmentT> assignments = parseAssignments(operands);
    pbcommon::Request request;
    request.mutable_set()->set_dry_run(session.isDryRun());
    for (const AssignmentT& assignment : assignments) {
        pbcommon::Assignment& added = *request.mutable_set()->add_assignment();
        fillAddress(assignment.address, *added.mutable_address());
        added.set_value(assignment.value ? *assignment.value
                                         : readValue(pbcommon::formatAddress(assignment.address)));
    }
    const pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedSet(session, assignments, reply);
    }
    return answer(session, reply, acceptedSetText(session, assignments, reply));
}

ExitStatus runList(Session& session, const OperandsT& operands) {
    const std::string pattern = operands.empty() ? "*" : operands.front();
    const pbcommon::Reply reply = session.list(pattern);
    const bool bEmpty = isAccepted(reply) && reply.variable().empty();
    if (bEmpty) {
        complain("no variable matches " + pattern + " for this role");
    } else if (!isAccepted(reply)) {
        complainRefused("list", reply);
    }
    const ExitStatus status =
        answer(session, reply, bEmpty ? "" : listing(reply, streamOf(STDOUT_FILENO)));
    return bEmpty ? kRefused : status;
}

/// The variable that a reply is about; an empty one when it is about none.
const pbcommon::Variable& subject(const pbcommon::Reply& reply) {
    return reply.variable().empty() ? pbcommon::Variable::default_instance() : reply.variable(0);
}

/// Asks about one variable, and says a refusal.
pbcommon::Reply askDescribe(Session& session, const std::string& what, const std::string& operand) {
    const pbcommon::VariableAddress address = addressOf(operand);
    pbcommon::Request request;
    fillAddress(address, *request.mutable_describe()->mutable_address());
    pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedName(session, what, pbcommon::formatAddress(address), reply);
    }
    return reply;
}

ExitStatus runDescribe(Session& session, const OperandsT& operands) {
    const pbcommon::Reply reply = askDescribe(session, "describe", operands.front());
    return answer(session, reply, sheet(subject(reply), streamOf(STDOUT_FILENO)));
}

ExitStatus runOptions(Session& session, const OperandsT& operands) {
    const pbcommon::Reply reply = askDescribe(session, "options", operands.front());
    const pbcommon::Variable& variable = subject(reply);
    const std::string text = optionLines(variable);
    const ExitStatus status = answer(session, reply, text);
    if (status != kAccepted || !text.empty()) {
        return status;
    }
    complain(variable.name() + " has no options; it takes " + offersText(variable));
    return kRefused;
}

/// For a command that is one request without operands. @param text  what acceptance prints
ExitStatus answerPlain(const Session& session, const std::string& what,
                       const pbcommon::Reply& reply, const std::string& text) {
    if (!isAccepted(reply)) {
        complainRefused(what, reply);
    }
    return answer(session, reply, text);
}

ExitStatus runPing(Session& session, const OperandsT& /*operands*/) {
    pbcommon::Request request;
    request.mutable_ping();
    const pbcommon::Reply reply = session.ask(request);
    const pbcommon::Service& service = reply.service();
    return answerPlain(session, "ping", reply,
                       shown(service.name() + " " + service.version()) + ", process " +
                           std::to_string(service.pid()) + "\n");
}

ExitStatus runShutdown(Session& session, const OperandsT& /*operands*/) {
    pbcommon::Request request;
    request.mutable_shutdown();
    return answerPlain(session, "shutdown", session.ask(request), "shutdown accepted\n");
}

void printChange(const Session& session, const pbcommon::Reply& reply) {
    if (session.isJson()) {
        print(jsonText(reply, true));
        return;
    }
    if (reply.missed() > 0) {
        print("-- " + std::to_string(reply.missed()) +
              (reply.missed() == 1 ? " change was" : " changes were") +
              " missed: this reader was too slow\n");
    }
    if (reply.has_change()) {
        print(changeText(reply.change(), streamOf(STDOUT_FILENO)));
    }
}

/// An interrupt is how a watch that did its work ends. All that was printed has been flushed.
void endWatch(int /*nSignal*/) { _exit(kAccepted); }

ExitStatus runWatch(Session& session, const OperandsT& operands) {
    pbcommon::Request request;
    request.mutable_watch()->set_pattern(operands.empty() ? "*" : operands.front());
    pbcommon::Reply reply = session.ask(request);
    struct sigaction end {};
    end.sa_handler = endWatch;
    sigaction(SIGINT, &end, nullptr);
    sigaction(SIGTERM, &end, nullptr);
    for (; isAccepted(reply); reply = session.next()) {
        printChange(session, reply);
        finishOutput();  // at once: whoever reads this waits for it
    }
    complainRefused("watch", reply);
    printChange(session, reply);
    return kRefused;
}

ExitStatus runCompletion(Session& /*session*/, const OperandsT& operands) {
    if (operands.front() != "bash") {
        throw Failure(kUsage, "no completion for '" + operands.front() + "', only for bash");
    }
    print(kBashCompletion);
    return kAccepted;
}

/// Says nothing of what goes wrong: who presses a key for candidates then gets none.
ExitStatus runComplete(Session& /*session*/, const OperandsT& operands) {
    const auto lookUp = [](std::optional<pbcommon::Role> role, const std::string& pattern) {
        try {
            return Session(role, false, false).list(pattern);
        } catch (const Failure&) {
            return pbcommon::Reply();
        }
    };
    for (const std::string& candidate : candidates(operands, lookUp)) {
        print(shown(candidate) + "\n");
    }
    return kAccepted;
}

// clang-format off
constexpr CommandT commandTable[] = {
    // name      operand       count, and what it is
    {"get",      "NAME",       OperandCount::kAny, "Variables to print",
     "Print values",
     "One NAME prints its bare value, several print 'name = value' lines.\n"
     "Example: cfgctl get management.snmp.traptarget.targetport[1]", runGet},
    {"set",      "NAME=VALUE", OperandCount::kAny, "Assignments, made in this order",
     "Change values, all of them or none",
     "A single NAME without '=' takes its value from standard input, which keeps a secret\n"
     "out of process lists and histories. What else became different is listed below the\n"
     "assignments: variable, aspect, before → after, and what made it so.\n"
     "Example: cfgctl set management.snmp.enabled=true management.snmp.listeningport=161", runSet,
     true},
    {"list",     "PATTERN",    OperandCount::kAtMostOne,
     "Names to show, '*' standing for any text; else all",
     "List variables, what they offer and who may change them",
     "Example: cfgctl list 'management.snmp.*'", runList},
    {"options",  "NAME",       OperandCount::kOne, "Variable with options",
     "Print what may be chosen now, then what is not offered now",
     "Example: cfgctl options management.snmp.traptarget.protocolversion[1]", runOptions},
    {"describe", "NAME",       OperandCount::kOne, "Variable to describe",
     "Print all about one variable",
     "Its kind, default, value, options, access, and the handlers that know it.\n"
     "Example: cfgctl describe management.snmp.listeningport", runDescribe},
    {"watch",    "PATTERN",    OperandCount::kAtMostOne,
     "Names to watch, '*' standing for any text; else all",
     "Print every change as it is made, until interrupted",
     "A change: when and by whom, what was set, and what else became different. With --json\n"
     "one document a line; the first only says that the watch has begun.\n"
     "Example: cfgctl watch 'management.snmp.*'", runWatch},
    {"ping",     nullptr,      OperandCount::kNone, nullptr,
     "Ask whether the service is there",
     "Prints the service's name, version and process number.\n"
     "Example: cfgctl ping", runPing},
    {"shutdown", nullptr,      OperandCount::kNone, nullptr,
     "End the service",
     "Takes the role system.\n"
     "Example: cfgctl shutdown", runShutdown},
    {"completion", "SHELL",    OperandCount::kOne, "bash",
     "Print the script that lets a shell complete this program's words",
     "Example: cfgctl completion bash > ~/.local/share/bash-completion/completions/cfgctl",
     runCompletion},
    {"complete", "WORD",       OperandCount::kAny, "Words behind 'cfgctl', the last incomplete",
     nullptr,
     "Prints what the last word may become, for the completion script.\n"
     "Example: cfgctl complete -- set management.snmp.enabled=", runComplete},
};
// clang-format on

}  // namespace

pbcommon::Reply Session::ask(pbcommon::Request request) {
    request.set_client("cfgctl");
    if (m_role) {
        request.set_role(*m_role);
    }
    if (!m_connection) {
        m_connection.emplace(pbcommon::socketCandidates("appconfig"));
    }
    return m_connection->ask(request);
}

pbcommon::Reply Session::list(const std::string& pattern) {
    pbcommon::Reply all;
    pbcommon::Request request;
    request.mutable_list()->set_pattern(pattern);
    for (;;) {
        const pbcommon::Reply page = ask(request);
        all.MergeFrom(page);
        all.clear_next();
        if (!page.has_next() || page.next() <= request.list().start()) {
            return all;
        }
        request.mutable_list()->set_start(page.next());
    }
}

pbcommon::Reply Session::next() { return m_connection->next(); }

std::span<const CommandT> commands() { return commandTable; }

pbcommon::VariableAddress addressOf(const std::string& text) {
    if (const auto address = pbcommon::parseAddress(text)) {
        return *address;
    }
    throw Failure(kUsage, "'" + text +
                              "' names no variable; write node.variable, with [n] behind either "
                              "for an instance other than 0");
}

std::vector<AssignmentT> parseAssignments(const OperandsT& operands) {
    std::vector<AssignmentT> assignments;
    for (std::size_t i = 0; i < operands.size(); ++i) {
        const std::string& operand = operands[i];
        const std::size_t equals = operand.find('=');
        if (equals != std::string::npos) {
            assignments.push_back(
                {addressOf(operand.substr(0, equals)), operand.substr(equals + 1)});
        } else if (operands.size() == 1) {
            assignments.push_back({addressOf(operand), std::nullopt});
        } else if (i == 0 && operands.size() == 2 && operands[1].find('=') == std::string::npos) {
            throw Failure(
                kUsage, "set takes NAME=VALUE; did you mean " + operand + "=" + operands[1] + "?");
        } else {
            throw Failure(kUsage, "argument " + std::to_string(i + 1) +
                                      " of set has no '='; set takes NAME=VALUE, or one NAME "
                                      "alone with its value on standard input");
        }
    }
    return assignments;
}

}  // namespace cfgctl
