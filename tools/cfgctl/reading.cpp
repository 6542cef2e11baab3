// The commands that change nothing.
#include <unistd.h>

#include <algorithm>
#include <cstdint>

#include "answers.h"
#include "choices.h"
#include "command.h"
#include "display.h"
#include "render.h"
#include "terminal.h"
#include "text.h"
#include "why.h"

namespace cfgctl {

namespace {

constexpr std::uint64_t kUsualChanges = 25;

/// The pattern of an operand or its lack.
std::string patternOf(const OperandsT& operands) {
    return operands.empty() ? "*" : operands.front();
}

/// One name's value goes to a script exactly as it is; a terminal, and a reader of lines, get it
/// with nothing in it that is not for show.
std::string valueText(const pbcommon::Variable& variable, bool bOnlyOne) {
    if (!bOnlyOne) {
        return shown(variable.name()) + " = " + shown(variable.value()) + "\n";
    }
    return (streamOf(STDOUT_FILENO).bTerminal ? shown(variable.value()) : variable.value()) + "\n";
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

/// Prints what a watch brings, at once: whoever reads it waits for it.
void printNews(const Session& session, const std::string& sPattern, const pbcommon::Reply& reply) {
    const StreamT stream = streamOf(STDOUT_FILENO);
    if (session.options().bJson) {
        print(jsonText(reply, true));
    } else if (reply.has_event()) {
        print(newsText(reply.event(), sPattern, stream));
    } else {
        print(newsText(reply.watch(), sPattern, stream));
    }
    finishOutput();
}

}  // namespace

ExitStatus runGet(Session& session, const OperandsT& operands) {
    std::ranges::for_each(operands, nameOf);
    pbcommon::Reply all;  // the variables, and the first refusal
    bool bMasked = false;
    for (const std::string& sName : operands) {
        pbcommon::Request request;
        request.mutable_get()->mutable_address()->set_name(sName);
        request.mutable_get()->set_reveal(session.options().bReveal);
        const pbcommon::Reply reply = session.ask(request);
        if (isAccepted(reply) || isAccepted(all)) {
            all.MergeFrom(reply);
        }
        if (!isAccepted(reply)) {
            complainRefusedName(session, "get", sName, reply);
        }
        for (const pbcommon::Variable& variable : reply.get().variable()) {
            print(session.options().bJson ? "" : valueText(variable, operands.size() == 1));
            bMasked |= complainMasked(session, variable);
        }
    }
    print(session.options().bJson ? jsonText(all) : "");
    return isAccepted(all) && !bMasked ? kAccepted : kRefused;
}

ExitStatus runList(Session& session, const OperandsT& operands) {
    const std::string pattern = patternOf(operands);
    const bool bChanged = session.options().bChanged;
    const pbcommon::Reply reply = listAll(session.asking(), pattern, bChanged);
    if (!isAccepted(reply) || !reply.list().variable().empty()) {
        return answerPlain(session, "list", reply,
                           listing(reply.list().variable(), streamOf(STDOUT_FILENO)));
    }
    if (!complainUnmatched(session, pattern)) {
        complain("no value of " + pattern + " differs from its default for this role");
    }
    (void)answer(session, reply, "");
    return kRefused;
}

ExitStatus runHistory(Session& session, const OperandsT& operands) {
    const std::string pattern = patternOf(operands);
    const std::uint64_t nMost = session.options().mostChanges.value_or(kUsualChanges);
    const pbcommon::Reply reply =
        newestChanges(session.asking(), pattern, static_cast<std::uint32_t>(nMost));
    const std::string text = historyText(reply.history(), session.options().bFull ? "*" : pattern,
                                         streamOf(STDOUT_FILENO));
    if (isAccepted(reply) && reply.history().change().empty() &&
        !complainUnmatched(session, pattern)) {
        complain("history holds no change of " + pattern + " for this role");
    }
    return answerPlain(session, "history", reply, text);
}

ExitStatus runDescribe(Session& session, const OperandsT& operands) {
    const pbcommon::Reply reply = askDescribe(session, "describe", nameOf(operands.front()));
    return answer(session, reply, sheet(reply.describe().variable(), streamOf(STDOUT_FILENO)));
}

ExitStatus runOptions(Session& session, const OperandsT& operands) {
    pbcommon::Reply reply = askDescribe(session, "options", nameOf(operands.front()));
    if (!isAccepted(reply)) {
        return answer(session, reply, "");
    }
    pbcommon::Variable& variable = *reply.mutable_describe()->mutable_variable();
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
    const std::string& sName = nameOf(operands.front());
    pbcommon::Request request;
    request.mutable_why()->mutable_address()->set_name(sName);
    const pbcommon::Reply reply = session.ask(request);
    if (!isAccepted(reply)) {
        complainRefusedName(session, "why", sName, reply);
    }
    return answer(session, reply, whyText(reply.why(), streamOf(STDOUT_FILENO)));
}

ExitStatus runWatch(Session& session, const OperandsT& operands) {
    pbcommon::Request request;
    pbcommon::Watch& watch = *request.mutable_watch();
    watch.set_pattern(patternOf(operands));
    (void)complainUnmatched(session, watch.pattern());  // it may match when more can be seen
    if (session.options().since) {
        watch.set_since(*session.options().since);
    }
    pbcommon::Reply reply = session.ask(request);
    while (isAccepted(reply) && watch.has_since() && reply.watch().revision() > watch.since()) {
        printNews(session, watch.pattern(), reply);
        watch.set_since(reply.watch().revision());
        reply = session.ask(request);
    }
    if (isAccepted(reply) && !session.options().bJson) {  // which says it in a document
        printError("watching " + shown(watch.pattern()) + " until interrupted\n");
    }
    for (; isAccepted(reply); reply = session.next()) {
        printNews(session, watch.pattern(), reply);
    }
    complainRefused("watch", reply);
    printNews(session, watch.pattern(), reply);
    return kRefused;
}

}  // namespace cfgctl
