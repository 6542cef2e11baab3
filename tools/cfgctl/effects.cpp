#include "effects.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "address.h"
#include "display.h"
#include "grouping.h"
#include "layout.h"
#include "names.h"

namespace cfgctl {

namespace {

/// Values by key, in the order in which the keys first came.
template <typename KeyT, typename ValueT>
using InOrderT = std::vector<std::pair<KeyT, ValueT>>;

template <typename KeyT, typename ValueT>
ValueT& entryOf(InOrderT<KeyT, ValueT>& entries, const KeyT& key) {
    const auto found = std::ranges::find(entries, key, &std::pair<KeyT, ValueT>::first);
    return found == entries.end() ? entries.emplace_back(key, ValueT{}).second : found->second;
}

using NamesT = std::vector<std::string>;
/// Names of variables, by what happened to them: the cells of a row that say so.
using SameT = InOrderT<CellsT, NamesT>;

/// What a change did to a variable's value; null: nothing.
const pbcommon::Effect* valueEffect(const pbcommon::Change& change, const std::string& sVariable) {
    const auto found = std::ranges::find_if(change.effect(), [&](const pbcommon::Effect& effect) {
        return effect.variable() == sVariable && effect.aspect() == pbcommon::VALUE;
    });
    return found == change.effect().end() ? nullptr : &*found;
}

/// Not what the lines about the request say.
bool isConsequence(const pbcommon::Effect& effect) {
    return effect.aspect() != pbcommon::VALUE || effect.cause() != pbcommon::REQUEST;
}

std::string beforeAfter(const pbcommon::Effect& effect, const StreamT& stream) {
    return contentText(effect.aspect(), effect.before()) + stream.arrow() +
           contentText(effect.aspect(), effect.after());
}

/// The texts of `all` that `others` has not, each after `sSign`.
std::string missingIn(const TextsT& others, const TextsT& all, const char* sSign) {
    std::string missing;
    for (const std::string& text : all) {
        if (std::ranges::find(others, text) == others.end()) {
            missing += (missing.empty() ? "" : " ") + (sSign + shown(text));
        }
    }
    return missing;
}

/// "-v1 +v3" of an option list, unless the same came in another order.
std::string differenceText(const pbcommon::Effect& effect, const StreamT& stream) {
    const std::string sGone = missingIn(effect.after(), effect.before(), "-");
    const std::string sNew = missingIn(effect.before(), effect.after(), "+");
    if (effect.aspect() != pbcommon::OPTIONS || (sGone.empty() && sNew.empty())) {
        return beforeAfter(effect, stream);
    }
    return sGone + (sGone.empty() || sNew.empty() ? "" : " ") + sNew;
}

/// What made it so; empty when the request itself did.
std::string headingOf(const pbcommon::Change& change, const pbcommon::Effect& effect) {
    if (effect.cause() == pbcommon::REQUEST) {
        return "";
    }
    if (effect.cause() == pbcommon::START_UP) {
        return "because the service started";
    }
    const std::string sCall = " (" + pbcommon::causeName(effect.cause()) + ")";
    const std::string& sTrigger = effect.trigger();
    if (sTrigger.empty()) {
        return "because of a setting that this role may not see" + sCall;
    }
    const auto& assigned = change.assignment();
    if (std::ranges::find(assigned, sTrigger, &pbcommon::Assigned::name) != assigned.end()) {
        return "because " + shown(sTrigger) + " was set" + sCall;
    }
    const pbcommon::Effect* const origin = valueEffect(change, sTrigger);
    return origin == nullptr ? "because of " + shown(sTrigger) + sCall
                             : "because " + shown(sTrigger) + " became " +
                                   contentText(pbcommon::VALUE, origin->after()) + sCall;
}

/// What made it so, in short.
std::string causeText(const pbcommon::Effect& effect) {
    return "(" + pbcommon::causeName(effect.cause()) + (effect.trigger().empty() ? "" : " ") +
           shown(effect.trigger()) + ")";
}

bool isTold(const std::string& sVariable, const MannerT& manner) {
    return pbcommon::matchesPattern(manner.sPattern, sVariable);
}

std::string setLines(const pbcommon::Change& change, const MannerT& manner) {
    const std::string sRevision =
        change.revision() == 0 ? "" : ", revision " + std::to_string(change.revision());
    RowsT rows;
    for (const pbcommon::Assigned& assigned : change.assignment()) {
        if (!isTold(assigned.name(), manner)) {
            continue;
        }
        const pbcommon::Effect* const effect = valueEffect(change, assigned.name());
        const std::string sSet = "set " + shown(assigned.name());
        rows.push_back(effect == nullptr  // and so the value may be another than was set
                           ? CellsT{sSet + "=" + shown(assigned.value())}
                           : CellsT{sSet, contentText(pbcommon::VALUE, effect->before()) +
                                              manner.stream.arrow() +
                                              shownValue(assigned.value())});
        if (!manner.sOutcome.empty()) {
            rows.back().push_back(painted(manner.sOutcome, Colour::kGreen, manner.stream) +
                                  (effect == nullptr ? ", unchanged" : sRevision));
        } else if (effect == nullptr) {
            rows.back().push_back("unchanged");
        }
    }
    return rowLines(rows, manner.nIndent, manner.stream);
}

std::string groupedLines(const std::vector<pbcommon::Effect>& effects,
                         const pbcommon::Change& change, const MannerT& manner) {
    InOrderT<std::string, SameT> causes;
    for (const pbcommon::Effect& effect : effects) {
        SameT& same = entryOf(causes, headingOf(change, effect));
        entryOf(same, {aspectText(effect.aspect()), differenceText(effect, manner.stream)})
            .push_back(shown(effect.variable()));
    }
    std::string text;
    for (const auto& [heading, same] : causes) {
        RowsT rows;
        for (const auto& [happened, names] : same) {
            for (const std::string& sNames : groupedNames(names)) {
                rows.push_back({sNames});
                rows.back().insert(rows.back().end(), happened.begin(), happened.end());
            }
        }
        if (!heading.empty()) {
            text += rowLines({{painted(heading, Colour::kDim, manner.stream)}}, manner.nIndent,
                             manner.stream);
        }
        text += rowLines(rows, manner.nIndent + 2, manner.stream);
    }
    return text;
}

std::string eachLine(const std::vector<pbcommon::Effect>& effects, const MannerT& manner) {
    RowsT rows;
    for (const pbcommon::Effect& effect : effects) {
        rows.push_back({shown(effect.variable()), aspectText(effect.aspect()),
                        beforeAfter(effect, manner.stream),
                        painted(causeText(effect), Colour::kDim, manner.stream)});
    }
    return rowLines(rows, manner.nIndent + 2, manner.stream);
}

}  // namespace

std::string changeLines(const pbcommon::Change& change, const MannerT& manner) {
    auto nOthers = std::ranges::count_if(
        change.assignment(),
        [&manner](const pbcommon::Assigned& assigned) { return !isTold(assigned.name(), manner); });
    std::vector<pbcommon::Effect> told;
    for (const pbcommon::Effect& effect : change.effect()) {
        if (isConsequence(effect) && isTold(effect.variable(), manner)) {
            told.push_back(effect);
        } else if (isConsequence(effect)) {
            ++nOthers;
        }
    }
    return setLines(change, manner) +
           (manner.bEach ? eachLine(told, manner) : groupedLines(told, change, manner)) +
           (nOthers == 0
                ? ""
                : std::string(manner.nIndent, ' ') + "and " + std::to_string(nOthers) + " more\n");
}

}  // namespace cfgctl
