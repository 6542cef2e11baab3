#include <chrono>

#include "bashcompletion.h"
#include "command.h"
#include "completion.h"
#include "display.h"
#include "terminal.h"

namespace cfgctl {

namespace {

ExitStatus runCompletion(Session& session, const OperandsT& operands);
ExitStatus runComplete(Session& session, const OperandsT& operands);

constexpr OptionT kDryRun = {.name = "--dry-run",
                             .flag = &OptionsT::bDryRun,
                             .help = "Show what would happen without changing anything"};
constexpr OptionT kVerbose = {.name = "-v,--verbose",
                              .flag = &OptionsT::bVerbose,
                              .help = "Print each consequence, and what made it so"};
constexpr OptionT kQuiet = {.name = "-q,--quiet",
                            .flag = &OptionsT::bQuiet,
                            .help = "Print nothing of the answer: the exit status tells it"};
constexpr OptionT kReveal = {.name = "--reveal",
                             .flag = &OptionsT::bReveal,
                             .help = "Show secrets in clear (requires role admin)"};
constexpr OptionT kDot = {
    .name = "--dot", .flag = &OptionsT::bDot, .help = "Print a graph in the DOT language"};
constexpr OptionT kYes = {
    .name = "--yes", .flag = &OptionsT::bYes, .help = "Do not ask for confirmation"};
constexpr OptionT kCount = {.name = "-n",
                            .number = &OptionsT::mostChanges,
                            .numberName = "COUNT",
                            .nLeast = 1,
                            .nMost = UINT32_MAX,
                            .help = "How many of the newest changes (default: 25)"};
constexpr OptionT kFull = {.name = "--full",
                           .flag = &OptionsT::bFull,
                           .help = "Print all of each change, not only what matches"};
constexpr OptionT kChanged = {.name = "--changed",
                              .flag = &OptionsT::bChanged,
                              .help = "Only those whose value is not the default"};
constexpr OptionT kSince = {.name = "--since",
                            .number = &OptionsT::since,
                            .numberName = "REVISION",
                            .nMost = UINT64_MAX,
                            .help = "First print the changes made after this revision"};

constexpr const char* kPatternHelp = "Names, where '*' matches any text (default: all)";

constexpr CommandT commandTable[] = {
    {.name = "get",
     .kind = OperandKind::kName,
     .count = OperandCount::kAny,
     .operandHelp = "Variables to print",
     .summary = "Print values",
     .help = "One NAME prints its bare value, several print 'name = value' lines. A secret is\n"
             "masked unless it is to be revealed.\n"
             "Example: cfgctl get management.snmp.traptarget.targetport[1]",
     .run = runGet,
     .option = {&kReveal}},
    {.name = "set",
     .kind = OperandKind::kAssignment,
     .count = OperandCount::kAny,
     .operandHelp = "Assignments, made in this order",
     .summary = "Change values, all of them or none",
     .help = "NAME=- takes the value from standard input, without one line feed at its end; a\n"
             "single NAME asks for it in a terminal, and shows nothing of a secret. Both keep a\n"
             "value out of process lists and histories; neither is ever empty, as NAME= is.\n"
             "A value that is literally \"-\": printf %s - | cfgctl set NAME=-\n"
             "Below the assignments is what else became different and why. What happened to\n"
             "sibling variables alike is one line: a[0..2].{b,c}; of an option list it is what\n"
             "came (+) and went (-).\n"
             "Example: cfgctl set management.snmp.enabled=true management.snmp.listeningport=161",
     .run = runSet,
     .option = {&kDryRun, &kVerbose, &kQuiet}},
    {.name = "list",
     .kind = OperandKind::kPattern,
     .count = OperandCount::kAtMostOne,
     .operandHelp = kPatternHelp,
     .summary = "List variables, what they offer and who may change them",
     .help = "Example: cfgctl list 'management.snmp.*'",
     .run = runList,
     .option = {&kChanged}},
    {.name = "options",
     .kind = OperandKind::kName,
     .count = OperandCount::kOne,
     .operandHelp = "Variable with options",
     .summary = "Print the values accepted now, then the others",
     .help = "Each value is rehearsed in the role that asks, and nothing is changed. A value that\n"
             "is not accepted is followed by the refusal. With --json, offered holds those that\n"
             "are accepted.\n"
             "Example: cfgctl options management.snmp.traptarget.protocolversion[1]",
     .run = runOptions},
    {.name = "describe",
     .kind = OperandKind::kName,
     .count = OperandCount::kOne,
     .operandHelp = "Variable to describe",
     .summary = "Print all about one variable",
     .help = "What it is, its kind, default, value, options, access, and the handlers that know\n"
             "it.\n"
             "Example: cfgctl describe management.snmp.listeningport",
     .run = runDescribe},
    {.name = "watch",
     .kind = OperandKind::kPattern,
     .count = OperandCount::kAtMostOne,
     .operandHelp = kPatternHelp,
     .summary = "Print every change as it is made, until interrupted",
     .help = "A change: its revision, when and by whom, and of what was set and what else became\n"
             "different all that matches. --since resumes after a revision without gaps. With\n"
             "--json, one document a line; without --since the first only says that the watch has\n"
             "begun.\n"
             "Example: cfgctl watch 'management.snmp.*' --since 41",
     .run = runWatch,
     .option = {&kSince}},
    {.name = "history",
     .kind = OperandKind::kPattern,
     .count = OperandCount::kAtMostOne,
     .operandHelp = kPatternHelp,
     .summary = "Print the changes made so far, the newest last",
     .help = "Changes are printed as watch prints them. With --json, one document, the newest\n"
             "first.\n"
             "Example: cfgctl history 'management.snmp.*' -n 3",
     .run = runHistory,
     .option = {&kCount, &kFull}},
    {.name = "why",
     .kind = OperandKind::kName,
     .count = OperandCount::kOne,
     .operandHelp = "Variable to explain",
     .summary = "Explain a variable's current state",
     .help = "Since when, why, and who caused it. For value, options and access: the change that\n"
             "made it so, then setting by setting what led to it, back to the one that was set,\n"
             "each with the handler call that carried it on.\n"
             "Example: cfgctl why management.snmp.engineid",
     .run = runWhy},
    {.name = "explain",
     .kind = OperandKind::kAssignment,
     .count = OperandCount::kAny,
     .operandHelp = "A tag, or assignments as set takes them",
     .summary = "Explain a refusal, and find what would be accepted",
     .help = "A tag prints its sentence. Assignments are rehearsed, and nothing is changed. When\n"
             "they would be refused: why, and which other values of the settings that the refusal\n"
             "names would make them acceptable, with all that would follow.\n"
             "Example: cfgctl explain 'uicontrol.vantortouch.homescreen[2].enabled=true'",
     .run = runExplain,
     .option = {&kVerbose}},
    {.name = "ping",
     .summary = "Check whether the service answers",
     .help = "Prints the service's name, version and process number, and its protocol version\n"
             "where that is not this program's.\n"
             "Example: cfgctl ping",
     .run = runPing},
    {.name = "deps",
     .kind = OperandKind::kName,
     .count = OperandCount::kAtMostOne,
     .operandHelp = "Variable, of any instance",
     .summary = "Print what a variable depends on, and what depends on it",
     .help =
         "What decides whether a value of it is accepted, what moves its value, options or\n"
         "access, and the other way round, by the built-in rules; of both ends what the role\n"
         "may see now. --dot prints all of it as a picture for Graphviz: solid arrows move (red\n"
         "the value, blue the options, green the access), dotted ones when the service starts,\n"
         "dashed ones decide whether a value is accepted.\n"
         "Example: cfgctl deps --dot | dot -Tsvg >rules.svg",
     .run = runDeps,
     .option = {&kDot}},
    {.name = "whoami",
     .summary = "Print who the service takes you for, and your roles",
     .help = "Also which group would let you act in a higher role.\n"
             "Example: cfgctl whoami",
     .run = runWhoAmI},
    {.name = "status",
     .summary = "Print how the service is",
     .help = "Since when it runs, its newest revision, and how many connections and watches there\n"
             "are; to administrators also its database and the schema files of the configuration\n"
             "directory, those that are left out with the reason.\n"
             "Example: cfgctl status",
     .run = runStatus},
    {.name = "shutdown",
     .summary = "End the service",
     .help = "Requires role system, and acts in it unless --role says otherwise. In a terminal\n"
             "it asks first.\n"
             "Example: cfgctl shutdown",
     .run = runShutdown,
     .option = {&kYes}},
    {.name = "completion",
     .kind = OperandKind::kShell,
     .count = OperandCount::kOne,
     .operandHelp = "bash",
     .summary = "Print the script that completes this program's words in a shell",
     .help = "Example: cfgctl completion bash > ~/.local/share/bash-completion/completions/cfgctl",
     .run = runCompletion},
    {.name = "complete",
     .kind = OperandKind::kWord,
     .count = OperandCount::kAny,
     .operandHelp = "Words after 'cfgctl', the last incomplete",
     .help = "Prints what the last word may become, for the completion script.\n"
             "Example: cfgctl complete -- set management.snmp.enabled=",
     .run = runComplete},
};

ExitStatus runCompletion(Session& /*session*/, const OperandsT& operands) {
    if (operands.front() != "bash") {
        throw Failure(kUsage, "no completion for '" + operands.front() + "', only for bash");
    }
    print(kBashCompletion);
    return kAccepted;
}

/// Says nothing of what goes wrong: whoever presses a key for candidates then gets none.
ExitStatus runComplete(Session& /*session*/, const OperandsT& operands) {
    OptionsT options = typedOptions(commandTable, operands);
    options.timeout = std::chrono::seconds(1);  // whoever presses a key does not wait for more
    Session session(options);
    std::vector<std::string> all;
    try {
        all = candidates(commandTable, operands, session.asking());
    } catch (const Failure&) {
        all.clear();
    }
    for (const std::string& candidate : all) {
        print(shown(candidate) + "\n");
    }
    return kAccepted;
}

}  // namespace

CommandsT commands() { return commandTable; }

std::vector<std::string> commandNames() {
    std::vector<std::string> names;
    for (const CommandT& command : commandTable) {
        if (!command.isHidden()) {
            names.emplace_back(command.name);
        }
    }
    return names;
}

const OptionT& dryRunOption() { return kDryRun; }

}  // namespace cfgctl
