#include "choices.h"

#include "display.h"

namespace cfgctl {

namespace {

bool isAccepted(const ChoiceT& choice) { return choice.answer.code() == pbcommon::kNoError; }

TextsT valuesOf(const pbcommon::Variable& variable) {
    TextsT values = variable.description().option();
    if (variable.kind() == pbcommon::BOOLEAN) {
        *values.Add() = "true";
        *values.Add() = "false";
    }
    return values;
}

}  // namespace

ChoicesT choicesOf(const AskT& ask, const pbcommon::Variable& variable) {
    ChoicesT choices;
    for (const std::string& sValue : valuesOf(variable)) {
        pbcommon::Request request;
        request.mutable_set()->set_dry_run(true);
        pbcommon::Assignment& assignment = *request.mutable_set()->add_assignment();
        assignment.mutable_address()->set_name(variable.name());
        assignment.set_value(sValue);
        choices.push_back({.sValue = sValue, .answer = ask(request)});
    }
    return choices;
}

TextsT acceptedOf(const ChoicesT& choices) {
    TextsT accepted;
    for (const ChoiceT& choice : choices) {
        if (isAccepted(choice)) {
            *accepted.Add() = choice.sValue;
        }
    }
    return accepted;
}

std::string choiceLines(const ChoicesT& choices) {
    std::string accepted;
    std::string refused;
    for (const ChoiceT& choice : choices) {
        if (isAccepted(choice)) {
            accepted += shown(choice.sValue) + "\n";
        } else {
            refused += shown(choice.sValue +
                             "  (not accepted now: " + outcomeText(choice.answer, " ") + ")") +
                       "\n";
        }
    }
    return accepted + refused;
}

}  // namespace cfgctl
