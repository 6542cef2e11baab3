#include "commandline.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <sstream>
#include <vector>

#include "nearmiss.h"
#include "roles.h"

namespace cfgctl {

namespace {

constexpr const char* kMainHelp =
    "A variable is written node.variable, with [n] after either for an instance other than 0.\n"
    "In a terminal output is laid out for its width; elsewhere nothing is padded, cut or wrapped,\n"
    "and a tab separates columns.\n"
    "Exit status: 0 done, 1 refused by the service, 2 wrong usage (nothing was sent),\n"
    "3 no service (nothing was changed), 4 no answer in time, or outcome unknown,\n"
    "5 done, but the output could not be written.\n"
    "Example: cfgctl set management.snmp.listeningport=8161";

pbcommon::Role roleOf(const std::string& sName) {
    if (const auto role = roleNamed(sName)) {
        return *role;
    }
    throw CLI::ValidationError("--role", "invalid role '" + sName + "'; choose from " +
                                             CLI::detail::join(roleNames(), ", "));
}

std::uint64_t numberOf(const OptionT& option, const std::string& text) {
    std::uint64_t nNumber = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, nNumber);
    if (error == std::errc() && stop == end && nNumber >= option.nLeast &&
        nNumber <= option.nMost) {
        return nNumber;
    }
    throw CLI::ValidationError(option.name, "'" + text + "' is not a number from " +
                                                std::to_string(option.nLeast) + " to " +
                                                std::to_string(option.nMost));
}

/// As help names an operand.
const char* labelOf(OperandKind kind) {
    switch (kind) {
        case OperandKind::kName:
            return "NAME";
        case OperandKind::kAssignment:
            return "NAME=VALUE";
        case OperandKind::kPattern:
            return "PATTERN";
        case OperandKind::kShell:
            return "SHELL";
        case OperandKind::kWord:
            return "WORD";
        case OperandKind::kNone:
            break;
    }
    return "";
}

/// Seconds, a fraction too, from a thousandth up to a day.
Connection::Clock::duration timeoutOf(const std::string& text) {
    double nSeconds = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] =
        std::from_chars(text.data(), end, nSeconds, std::chars_format::fixed);
    if (error == std::errc() && stop == end && nSeconds >= 0.001 && nSeconds <= 86400) {
        return std::chrono::ceil<Connection::Clock::duration>(
            std::chrono::duration<double>(nSeconds));
    }
    throw CLI::ValidationError("--timeout", "'" + text + "' is not a number from 0.001 to 86400");
}

std::string isNotEmpty(const std::string& text) { return text.empty() ? "it is empty" : ""; }

/// The options that may be before a command or after it.
void addGlobalOptions(CLI::App& app, OptionsT& options) {
    app.set_help_flag("-h,--help", "Print this help and exit");
    app.add_option_function<std::string>(
           "--role", [&options](const std::string& sName) { options.role = roleOf(sName); },
           "Act as user, admin, provisioning or system\n(default: your highest, up to admin)")
        ->type_name("ROLE");
    app.add_option("--socket", options.sSocket,
                   "Where the service listens\n(default: $APPCONFIG_SOCKET, or the usual places)")
        ->type_name("PATH")
        ->check(isNotEmpty);
    app.add_option_function<std::string>(
           "--timeout", [&options](const std::string& text) { options.timeout = timeoutOf(text); },
           "Seconds to wait for each answer (default: 10)")
        ->type_name("SECONDS");
    app.add_flag("--json", options.bJson, "Print the service's answer as one JSON document");
}

CLI::Option& addOption(CLI::App& command, const OptionT& option, OptionsT& options) {
    if (option.flag != nullptr) {
        return *command.add_flag(option.name, options.*option.flag, option.help);
    }
    return *command
                .add_option_function<std::string>(
                    option.name,
                    [&option, &options](const std::string& text) {
                        options.*option.number = numberOf(option, text);
                    },
                    option.help)
                ->type_name(option.numberName);
}

void addCommand(CLI::App& app, const CommandT& command, CommandLine& line) {
    CLI::App& sub = *app.add_subcommand(command.name, command.isHidden() ? "" : command.summary);
    addGlobalOptions(sub, line.options);
    sub.footer(command.help);
    sub.callback([&line, &command] { line.command = &command; });
    if (command.isHidden()) {
        sub.group("");
    }
    for (const OptionT* const option : command.option) {
        if (option != nullptr) {
            addOption(sub, *option, line.options);
        }
    }
    if (command.count != OperandCount::kNone) {
        const bool bNeeded = command.count != OperandCount::kAtMostOne;
        sub.add_option(labelOf(command.kind), line.operands, command.operandHelp)
            ->type_name("")
            ->required(bNeeded)
            ->expected(bNeeded ? 1 : 0, command.count == OperandCount::kAny ? -1 : 1);
    }
}

std::vector<std::string> optionNames(const CLI::App& app) {
    std::vector<std::string> names;
    for (const CLI::Option* const option : app.get_options()) {
        for (const std::string& sName : option->get_lnames()) {
            names.push_back("--" + sName);
        }
    }
    return names;
}

/// The word that is neither command nor option, and what may be meant; else what the library says.
std::string faultText(const CLI::App& app, const CLI::ParseError& error) {
    const CLI::App* const command =
        app.get_subcommands().empty() ? nullptr : app.get_subcommands().front();
    const CLI::App& used = command == nullptr || !app.remaining().empty() ? app : *command;
    const std::vector<std::string> unknown = used.remaining();
    const bool bOption = !unknown.empty() && unknown.front().starts_with('-');
    std::string sHelped = command == nullptr ? "" : command->get_name() + " ";
    std::string sText = error.what();
    std::string sNearest;
    if (bOption || (command == nullptr && !unknown.empty())) {
        sNearest = nearestName(unknown.front(), bOption ? optionNames(used) : commandNames());
        sText =
            "'" + unknown.front() + "' is not " +
            (command == nullptr ? "a command or option" : "an option of " + command->get_name());
        sHelped = bOption || sNearest.empty() ? sHelped : sNearest + " ";
    }
    return sText + (sNearest.empty() ? "" : "; did you mean '" + sNearest + "'?") +
           (sNearest.empty() ? "; try" : " Try") + " 'cfgctl " + sHelped + "--help'";
}

}  // namespace

CommandLine parseCommandLine(int argc, const char* const* argv) {
    CommandLine line;
    CLI::App app("Reads and changes the settings of the application-configuration service.",
                 "cfgctl");
    addGlobalOptions(app, line.options);
    addOption(app, dryRunOption(), line.options).group("");  // not in its help
    app.set_version_flag("--version", "cfgctl " CFGCTL_VERSION, "Print the version and exit");
    app.footer(kMainHelp);
    app.require_subcommand(1);
    app.get_formatter()->label("SUBCOMMAND", "COMMAND");
    for (const CommandT& command : commands()) {
        addCommand(app, command, line);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() != 0) {
            throw Failure(kUsage, faultText(app, error));
        }
        std::ostringstream text;
        app.exit(error, text, text);
        line.text = text.str();
        line.command = nullptr;
    }
    if (line.command != nullptr && line.options.bDryRun && !line.command->takes(dryRunOption())) {
        throw Failure(kUsage, std::string("--dry-run is not an option of ") + line.command->name +
                                  "; try 'cfgctl " + line.command->name + " --help'");
    }
    return line;
}

}  // namespace cfgctl
