#include "commands.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <iterator>

#include "bashcompletion.h"
#include "choices.h"
#include "completion.h"
#include "input.h"
#include "names.h"
#include "output.h"
#include "text.h"
#include "why.h"

namespace cfgctl {

namespace {

constexpr std::uint64_t kUsualChanges = 25;
constexpr const char* kValueForms =
    "NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone";

bool isAccepted(const pbcommon::Reply& reply) { return reply.code() == pbcommon::kNoError; }

/// The pattern that an operand or its lack stands for.
std::string patternOf(const OperandsT& operands) {
    return operands.empty() ? "*" : operands.front();
}

/// What the role may see. Empty when the service does not say: the refusal before stays the
/// outcome.
std::vector<std::string> knownNames(Session& session) {
    std::vector<std::string> names;
    try {
        const pbcommon::Reply known = listAll(session.asking(), "*");
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
    if (session.options().bJson) {
        print(jsonText(reply));
    } else if (isAccepted(reply)) {
        print(text);
    }
    return isAccepted(reply) ? kAccepted : kRefused;
}

/// Says a refusal on standard error, then answers. @param text  what acceptance prints
ExitStatus answerPlain(const Session& session, const std::string& what,
                       const pbcommon::Reply& reply, const std::string& text) {
    if (!isAccepted(reply)) {
        complainRefused(what, reply);
    }
    return answer(session, reply, text);
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

/// Asks about one variable, and says a refusal. @param body  makes the request's body
template <typename BodyT>
pbcommon::Reply askAbout(Session& session, const std::string& what,
                         const pbcommon::VariableAddress& address,
                         BodyT* (pbcommon::Request::*body)(), pbcommon::Request request = {}) {
    fillAddress(address, *(request.*body)()->mutable_address());
    pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedName(session, what, pbcommon::formatAddress(address), reply);
    }
    return reply;
}

/// Says on standard error that a value was to be revealed and is masked all the same.
/// @return whether it is so
bool complainMasked(const Session& session, const pbcommon::Variable& variable) {
    const bool bMasked = session.options().bReveal && variable.kind() == pbcommon::SECRET &&
                         variable.value() == pbcommon::kMaskedSecret;
    if (bMasked) {
        complain("revealing " + variable.name() + " requires role admin");
    }
    return bMasked;
}

ExitStatus runGet(Session& session, const OperandsT& operands) {
    std::vector<pbcommon::VariableAddress> addresses;
    std::ranges::transform(operands, std::back_inserter(addresses), addressOf);
    pbcommon::Request request;
    request.mutable_get()->set_reveal(session.options().bReveal);
    pbcommon::Reply all;  // the variables, and the first refusal
    bool bMasked = false;
    for (std::size_t i = 0; i < addresses.size(); ++i) {
        const pbcommon::Reply reply =
            askAbout(session, "get", addresses[i], &pbcommon::Request::mutable_get, request);
        if (isAccepted(reply) || isAccepted(all)) {
            all.MergeFrom(reply);
        }
        if (!isAccepted(reply) && !all.has_failed()) {
            all.set_failed(static_cast<std::uint32_t>(i));
        }
        if (isAccepted(reply) && !session.options().bJson && reply.variable_size() > 0) {
            print(valueText(reply.variable(0), addresses.size() == 1));
        }
        bMasked |= reply.variable_size() > 0 && complainMasked(session, reply.variable(0));
    }
    print(session.options().bJson ? jsonText(all) : "");
    return isAccepted(all) && !bMasked ? kAccepted : kRefused;
}

/// "NAME=VALUE" with the value that was proposed, a secret masked. Without a variable in the reply
/// the name alone: only the service knows which values are secret.
std::string assignmentText(const pbcommon::Reply& reply, int nVariable,
                           const AssignmentT& assignment) {
    constexpr std::size_t kMaxShownBytes = 200;
    if (nVariable >= reply.variable_size()) {
        return pbcommon::formatAddress(assignment.address);
    }
    const pbcommon::Variable& variable = reply.variable(nVariable);
    // when refused, it was proposed as it was typed; the reply has no more than can be shown of it
    const bool bTyped = !isAccepted(reply) && variable.kind() != pbcommon::SECRET;
    return shown(variable.name()) + "=" +
           (bTyped ? pbcommon::printable(assignment.value, kMaxShownBytes)
                   : shown(variable.value()));
}

std::string acceptedSetText(const Session& session, const std::vector<AssignmentT>& assignments,
                            const pbcommon::Reply& reply) {
    const StreamT stream = streamOf(STDOUT_FILENO);
    const std::string sAccepted = painted(
        session.options().bDryRun ? "would be accepted" : "accepted", Colour::kGreen, stream);
    std::string text;
    for (std::size_t i = 0; i < assignments.size(); ++i) {
        text += "set " + assignmentText(reply, static_cast<int>(i), assignments[i]) + "  " +
                sAccepted + "  " + shown(outcomeText(reply, "  ")) + "\n";
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
                             shown(outcomeText(reply, "  ")) + "\n";
    printError(text);
}

/// The variable that a reply is about; an empty one when it is about none.
const pbcommon::Variable& subject(const pbcommon::Reply& reply) {
    return reply.variable().empty() ? pbcommon::Variable::default_instance() : reply.variable(0);
}

pbcommon::Reply askDescribe(Session& session, const std::string& what, const std::string& operand) {
    return askAbout(session, what, addressOf(operand), &pbcommon::Request::mutable_describe);
}

ExitStatus runSet(Session& session, const OperandsT& operands) {
    std::vector<AssignmentT> assignments = parseAssignments(operands, canAsk());
    if (assignments.front().from == AssignmentT::From::kTerminal) {
        const pbcommon::Reply reply = askDescribe(session, "set", operands.front());
        if (!isAccepted(reply)) {
            return answer(session, reply, "");
        }
        const pbcommon::Variable& variable = subject(reply);
        const TextsT accepted = acceptedOf(choicesOf(session.asking(), variable));
        assignments.front().value =
            typedValue(variable.name(), accepted.empty() ? offersText(variable) : joined(accepted),
                       variable.kind() == pbcommon::SECRET);
    }
    pbcommon::Request request;
    request.mutable_set()->set_dry_run(session.options().bDryRun);
    for (AssignmentT& assignment : assignments) {
        if (assignment.from == AssignmentT::From::kStandardInput) {
            assignment.value = pipedValue(pbcommon::formatAddress(assignment.address));
        }
        pbcommon::Assignment& added = *request.mutable_set()->add_assignment();
        fillAddress(assignment.address, *added.mutable_address());
        added.set_value(assignment.value);
    }
    const pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedSet(session, assignments, reply);
        printError("nothing has been changed\n");
    }
    return answer(session, reply, acceptedSetText(session, assignments, reply));
}

ExitStatus runList(Session& session, const OperandsT& operands) {
    const std::string pattern = patternOf(operands);
    const pbcommon::Reply reply = listAll(session.asking(), pattern);
    if (!isAccepted(reply) || !reply.variable().empty()) {
        return answerPlain(session, "list", reply, listing(reply, streamOf(STDOUT_FILENO)));
    }
    complain("no variable matches " + pattern + " for this role");
    (void)answer(session, reply, "");
    return kRefused;
}

ExitStatus runHistory(Session& session, const OperandsT& operands) {
    const std::string pattern = patternOf(operands);
    const std::uint64_t nMost = session.options().mostChanges.value_or(kUsualChanges);
    const pbcommon::Reply reply =
        newestChanges(session.asking(), pattern, static_cast<std::uint32_t>(nMost));
    const StreamT stream = streamOf(STDOUT_FILENO);
    std::string text;
    for (int i = reply.history_size() - 1; i >= 0; --i) {
        text += changeText(reply.history(i), stream);
    }
    if (isAccepted(reply) && text.empty()) {
        complain("history holds no change of " + pattern + " for this role");
    }
    return answerPlain(session, "history", reply, text);
}

ExitStatus runDescribe(Session& session, const OperandsT& operands) {
    const pbcommon::Reply reply = askDescribe(session, "describe", operands.front());
    return answer(session, reply, sheet(subject(reply), streamOf(STDOUT_FILENO)));
}

ExitStatus runOptions(Session& session, const OperandsT& operands) {
    pbcommon::Reply reply = askDescribe(session, "options", operands.front());
    if (!isAccepted(reply) || reply.variable().empty()) {
        return answer(session, reply, "");
    }
    pbcommon::Variable& variable = *reply.mutable_variable(0);
    const ChoicesT choices = choicesOf(session.asking(), variable);
    *variable.mutable_offered() = acceptedOf(choices);
    (void)answer(session, reply, choiceLines(choices));
    if (choices.empty()) {
        complain(variable.name() + " has no options; it accepts " + offersText(variable));
    } else if (variable.offered().empty()) {
        complain("no value of " + variable.name() + " would be accepted now for this role");
    }
    return variable.offered().empty() ? kRefused : kAccepted;
}

ExitStatus runWhy(Session& session, const OperandsT& operands) {
    // the description has the options that are missing now
    const pbcommon::Reply described = askDescribe(session, "why", operands.front());
    if (!isAccepted(described)) {
        return answer(session, described, "");
    }
    const pbcommon::Reply reply =
        askAbout(session, "why", addressOf(operands.front()), &pbcommon::Request::mutable_why);
    return answer(session, reply,
                  whyText(subject(described), reply.reason(), streamOf(STDOUT_FILENO)));
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
    if (!session.options().bYes && canAsk() && !isConfirmed("Shut down the service?")) {
        throw Failure(kUsage, "not confirmed; nothing was sent");
    }
    pbcommon::Request request;
    request.set_role(pbcommon::kSystem);  // unless --role says otherwise
    request.mutable_shutdown();
    return answerPlain(session, "shutdown", session.ask(request), "shutdown accepted\n");
}

/// Prints what a watch brings, at once: whoever reads it waits for it.
void printNews(const Session& session, const pbcommon::Reply& reply) {
    print(session.options().bJson ? jsonText(reply, true)
                                  : newsText(reply, streamOf(STDOUT_FILENO)));
    finishOutput();
}

ExitStatus runWatch(Session& session, const OperandsT& operands) {
    pbcommon::Request request;
    pbcommon::Watch& watch = *request.mutable_watch();
    watch.set_pattern(patternOf(operands));
    if (session.options().since) {
        watch.set_since(*session.options().since);
    }
    pbcommon::Reply reply = session.ask(request);
    while (isAccepted(reply) && watch.has_since() && reply.revision() > watch.since()) {
        printNews(session, reply);
        watch.set_since(reply.revision());
        reply = session.ask(request);
    }
    for (; isAccepted(reply); reply = session.next()) {
        printNews(session, reply);
    }
    complainRefused("watch", reply);
    printNews(session, reply);
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
    OptionsT options = typedOptions(operands);
    options.timeout = std::chrono::seconds(1);  // whoever presses a key does not wait for more
    Session session(options);
    std::vector<std::string> all;
    try {
        all = candidates(operands, session.asking());
    } catch (const Failure&) {
        all.clear();
    }
    for (const std::string& candidate : all) {
        print(shown(candidate) + "\n");
    }
    return kAccepted;
}

// clang-format off
constexpr OptionT kDryRunOption = {
    "--dry-run", &OptionsT::bDryRun, nullptr,                nullptr,    0, 0,
    "Tell what would happen, and change nothing"};
constexpr OptionT kRevealOption = {
    "--reveal",  &OptionsT::bReveal, nullptr,                nullptr,    0, 0,
    "Show secrets in clear (requires role admin)"};
constexpr OptionT kYesOption = {
    "--yes",     &OptionsT::bYes,    nullptr,                nullptr,    0, 0,
    "Do not ask first"};
constexpr OptionT kNumberOption = {
    "-n",        nullptr,            &OptionsT::mostChanges, "COUNT",    1, UINT32_MAX,
    "The newest so many; 25 unless given"};
constexpr OptionT kSinceOption = {
    "--since",   nullptr,            &OptionsT::since,       "REVISION", 0, UINT64_MAX,
    "First print the changes that were made after this one"};

constexpr CommandT commandTable[] = {
    // name      operand       count, and what it is
    {"get",      "NAME",       OperandCount::kAny, "Variables to print",
     "Print values",
     "One NAME prints its bare value, several print 'name = value' lines. A secret is masked\n"
     "unless it is to be revealed.\n"
     "Example: cfgctl get management.snmp.traptarget.targetport[1]", runGet, &kRevealOption},
    {"set",      "NAME=VALUE", OperandCount::kAny, "Assignments, made in this order",
     "Change values, all of them or none",
     "NAME=- takes the value from standard input, without one line feed at its end; a\n"
     "single NAME asks for it in a terminal, and shows nothing of a secret. Both keep a\n"
     "value out of process lists and histories; neither is ever empty, as NAME= is.\n"
     "A value that is literally \"-\": printf %s - | cfgctl set NAME=-\n"
     "What else became different is listed below the assignments: variable, aspect,\n"
     "before → after, and what made it so.\n"
     "Example: cfgctl set management.snmp.enabled=true management.snmp.listeningport=161", runSet,
     &kDryRunOption},
    {"list",     "PATTERN",    OperandCount::kAtMostOne,
     "Names to show, '*' standing for any text; else all",
     "List variables, what they offer and who may change them",
     "Example: cfgctl list 'management.snmp.*'", runList},
    {"options",  "NAME",       OperandCount::kOne, "Variable with options",
     "Print what would be accepted now, then the rest",
     "Each option is rehearsed in the role that asks, and nothing is changed. What would\n"
     "not be accepted is followed by the refusal. With --json, offered holds what would\n"
     "be accepted.\n"
     "Example: cfgctl options management.snmp.traptarget.protocolversion[1]", runOptions},
    {"describe", "NAME",       OperandCount::kOne, "Variable to describe",
     "Print all about one variable",
     "Its kind, default, value, options, access, and the handlers that know it.\n"
     "Example: cfgctl describe management.snmp.listeningport", runDescribe},
    {"watch",    "PATTERN",    OperandCount::kAtMostOne,
     "Names to watch, '*' standing for any text; else all",
     "Print every change as it is made, until interrupted",
     "A change: its revision, when and by whom, what was set, and what else became different.\n"
     "With --since nothing is left out between the change of that revision and the watch.\n"
     "With --json one document a line; without --since the first only says that the watch has\n"
     "begun.\n"
     "Example: cfgctl watch 'management.snmp.*' --since 41", runWatch, &kSinceOption},
    {"history",  "PATTERN",    OperandCount::kAtMostOne,
     "Names whose changes to print, '*' standing for any text; else all",
     "Print the changes made so far, the newest last",
     "A change is told as watch tells it. With --json one document, the newest first.\n"
     "Example: cfgctl history 'management.snmp.*' -n 3", runHistory, &kNumberOption},
    {"why",      "NAME",       OperandCount::kOne, "Variable to explain",
     "Tell since when, why and by whom a variable is as it is",
     "For value, options and access: the change that made it so, then setting by setting what\n"
     "led to it, back to the one that was set, each with the handler call that carried it on.\n"
     "Example: cfgctl why management.snmp.engineid", runWhy},
    {"ping",     nullptr,      OperandCount::kNone, nullptr,
     "Ask whether the service is there",
     "Prints the service's name, version and process number.\n"
     "Example: cfgctl ping", runPing},
    {"shutdown", nullptr,      OperandCount::kNone, nullptr,
     "End the service",
     "Requires role system, and acts in it unless --role says otherwise. In a terminal\n"
     "it asks first.\n"
     "Example: cfgctl shutdown", runShutdown, &kYesOption},
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

/// @param operand  with its first '=' at `equals`
AssignmentT assignmentOf(const std::string& operand, std::size_t equals) {
    const pbcommon::VariableAddress address = addressOf(operand.substr(0, equals));
    const std::string value = operand.substr(equals + 1);
    if (value == "-") {
        return {.address = address, .from = AssignmentT::From::kStandardInput};
    }
    return {.address = address, .value = value};
}

}  // namespace

std::span<const CommandT> commands() { return commandTable; }

pbcommon::VariableAddress addressOf(const std::string& text) {
    if (const auto address = pbcommon::parseAddress(text)) {
        return *address;
    }
    throw Failure(kUsage, "'" + text +
                              "' names no variable; write node.variable, with [n] behind either "
                              "for an instance other than 0");
}

std::vector<AssignmentT> parseAssignments(const OperandsT& operands, bool bCanAsk) {
    std::vector<AssignmentT> assignments;
    int nPiped = 0;
    for (std::size_t i = 0; i < operands.size(); ++i) {
        const std::string& operand = operands[i];
        const std::size_t equals = operand.find('=');
        if (equals != std::string::npos) {
            assignments.push_back(assignmentOf(operand, equals));
            nPiped += assignments.back().from == AssignmentT::From::kStandardInput ? 1 : 0;
        } else if (operands.size() == 1 && bCanAsk) {
            assignments.push_back(
                {.address = addressOf(operand), .from = AssignmentT::From::kTerminal});
        } else if (i == 0 && operands.size() == 2 && operands[1].find('=') == std::string::npos) {
            throw Failure(kUsage, "set requires NAME=VALUE; did you mean " + operand + "=" +
                                      operands[1] + "?");
        } else {
            throw Failure(kUsage, "argument " + std::to_string(i + 1) +
                                      " of set has no '='; write " + kValueForms);
        }
    }
    if (nPiped > 1) {
        throw Failure(kUsage, "standard input holds one value; write NAME=- only once");
    }
    return assignments;
}

}  // namespace cfgctl
