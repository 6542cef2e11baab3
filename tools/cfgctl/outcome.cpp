#include "outcome.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "display.h"
#include "effects.h"
#include "layout.h"
#include "tags.h"
#include "text.h"
#include "why.h"

namespace cfgctl {

namespace {

constexpr std::size_t kIndent = 2;

/// "NAME=VALUE" with the value that was proposed, a secret masked. Without a variable in the reply
/// the name alone: only the service knows which values are secret.
std::string proposedText(const pbcommon::SetReply& set, const AssignmentT& assignment) {
    constexpr std::size_t kMaxShownBytes = 200;
    if (set.variable().empty()) {
        return assignment.sName;
    }
    const pbcommon::Variable& variable = set.variable(0);
    // as it was typed; the reply has no more than can be shown of it
    return shown(variable.name()) + "=" +
           (variable.kind() == pbcommon::SECRET
                ? shown(variable.value())
                : pbcommon::printable(assignment.value, kMaxShownBytes));
}

/// An accepted request as the change that it made or would make.
pbcommon::Change changeOf(const pbcommon::SetReply& set) {
    pbcommon::Change change;
    change.set_revision(set.revision());
    for (const pbcommon::Variable& variable : set.variable()) {
        pbcommon::Assigned& assigned = *change.add_assignment();
        assigned.set_name(variable.name());
        assigned.set_value(variable.value());
    }
    *change.mutable_effect() = set.effect();
    return change;
}

/// Whether a refusal is about the form of the value, so that it helps to know which are taken.
bool isAboutForm(const pbcommon::Reply& reply) {
    constexpr std::array kFormTags = {pbcommon::ERR_INVALID_VALUE, pbcommon::ERR_TOO_LONG,
                                      pbcommon::ERR_NOT_OFFERED};
    return std::ranges::any_of(reply.tag(), [&](const std::string& sTag) {
        return std::ranges::find(kFormTags, sTag) != kFormTags.end();
    });
}

/// Tags with their sentences; the code where there is nothing else to say.
RowsT reasonRows(const pbcommon::Reply& reply) {
    RowsT rows;
    for (int i = 0; i < reply.tag_size(); ++i) {
        rows.push_back({shown(reply.tag(i))});
        if (i < reply.sentence_size() && !reply.sentence(i).empty()) {
            rows.back().push_back(shown(reply.sentence(i)));
        }
    }
    if (rows.empty() && reply.set().refusal().read().empty()) {
        rows.push_back({outcomeText(reply, "")});
    }
    return rows;
}

RowsT basisRows(const pbcommon::Reply& reply) {
    const pbcommon::Refusal& refusal = reply.set().refusal();
    RowsT rows;
    if (isAboutForm(reply)) {
        rows.push_back({"accepts", shown(offersText(reply.set().variable(0)))});
    }
    rows.push_back({"now", shownValue(refusal.now())});
    for (const pbcommon::Read& read : refusal.read()) {
        rows.push_back({"read", shown(read.name()) + " = " + shownValue(read.value())});
    }
    return rows;
}

}  // namespace

std::string acceptedText(const std::string& sOutcome, const pbcommon::SetReply& set, bool bVerbose,
                         const StreamT& stream) {
    return changeLines(changeOf(set), {.stream = stream, .sOutcome = sOutcome, .bEach = bVerbose}) +
           (set.reboot_needed() ? "reboot needed\n" : "");
}

std::string refusedText(const AssignmentT& assignment, const pbcommon::Reply& reply,
                        const StreamT& stream) {
    const pbcommon::SetReply& set = reply.set();
    std::string text = painted("refused", Colour::kRed, stream) + "  " +
                       proposedText(set, assignment) + "\n" +
                       rowLines(reasonRows(reply), kIndent, stream);
    if (set.has_refusal()) {
        text += rowLines(basisRows(reply), kIndent, stream);
    }
    if (set.refusal().has_obstacle()) {
        text += reasonText(set.variable(0).name(), set.refusal().obstacle(), kIndent, stream);
    }
    return text;
}

std::string remediesText(const pbcommon::ExplainReply& explained, bool bVerbose,
                         const StreamT& stream) {
    if (explained.remedy().empty()) {
        const std::string sTried = shownList(explained.setting());
        return explained.setting().empty()
                   ? "no remedy found: the refusal names no setting that this role may change\n"
                   : wrapped("no remedy found in " + std::to_string(explained.tried()) +
                                 (explained.tried() == 1 ? " rehearsal" : " rehearsals") +
                                 " with other values of " + sTried,
                             0, kIndent, stream.nColumns) +
                         "\n";
    }
    std::string text;
    for (const pbcommon::Remedy& remedy : explained.remedy()) {
        pbcommon::Change consequences;  // alone: what was assigned is told in another way
        *consequences.mutable_effect() = remedy.effect();
        text += painted("would be accepted with", Colour::kGreen, stream) + "\n";
        for (const pbcommon::Assigned& assigned : remedy.assignment()) {
            text += std::string(kIndent, ' ') + shown(assigned.name()) + "=" +
                    shown(assigned.value()) + "\n";
        }
        text += changeLines(consequences,
                            {.stream = stream, .nIndent = 2 * kIndent, .bEach = bVerbose}) +
                (remedy.reboot_needed() ? "    reboot needed\n" : "");
    }
    return text;
}

}  // namespace cfgctl
