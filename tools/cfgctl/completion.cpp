#include "completion.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "commandline.h"
#include "output.h"

namespace cfgctl {

namespace {

using namespace std::string_view_literals;

/// What the words before the one at the cursor say about it.
struct TypedT {
    const CommandT* command = nullptr;
    std::optional<pbcommon::Role> role;
    bool bRoleNext = false;     ///< it is the role's name
    bool bNumberNext = false;   ///< it is an option's number
    std::size_t nOperands = 0;  ///< of the command, before it
};

bool takesNumber(const TypedT& typed, const std::string& word) {
    const OptionT* const option = typed.command == nullptr ? nullptr : typed.command->option;
    return option != nullptr && option->number != nullptr && word == option->name;
}

void addWord(const std::string& word, TypedT& typed) {
    if (typed.bRoleNext) {
        typed.role = roleNamed(word);
        typed.bRoleNext = false;
    } else if (typed.bNumberNext) {
        typed.bNumberNext = false;
    } else if (word.starts_with('-')) {
        typed.bRoleNext = word == "--role";
        typed.bNumberNext = takesNumber(typed, word);
    } else if (typed.command != nullptr) {
        ++typed.nOperands;
    } else if (const auto found = std::ranges::find(commands(), word, &CommandT::name);
               found != commands().end()) {
        typed.command = &*found;
    }
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
    std::vector<std::string> names = {"--help", "--json", "--role"};
    if (command == nullptr) {
        names.emplace_back("--version");
    } else if (command->option != nullptr) {
        names.emplace_back(command->option->name);
    }
    return names;
}

/// Names of variables that begin with `word`, each with `sEnd` behind it.
std::vector<std::string> variableNames(const TypedT& typed, const std::string& word,
                                       const char* sEnd, const LookUpT& lookUp) {
    const pbcommon::Reply known = lookUp(typed.role, word + "*");
    std::vector<std::string> names;
    for (const pbcommon::Variable& variable : known.variable()) {
        names.push_back(variable.name() + sEnd);
    }
    return names;
}

std::vector<std::string> assignments(const TypedT& typed, const std::string& word,
                                     const LookUpT& lookUp) {
    const std::size_t equals = word.find('=');
    if (equals == std::string::npos) {
        return variableNames(typed, word, "=", lookUp);
    }
    const pbcommon::Reply known = lookUp(typed.role, word.substr(0, equals));
    std::vector<std::string> all;
    for (const pbcommon::Variable& variable : known.variable()) {
        for (const std::string& value : offeredValues(variable)) {
            all.push_back(variable.name() + "=" + value);
        }
    }
    return all;
}

std::vector<std::string> operandsOf(const TypedT& typed, const std::string& word,
                                    const LookUpT& lookUp) {
    const CommandT& command = *typed.command;
    const std::size_t nMost = command.operands == OperandCount::kNone ? 0 : 1;
    if (command.operands != OperandCount::kAny && typed.nOperands >= nMost) {
        return {};
    }
    if (command.operand == "NAME=VALUE"sv) {
        return assignments(typed, word, lookUp);
    }
    if (command.operand == "SHELL"sv) {
        return {"bash"};
    }
    return variableNames(typed, word, "", lookUp);  // a name is a pattern too
}

}  // namespace

std::vector<std::string> candidates(const OperandsT& words, const LookUpT& lookUp) {
    const std::string word = words.empty() ? "" : words.back();
    TypedT typed;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        addWord(words[i], typed);
    }
    std::vector<std::string> all;
    if (typed.bRoleNext) {
        all = roleNames();
    } else if (typed.bNumberNext) {
        all.clear();  // there are too many
    } else if (word.starts_with('-')) {
        all = optionNames(typed.command);
    } else if (typed.command == nullptr) {
        all = commandNames();
    } else {
        all = operandsOf(typed, word, lookUp);
    }
    std::erase_if(all,
                  [&word](const std::string& candidate) { return !candidate.starts_with(word); });
    return all;
}

}  // namespace cfgctl
