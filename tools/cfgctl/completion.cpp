#include "completion.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "choices.h"
#include "commandline.h"

namespace cfgctl {

namespace {

using namespace std::string_view_literals;

/// What the words before the one at the cursor say about it.
struct TypedT {
    const CommandT* command = nullptr;
    OptionsT options{};
    std::string sOption{};      ///< whose value it is; empty: of none
    std::size_t nOperands = 0;  ///< of the command, before it
};

bool takesValue(const TypedT& typed, const std::string& word) {
    const OptionT* const option = typed.command == nullptr ? nullptr : typed.command->option;
    return word == "--role" || word == "--socket" || word == "--timeout" ||
           (option != nullptr && option->number != nullptr && word == option->name);
}

void addWord(const std::string& word, TypedT& typed) {
    if (!typed.sOption.empty()) {
        if (typed.sOption == "--role") {
            typed.options.role = roleNamed(word);
        } else if (typed.sOption == "--socket") {
            typed.options.sSocket = word;
        }
        typed.sOption.clear();
    } else if (word.starts_with('-')) {
        typed.sOption = takesValue(typed, word) ? word : "";
    } else if (typed.command != nullptr) {
        ++typed.nOperands;
    } else if (const auto found = std::ranges::find(commands(), word, &CommandT::name);
               found != commands().end()) {
        typed.command = &*found;
    }
}

TypedT typedBeforeLast(const OperandsT& words) {
    TypedT typed;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        addWord(words[i], typed);
    }
    return typed;
}

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const CommandT& command : commands()) {
        if (!command.isHidden()) {
            names.emplace_back(command.name);
        }
    }
    return names;
}

std::vector<std::string> optionNames(const CommandT* command) {
    std::vector<std::string> names = {"--help", "--json", "--role", "--socket", "--timeout"};
    if (command == nullptr) {
        names.emplace_back("--version");
    } else if (command->option != nullptr) {
        names.emplace_back(command->option->name);
    }
    return names;
}

/// Names of variables that begin with `word`, each with `sEnd` after it.
std::vector<std::string> variableNames(const std::string& word, const char* sEnd, const AskT& ask) {
    const pbcommon::Reply known = listAll(ask, word + "*");
    std::vector<std::string> names;
    for (const pbcommon::Variable& variable : known.variable()) {
        names.push_back(variable.name() + sEnd);
    }
    return names;
}

std::vector<std::string> assignments(const std::string& word, const AskT& ask) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) {
        return variableNames(word, "=", ask);
    }
    std::vector<std::string> all;
    const auto address = pbcommon::parseAddress(word.substr(0, equals));
    if (!address) {
        return all;
    }
    pbcommon::Request request;
    fillAddress(*address, *request.mutable_describe()->mutable_address());
    const pbcommon::Reply described = ask(request);
    for (const pbcommon::Variable& variable : described.variable()) {
        for (const std::string& value : acceptedOf(choicesOf(ask, variable))) {
            all.push_back(word.substr(0, equals + 1) + value);
        }
    }
    return all;
}

std::vector<std::string> operandsOf(const TypedT& typed, const std::string& word, const AskT& ask) {
    const CommandT& command = *typed.command;
    const std::size_t nMost = command.operands == OperandCount::kNone ? 0 : 1;
    if (command.operands != OperandCount::kAny && typed.nOperands >= nMost) {
        return {};
    }
    if (command.operand == "NAME=VALUE"sv) {
        return assignments(word, ask);
    }
    if (command.operand == "SHELL"sv) {
        return {"bash"};
    }
    return variableNames(word, "", ask);  // a name is a pattern too
}

}  // namespace

OptionsT typedOptions(const OperandsT& words) { return typedBeforeLast(words).options; }

std::vector<std::string> candidates(const OperandsT& words, const AskT& ask) {
    const std::string word = words.empty() ? "" : words.back();
    const TypedT typed = typedBeforeLast(words);
    std::vector<std::string> all;
    if (typed.sOption == "--role") {
        all = roleNames();
    } else if (!typed.sOption.empty()) {
        all.clear();  // there are too many
    } else if (word.starts_with('-')) {
        all = optionNames(typed.command);
    } else if (typed.command == nullptr) {
        all = commandNames();
    } else {
        all = operandsOf(typed, word, ask);
    }
    std::erase_if(all,
                  [&word](const std::string& candidate) { return !candidate.starts_with(word); });
    return all;
}

}  // namespace cfgctl
