#include "why.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string_view>

#include "display.h"
#include "layout.h"
#include "names.h"

namespace cfgctl {

namespace {

using namespace std::string_view_literals;

constexpr std::size_t kLabelColumns = "options"sv.size() + kColumnGap;

/// Where a value comes from, as far as that was told.
struct OriginT {
    const pbcommon::Effect* effect = nullptr;  ///< null: nothing leads further back
    bool bSet = false;                         ///< a request set it
    std::string text;                          ///< "a.b became true"
};

bool isHandlerCall(const pbcommon::Effect& effect) {
    return effect.cause() != pbcommon::REQUEST && effect.cause() != pbcommon::START_UP;
}

/// What a change did to one aspect of a variable; null: nothing that was told.
const pbcommon::Effect* effectOn(const pbcommon::Change& change, const std::string& sVariable,
                                 pbcommon::Aspect aspect) {
    const auto found = std::ranges::find_if(change.effect(), [&](const pbcommon::Effect& effect) {
        return effect.variable() == sVariable && effect.aspect() == aspect;
    });
    return found == change.effect().end() ? nullptr : &*found;
}

/// @param told  effects that have had their turn: a value may have been written again by what it
///              had set in motion
OriginT originOf(const pbcommon::Change& change, const std::string& sVariable,
                 const std::set<const pbcommon::Effect*>& told) {
    if (sVariable.empty()) {
        return {.text = "of a setting that this role may not see"};
    }
    const pbcommon::Effect* const effect = effectOn(change, sVariable, pbcommon::VALUE);
    if (effect != nullptr && !told.contains(effect)) {
        const bool bSet = effect->cause() == pbcommon::REQUEST;
        return {.effect = effect,
                .bSet = bSet,
                .text = shown(sVariable) + (bSet ? " was set to " : " became ") +
                        contentText(pbcommon::VALUE, effect->after())};
    }
    OriginT origin{.text = "of " + shown(sVariable)};
    for (const pbcommon::Assigned& assigned : change.assignment()) {
        if (assigned.name() == sVariable) {
            origin.bSet = true;
            origin.text = shown(sVariable) + " was set to " + shownValue(assigned.value());
        }
    }
    return origin;
}

struct ChainT {
    std::string sSteps;  ///< a line for each
    std::string sEnd;    ///< who started it
};

/// What led to an effect, step by step. @param effect  null: it was not told
ChainT chainOf(const pbcommon::Change& change, const pbcommon::Effect* effect) {
    ChainT chain{.sSteps = "", .sEnd = effect == nullptr ? "in a change by " : "set by "};
    std::set<const pbcommon::Effect*> told;
    while (effect != nullptr && isHandlerCall(*effect)) {
        told.insert(effect);
        const OriginT origin = originOf(change, effect->trigger(), told);
        chain.sSteps +=
            "  because " + origin.text + " (" + pbcommon::causeName(effect->cause()) + ")\n";
        chain.sEnd = origin.bSet ? "by " : "in a change by ";
        effect = origin.effect;
    }
    const bool bStartUp = effect != nullptr && effect->cause() == pbcommon::START_UP;
    chain.sEnd = bStartUp ? "when the service started" : chain.sEnd + requesterText(change);
    return chain;
}

std::string sinceText(const std::string& sVariable, const pbcommon::Reason& reason) {
    const std::string sSince = "  since revision " + std::to_string(reason.revision());
    if (!reason.has_change()) {
        return reason.revision() == 0 ? "  as the schema has it\n"
                                      : sSince + ", which history no longer holds\n";
    }
    const pbcommon::Change& change = reason.change();
    const ChainT chain = chainOf(change, effectOn(change, sVariable, reason.aspect()));
    if (reason.revision() == 0) {
        return chain.sSteps + "  in this request\n";
    }
    return sSince + ", " + timeText(change.time_us()) + "\n" + chain.sSteps + "  " + chain.sEnd +
           "\n";
}

/// What holds.
std::string labelText(const pbcommon::Reason& reason, const StreamT& stream) {
    const std::string sLabel = aspectText(reason.aspect());
    return painted(sLabel, Colour::kBold, stream) + gapText(kLabelColumns - sLabel.size(), stream) +
           contentText(reason.aspect(), reason.now()) + "\n";
}

std::string indented(const std::string& text, std::size_t nIndent) {
    std::string all;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin) + 1;
        all += std::string(nIndent, ' ') + text.substr(begin, end - begin);
        begin = end;
    }
    return all;
}

}  // namespace

std::string reasonText(const std::string& sVariable, const pbcommon::Reason& reason,
                       std::size_t nIndent, const StreamT& stream) {
    return indented(labelText(reason, stream) + sinceText(sVariable, reason), nIndent);
}

std::string whyText(const pbcommon::WhyReply& reply, const StreamT& stream) {
    const TextsT withheld = withheldOptions(reply.variable());
    std::string text;
    for (const pbcommon::Reason& reason : reply.reason()) {
        text += labelText(reason, stream);
        if (reason.aspect() == pbcommon::OPTIONS && !withheld.empty()) {
            text += "  not offered now: " + shownList(withheld) + "\n";
        }
        text += sinceText(reply.variable().name(), reason);
    }
    return text;
}

}  // namespace cfgctl
