#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>

#include "commandline.h"
#include "completion.h"
#include "output.h"
#include "text.h"

namespace cfgctl {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using WordsT = std::vector<const char*>;

CommandLine commandLine(WordsT words) {
    words.insert(words.begin(), "cfgctl");
    return parseCommandLine(static_cast<int>(words.size()), words.data());
}

/// What the call says of the usage that is wrong, which must be one line.
template <typename Call>
std::string complaintOf(Call call) {
    try {
        (void)call();
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status(), kUsage);
        EXPECT_THAT(failure.what(), Not(HasSubstr("\n")));
        return failure.what();
    }
    return "accepted";
}

template <typename MessageT>
MessageT parsed(const std::string& text) {
    MessageT message;
    EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &message)) << text;
    return message;
}

TEST(CommandLine, WrongUsageIsNamed) {
    // clang-format off
    const std::pair<WordsT, const char*> cases[] = {
        {{},                              "--help"},
        {{"gte", "a.b"},                  "'gte'"},
        {{"get", "a.b", "--frob"},        "--frob"},
        {{"get"},                         "NAME"},
        {{"list", "a*", "b*"},            "PATTERN"},
        {{"ping", "a.b"},                 "a.b"},
        {{"--role", "startup", "ping"},   "user, admin, provisioning, system"},
    };
    // clang-format on
    for (const auto& [words, says] : cases) {
        EXPECT_THAT(complaintOf([&w = words] { return commandLine(w); }), HasSubstr(says));
    }
}

TEST(CommandLine, TakesGlobalOptionsAnywhereAndValuesAsTheyAre) {
    const CommandLine line =
        commandLine({"--role", "admin", "set", "a.b=\"q\" {1}", "c=--x", "--json"});
    EXPECT_STREQ(line.command->name, "set");
    EXPECT_THAT(line.operands, testing::ElementsAre("a.b=\"q\" {1}", "c=--x"));
    EXPECT_TRUE(line.role == pbcommon::kAdmin && line.bJson);
}

TEST(Assignments, SplitAtTheFirstEqualsSignAndShowNoValueWhenWrong) {
    EXPECT_EQ(parseAssignments({"a.b[2]=x=y"})[0].value, "x=y");
    EXPECT_EQ(parseAssignments({"a.password"})[0].value, std::nullopt) << "to be read from stdin";
    // clang-format off
    const std::pair<OperandsT, const char*> cases[] = {
        {{"a.b", "true"},          "did you mean a.b=true?"},
        {{"a.b", "a.c=hunter2"},   "argument 1"},
        {{"a.b=1", "hunter2"},     "argument 2"},
        {{"a.b", "hunter2", "x"},  "argument 1"},
        {{"password=hunter2"},     "'password'"},
    };
    // clang-format on
    for (const auto& [operands, says] : cases) {
        EXPECT_THAT(complaintOf([&words = operands] { return parseAssignments(words); }),
                    AllOf(HasSubstr(says), Not(HasSubstr("hunter2"))));
    }
}

// clang-format off
const char* const everyKind =
    "variable { name: 'a.switch' value: 'true' kind: BOOLEAN read: kUser write: kUser }"
    "variable { name: 'a.port' value: '161' kind: INTEGER minimum: 1 maximum: 65535 read: kUser write: kSystem }"
    "variable { name: 'a.version[1]' value: 'v3' kind: ENUMERATION offered: 'v1' offered: 'v3' read: kSystem }"
    "variable { name: 'a.room' value: 'Café 会議室\\n' kind: TEXT max_length: 255 read: kUser write: kAdmin }"
    "variable { name: 'a.password' value: '********' kind: SECRET max_length: 63 read: kAdmin write: kAdmin }";
// clang-format on

TEST(Listing, FitsTheTerminalColumnByColumnWithoutControlCharacters) {
    EXPECT_EQ(listing(parsed<pbcommon::Reply>(everyKind), {.bTerminal = true, .nColumns = 50}),
              "VARIABLE      VALUE       OFFERS       ACCESS\n"
              "a.switch      true        true false   editable\n"
              "a.port        161         1..65535     read-only\n"
              "a.version[1]  v3          v1 v3        system/user\n"
              "a.room        Café 会議…  text up to…  user/admin\n"
              "a.password    ********    secret up …  admin/admin\n");
    EXPECT_THAT(listing(parsed<pbcommon::Reply>(everyKind), {}),
                HasSubstr("a.room        Café 会議室\\x0a  text up to 255 bytes   user/admin\n"));
}

TEST(ChangeText, TellsWhatElseAChangeDid) {
    setenv("TZ", "UTC", 1);
    tzset();
    const auto change = parsed<pbcommon::Change>(
        "time_us: 1795390867007999 client: 'pa\\033nel' uid: 7 pid: 4711 role: kAdmin "
        "assignment { name: 'a.on' value: 'false' } "
        "effect { variable: 'a.on' before: 'false' after: '' cause: 'onSet a.on' } "
        "effect { variable: 'a.mode[1]' aspect: OPTIONS before: ['v1', 'v3'] cause: 'x' } "
        "effect { variable: 'a.b' aspect: ACCESS before: ['user', 'user'] "
        "         after: ['admin', 'system'] cause: 'change a.c' }");
    EXPECT_EQ(changeText(change, StreamT{}),
              "2026-11-22 23:41:07.007  pa\\x1bnel (uid 7, process 4711), role admin\n"
              "  set a.on=false\n"
              "  a.on       value    false → \"\"               (onSet a.on)\n"
              "  a.mode[1]  options  v1 v3 → (none)           (x)\n"
              "  a.b        access   editable → admin/system  (change a.c)\n");
}

TEST(FitText, KeepsCharactersWhole) {
    // clang-format off
    const struct { const char* text; std::size_t nColumns; const char* fitted; } cases[] = {
        {"port",       4, "port"      },
        {"größer",     4, "grö…"      },
        {"会議室",     5, "会議…"     },
        {"a😀b",       3, "a…"        },
        {"e\u0301tes", 2, "e\u0301…"  },
        {"port",       0, ""          },
        {"ab\xe4\xbc", 9, "ab\xe4\xbc"},
    };
    // clang-format on
    for (const auto& c : cases) EXPECT_EQ(fitText(c.text, c.nColumns), c.fitted);
}

TEST(NearestName, IsSuggestedOnlyWhenNear) {
    const std::vector<std::string> names = {"m.snmp.enabled", "m.snmp.listeningport", "a.bcd"};
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"m.snmp.listenport", "m.snmp.listeningport"},
        {"M.SNMP.enabeld",    "m.snmp.enabled"      },
        {"m.snmp.contact",    ""                    },
        {"a.b",               ""                    },
    };
    // clang-format on
    for (const auto& [typed, nearest] : cases) EXPECT_EQ(nearestName(typed, names), nearest);
}

/// A service with three variables, of which a user may see two.
pbcommon::Reply lookUp(std::optional<pbcommon::Role> role, const std::string& pattern) {
    const auto all = parsed<pbcommon::Reply>(
        "variable { name: 'a.on' kind: BOOLEAN } "
        "variable { name: 'a.mode[1]' kind: ENUMERATION offered: ['v1', 'v3'] } "
        "variable { name: 'a.port' kind: INTEGER read: kAdmin }");
    pbcommon::Reply matching;
    for (const auto& row : all.variable()) {
        const bool bSeen = role.value_or(pbcommon::kSystem) >= row.read();
        if (bSeen && pbcommon::matchesPattern(pattern, row.name())) *matching.add_variable() = row;
    }
    return matching;
}

TEST(Completion, OffersWhatTheLastWordMayBecome) {
    // clang-format off
    const std::pair<OperandsT, std::vector<std::string>> cases[] = {
        {{"s"},                              {"set", "shutdown"}},
        {{"set", "--d"},                     {"--dry-run"}},
        {{"--role", "p"},                    {"provisioning"}},
        {{"describe", "--role", "user", ""}, {"a.on", "a.mode[1]"}},
        {{"get", "a.on", ""},                {"a.on", "a.mode[1]", "a.port"}},
        {{"describe", "a.on", ""},           {}},
        {{"set", "a.on=true", "a.p"},        {"a.port="}},
        {{"set", "a.mode[1]="},              {"a.mode[1]=v1", "a.mode[1]=v3"}},
        {{"set", "a.port="},                 {}},
    };
    // clang-format on
    for (const auto& [words, offered] : cases) EXPECT_EQ(candidates(words, lookUp), offered);
}

}  // namespace
}  // namespace cfgctl
