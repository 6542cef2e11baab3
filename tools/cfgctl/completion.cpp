#include "completion.h"

#include <algorithm>
#include <cstddef>

#include "choices.h"
#include "roles.h"

namespace cfgctl {

namespace {

/// What the words before the one at the cursor say about it.
struct TypedT {
    const CommandT* command = nullptr;
    OptionsT options{};
    std::string sOption{};      ///< whose value it is; empty: of none
    std::size_t nOperands = 0;  ///< of the command, before it
};

bool takesValue(const TypedT& typed, const std::string& word) {
    return word == "--role" || word == "--socket" || word == "--timeout" ||
           (typed.command != nullptr &&
            std::ranges::any_of(typed.command->option, [&word](const OptionT* option) {
                return option != nullptr && option->number != nullptr && word == option->name;
            }));
}

void addWord(CommandsT commands, const std::string& word, TypedT& typed) {
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
    } else if (const auto found = std::ranges::find(commands, word, &CommandT::name);
               found != commands.end()) {
        typed.command = &*found;
    }
}

TypedT typedBeforeLast(CommandsT commands, const OperandsT& words) {
    TypedT typed;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        addWord(commands, words[i], typed);
    }
    return typed;
}

std::vector<std::string> optionNames(const CommandT* command) {
    std::vector<std::string> names = {"--help", "--json", "--role", "--socket", "--timeout"};
    if (command == nullptr) {
        names.insert(names.end(), {"--version", dryRunOption().name});
        return names;
    }
    for (const OptionT* const option : command->option) {
        if (option != nullptr) {
            const std::string sNames = option->name;
            names.push_back(sNames.substr(sNames.find(',') + 1));  // the long one
        }
    }
    return names;
}

/// Names of variables that begin with `word`, each with `sEnd` after it.
std::vector<std::string> variableNames(const std::string& word, const char* sEnd, const AskT& ask) {
    const pbcommon::Reply known = listAll(ask, word + "*");
    std::vector<std::string> names;
    for (const pbcommon::Variable& variable : known.list().variable()) {
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
    pbcommon::Request request;
    request.mutable_describe()->mutable_address()->set_name(word.substr(0, equals));
    const pbcommon::Reply described = ask(request);
    for (const std::string& value : acceptedOf(choicesOf(ask, described.describe().variable()))) {
        all.push_back(word.substr(0, equals + 1) + value);
    }
    return all;
}

std::vector<std::string> operandsOf(const TypedT& typed, const std::string& word, const AskT& ask) {
    const CommandT& command = *typed.command;
    const std::size_t nMost = command.count == OperandCount::kNone ? 0 : 1;
    if (command.count != OperandCount::kAny && typed.nOperands >= nMost) {
        return {};
    }
    switch (command.kind) {
        case OperandKind::kName:
        case OperandKind::kPattern:  // a name is one, too
            return variableNames(word, "", ask);
        case OperandKind::kAssignment:
            return assignments(word, ask);
        case OperandKind::kShell:
            return {"bash"};
        case OperandKind::kWord:
        case OperandKind::kNone:
            break;
    }
    return {};
}

}  // namespace

OptionsT typedOptions(CommandsT commands, const OperandsT& words) {
    return typedBeforeLast(commands, words).options;
}

std::vector<std::string> candidates(CommandsT commands, const OperandsT& words, const AskT& ask) {
    const std::string word = words.empty() ? "" : words.back();
    const TypedT typed = typedBeforeLast(commands, words);
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
