#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <regex>
#include <thread>

#include "address.h"
#include "choices.h"
#include "commandline.h"
#include "completion.h"
#include "directories.h"
#include "display.h"
#include "effects.h"
#include "grouping.h"
#include "layout.h"
#include "nearmiss.h"
#include "render.h"
#include "session.h"
#include "temporarydirectory.h"
#include "why.h"

namespace cfgctl {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using WordsT = std::vector<const char*>;

CommandLine commandLine(WordsT words) {
    words.insert(words.begin(), "cfgctl");
    return parseCommandLine(static_cast<int>(words.size()), words.data());
}

template <typename MessageT>
MessageT parsed(const std::string& text) {
    MessageT message;
    EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &message)) << text;
    return message;
}

TEST(CommandLine, TakesGlobalOptionsAnywhereAndValuesAsTheyAre) {
    const CommandLine line =
        commandLine({"--role", "admin", "set", "a.b=\"q\" {1}", "c=--x", "--json"});
    EXPECT_STREQ(line.command->name, "set");
    EXPECT_THAT(line.operands, testing::ElementsAre("a.b=\"q\" {1}", "c=--x"));
    EXPECT_TRUE(line.options.role == pbcommon::kAdmin && line.options.bJson);
    EXPECT_EQ(commandLine({"history", "a.*", "-n", "3"}).options.mostChanges, 3);
    EXPECT_EQ(commandLine({"watch", "--since", "0", "a.*"}).options.since, 0);
}

TEST(SocketCandidates, AreTheOneThatIsNamedOrTheUsualPlacesNeverTheCallersOwn) {
    using testing::ElementsAre;
    setenv("RUNTIME_DIRECTORY", "/run/caller", 1);
    setenv("XDG_RUNTIME_DIR", "/run/user/7", 1);
    unsetenv("APPCONFIG_SOCKET");
    EXPECT_THAT(
        pbcommon::socketCandidates(""),
        ElementsAre("/run/appconfig/appconfig.sock", "/run/user/7/appconfig/appconfig.sock"));
    setenv("APPCONFIG_SOCKET", "/of/environment", 1);
    EXPECT_THAT(pbcommon::socketCandidates(""), ElementsAre("/of/environment"));
    EXPECT_THAT(pbcommon::socketCandidates("given"), ElementsAre("given"));
}

/// How a request ends that goes to a service of the test's own.
/// @param serve  what that does with its connection once the request has come
std::string outcomeOf(const std::string& sRequest, const std::function<void(int)>& serve) {
    const TemporaryDirectory home;
    const std::string sPath = home.path("s");
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
    sPath.copy(address.sun_path, sizeof(address.sun_path) - 1);
    EXPECT_EQ(bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(listen(listener, 1), 0);
    std::thread service([&] {
        const int fd = accept(listener, nullptr, nullptr);
        std::array<char, 4096> request{};
        EXPECT_GT(recv(fd, request.data(), request.size(), 0), 0);
        serve(fd);
        close(fd);
    });
    std::string sOutcome = "answered";
    try {
        (void)Connection({sPath}, std::chrono::milliseconds(200))
            .ask(parsed<pbcommon::Request>(sRequest));
    } catch (const Failure& failure) {
        sOutcome = std::to_string(failure.status()) + " " + failure.what();
    }
    service.join();
    close(listener);
    return sOutcome;
}

TEST(Connection, EndsByItselfAndSaysWhetherAnythingCanHaveChanged) {
    const auto goAway = [](int) {};
    // a long answer in so small pieces that each one alone comes in time
    const auto drip = [](int fd) {
        (void)send(fd, "\0\x0f", 2, MSG_NOSIGNAL);
        while (send(fd, "", 1, MSG_NOSIGNAL) == 1) usleep(1000);
    };
    // clang-format off
    const struct { const char* request; std::function<void(int)> serve; const char* outcome; } cases[] = {
        {"get {}",                goAway, "^3 connection to .* lost: the service closed it$"},
        {"set { dry_run: true }", goAway, "^3 connection to"},
        {"set {}",                goAway, "^4 outcome unknown: connection to .* lost: .*history -n 1"},
        {"shutdown {}",           goAway, "^4 outcome unknown: .*'cfgctl ping' shows"},
        {"get {}",                drip,   "^4 no answer from .* within 0.2 s$"},
        {"set {}",                drip,   "^4 outcome unknown: no answer from"},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_THAT(outcomeOf(c.request, c.serve), testing::ContainsRegex(c.outcome)) << c.request;
    }
}

TEST(Assignments, SplitAtTheFirstEqualsSign) {
    using From = AssignmentT::From;
    EXPECT_EQ(parseAssignments({"a.b[2]=x=y"}, true)[0].value, "x=y");
    EXPECT_EQ(parseAssignments({"a.password"}, true)[0].from, From::kTerminal);
    EXPECT_EQ(parseAssignments({"a.c=--", "a.b=-"}, false)[1].from, From::kStandardInput);
}

// clang-format off
const char* const everyKind =
    "variable { name: 'a.switch' value: 'true' kind: BOOLEAN read: kUser write: kUser }"
    "variable { name: 'a.port' value: '161' kind: INTEGER minimum: 1 maximum: 65535 read: kUser write: kSystem }"
    "variable { name: 'a.version[1]' value: 'v3' kind: ENUMERATION offered: 'v1' offered: 'v3' read: kSystem }"
    "variable { name: 'a.room' value: 'Cafe\u0301 😀議室\\n' kind: TEXT max_length: 255 read: kUser write: kAdmin }"
    "variable { name: 'a.password' value: '********' kind: SECRET max_length: 63 read: kAdmin write: kAdmin }";
// clang-format on

TEST(Listing, FitsTheTerminalColumnByColumnWithoutControlCharacters) {
    EXPECT_EQ(listing(parsed<pbcommon::ListReply>(everyKind).variable(),
                      {.bTerminal = true, .nColumns = 50}),
              "VARIABLE      VALUE       OFFERS       ACCESS\n"
              "a.switch      true        true false   editable\n"
              "a.port        161         1..65535     read-only\n"
              "a.version[1]  v3          v1 v3        system/user\n"
              "a.room        Cafe\u0301 😀議…  text up to…  user/admin\n"
              "a.password    ********    secret up …  admin/admin\n");
    EXPECT_THAT(listing(parsed<pbcommon::ListReply>(everyKind).variable(), {}),
                HasSubstr("\na.room\tCafe\u0301 😀議室\\x0a\ttext up to 255 bytes\tuser/admin\n"));
}

TEST(Json, ShowsNothingThatDeceives) {
    const auto reply =
        parsed<pbcommon::Reply>("tag: '\u2066\u061C\U000E0002\\\\ \u00E4\u200D\U0001F600'");
    EXPECT_THAT(jsonText(reply),
                HasSubstr("\"\\u2066\\u061c\\udb40\\udc02\\\\ \u00E4\\u200d\U0001F600\""));
}

/// Times are told in the process's time zone.
const int gTimeZoneIsSet = (setenv("TZ", "UTC", 1), tzset(), 0);
const std::string kLine =
    "revision 41\t2026-11-22 23:41:07.007+00:00\tuid 0 (root), process 4711 (pa\\x1bnel), role "
    "admin\n";
const std::string kHead =
    "revision: 41 time_us: 1795390867007999 client: 'pa\\033nel' uid: 0 pid: 4711 role: kAdmin ";

TEST(GroupedNames, PutSiblingsIntoOneText) {
    // clang-format off
    const std::pair<std::vector<std::string>, std::vector<std::string>> cases[] = {
        {{"a.b"},                                         {"a.b"}},
        {{"a[1].b", "a[2].b", "a[1].b[1]", "a[2].b[1]"},  {"a[1,2].b[0,1]"}},
        {{"a.b", "a.b[2]", "a.b[3]", "a.b[4]"},           {"a.b[0,2..4]"}},
        {{"a.b", "a[1].b", "a[1].b[1]"},                  {"a.b", "a[1].b[0,1]"}},
        {{"a.b[1]", "x.b", "a.c[1]", "a.d"},              {"a.{b,c}[1]", "x.b", "a.d"}},
    };
    // clang-format on
    for (const auto& [names, grouped] : cases) EXPECT_EQ(groupedNames(names), grouped);
}

TEST(ChangeText, TellsAChangeAtAGlance) {
    const auto change = parsed<pbcommon::Change>(
        kHead +
        "assignment { name: 'a.on' value: 'false' } assignment { name: 'a.room' value: 'x' } "
        "effect { variable: 'a.on' before: 'true' after: 'false' cause: REQUEST } "
        "effect { variable: 'a.mode' aspect: OPTIONS before: ['v1', 'v2'] after: ['v2', 'v3'] "
        "         cause: ON_SET trigger: 'a.on' } "
        "effect { variable: 'a.b' before: 'x' after: '' cause: ON_CHANGE trigger: 'a.on' } "
        "effect { variable: 'a.mode[1]' aspect: OPTIONS before: ['v1', 'v4'] after: ['v4', 'v3'] "
        "         cause: ON_SET trigger: 'a.on' } "
        "effect { variable: 'a.mode[2]' aspect: OPTIONS before: ['v1', 'v2'] after: ['v2', 'v1'] "
        "         cause: ON_SET trigger: 'a.on' } "
        "effect { variable: 'a.c' aspect: ACCESS before: ['user', 'user'] "
        "         after: ['admin', 'system'] cause: ON_CHANGE trigger: 'a.b' } "
        "effect { variable: 'a.d' after: '1' cause: ON_CHANGE trigger: 'a.z' }"
        "effect { variable: 'a.e' after: '1' cause: ON_CHANGE }"
        "effect { variable: 'a.f' after: '1' }"
        "effect { variable: 'a.g' aspect: OPTIONS before: ['v1', 'v2'] after: 'v2' }");
    EXPECT_EQ(changeText(change, "*", StreamT{}),
              kLine +
                  "  set a.on\ttrue → false\n"
                  "  set a.room=x\tunchanged\n"
                  "  because a.on was set (onSet)\n"
                  "    a.mode[0,1]\toptions\t-v1 +v3\n"
                  "    a.mode[2]\toptions\tv1 v2 → v2 v1\n"
                  "  because a.on was set (change)\n"
                  "    a.b\tvalue\tx → \"\"\n"
                  "  because a.b became \"\" (change)\n"
                  "    a.c\taccess\teditable → admin/system\n"
                  "  because of a.z (change)\n"
                  "    a.d\tvalue\t\"\" → 1\n"
                  "  because of a setting that this role may not see (change)\n"
                  "    a.e\tvalue\t\"\" → 1\n"
                  "  because the service started\n"
                  "    a.f\tvalue\t\"\" → 1\n"
                  "    a.g\toptions\t-v1\n");
    EXPECT_THAT(
        changeText(change, "*", {.bTerminal = true, .nColumns = 40, .bUtf8 = false}),
        AllOf(HasSubstr(
                  "revision 41\n    2026-11-22 23:41:07.007+00:00\n    uid 0 (root), process 4711\n"
                  "    (pa\\x1bnel), role admin\n"),
              HasSubstr("    a.mode[0,1]  options  -v1 +v3\n"
                        "    a.mode[2]    options  v1 v2 -> v2 v1\n"),
              HasSubstr("    a.c  access\n        editable -> admin/system\n")));
    EXPECT_THAT(changeLines(change, {.stream = {}, .bEach = true}),
                HasSubstr("  a.c\taccess\teditable → admin/system\t(change a.b)\n"
                          "  a.d\tvalue\t\"\" → 1\t(change a.z)\n"
                          "  a.e\tvalue\t\"\" → 1\t(change)\n"));
    EXPECT_EQ(changeText(change, "A.mode*", {}), kLine +
                                                     "  because a.on was set (onSet)\n"
                                                     "    a.mode[0,1]\toptions\t-v1 +v3\n"
                                                     "    a.mode[2]\toptions\tv1 v2 → v2 v1\n"
                                                     "  and 8 more\n");
    EXPECT_EQ(changeLines(change, {.stream = {}, .sOutcome = "done", .sPattern = "a.*o*n"}),
              "set a.on\ttrue → false\tdone, revision 41\nand 10 more\n");
    EXPECT_EQ(changeLines(change, {.stream = {}, .sOutcome = "done", .sPattern = "*oom"}),
              "set a.room=x\tdone, unchanged\nand 10 more\n");
}

TEST(RowLines, StandInColumnsWhereTheyFit) {
    const RowsT rows = {
        {"a", "bb", "c"}, {"aaaa", "b", "c,d"}, {"a", "bb", "ccccc"}, {"a", "b", "x y,zzzzz"}};
    // clang-format off
    const std::pair<std::size_t, const char*> cases[] = {
        {40, " a     bb  c\n aaaa  b   c,d\n a     bb  ccccc\n a     b   x y,zzzzz\n"},
        {14, " a     bb  c\n aaaa  b   c,d\n a  bb  ccccc\n a  b\n     x y,zzzzz\n"},
        {12, " a  bb  c\n aaaa  b\n     c,d\n a  bb\n     ccccc\n a  b\n     x y,\n     zzzzz\n"},
    };
    // clang-format on
    for (const auto& [nColumns, lines] : cases)
        EXPECT_EQ(rowLines(rows, 1, {.bTerminal = true, .nColumns = nColumns}), lines) << nColumns;
}

TEST(Wrapped, BreaksAtBlanksAndAfterCommas) {
    EXPECT_EQ(wrapped("a{bb,\x1b[1mcc\x1b[0m,dd}  ee ff", 2, 3, 10),
              "a{bb,\x1b[1mcc\x1b[0m,\n   dd}  ee\n   ff");
}

TEST(Hint, TellsThePatternTheInstancesOrTheNearestName) {
    const std::vector<std::string> names = {"n.m.on",      "n.m[1].on",   "n.m[2].on",  "n.m.port",
                                            "n.m[1].port", "n.x.mode[1]", "n.x.mode[3]"};
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"N.x",          "did you mean 'N.x.*'?"},
        {"n.m[1]",       "did you mean 'n.m[1].*'?"},
        {"n.M[3].on",    "M has instances 0 to 2"},
        {"n.m[2].port",  "m has port in instances 0 to 1"},
        {"n.m.port[1]",  "port has only instance 0"},
        {"n.x.mode",     "mode has instances [1,3]"},
        {"n.x.mdoe[1]",  "did you mean n.x.mode[1]?"},
        {"nothing",      ""},
    };
    // clang-format on
    for (const auto& [written, hint] : cases) EXPECT_EQ(hintOn(written, names), hint);
}

TEST(FitText, CutsInAsciiTooDownToNothing) {
    for (const char* const cut : {"abcdef", "ab...", "a...", "...", "..", ".", ""}) {
        EXPECT_EQ(fitText("abcdef", std::strlen(cut), "..."), cut);
    }
}

TEST(TimeText, CountsFromTheSecondBefore) {
    // clang-format off
    const std::pair<std::int64_t, const char*> cases[] = {
        {1'999,      "1970-01-01 00:00:00.001+00:00"},
        {-1,         "1969-12-31 23:59:59.999+00:00"},
        {-1'000'000, "1969-12-31 23:59:59.000+00:00"},
    };
    // clang-format on
    for (const auto& [nMicroseconds, text] : cases) {
        pbcommon::Change change;
        change.set_time_us(nMicroseconds);
        EXPECT_EQ(timeText(change.time_us()), text);
    }
}

TEST(NewsText, TellsWhatIsMissingWhereItIsMissing) {
    // a page of a watch, or of history; what is told, but for the rest of each line
    // clang-format off
    const std::pair<const char*, const char*> pages[] = {
        {"oldest: 8 revision: 8 change { revision: 5 } change { revision: 8 }", "r 5, -- 8, r 8, "},
        {"oldest: 8 revision: 7 change { revision: 5 }",                        "r 5, -- 8, "},
        {"oldest: 8 revision: 6 change { revision: 5 }",                        "r 5, "},
        {"revision: 9 change { revision: 8 }",                                  "r 8, "},
    };
    const std::pair<const char*, const char*> histories[] = {
        {"oldest: 8 change { revision: 9 } change { revision: 8 }",              "-- 8, r 8, r 9, "},
        {"oldest: 8 revision: 8 change { revision: 9 } change { revision: 8 }",  "r 8, r 9, "},
        {"oldest: 8 revision: 5 change { revision: 9 } change { revision: 5 }",  "r 5, -- 8, r 9, "},
        {"oldest: 8 revision: 5 ",                                               ""},
    };
    // clang-format on
    const auto outline = [](std::string sText) {
        const std::regex change("revision (\\d+)\t1970[^\n]*\n");
        sText = std::regex_replace(sText, change, "r $1, ");
        const std::regex gap("-- changes before revision (\\d+) are no longer all in history\n");
        return std::regex_replace(sText, gap, "-- $1, ");
    };
    for (const auto& [page, told] : pages)
        EXPECT_EQ(outline(newsText(parsed<pbcommon::WatchReply>(page), "*", {})), told);
    for (const auto& [page, told] : histories)
        EXPECT_EQ(outline(historyText(parsed<pbcommon::HistoryReply>(page), "*", {})), told);
    EXPECT_EQ(newsText(parsed<pbcommon::WatchReply>("revision: 9"), "*", {}), "");
    EXPECT_THAT(newsText(parsed<pbcommon::Event>("missed: 2"), "*", {}),
                testing::StartsWith("-- 2 changes were missed: "));
    EXPECT_THAT(newsText(parsed<pbcommon::Event>("change { revision: 11 }"), "*", {}),
                testing::StartsWith("revision 11\t1970"));
}

std::string whyOf(const std::string& sReason) {
    return whyText(
        parsed<pbcommon::WhyReply>("variable { name: 'a.mode' offered: ['v1', 'v2c'] description { "
                                   "option: ['v1', 'v2c', 'v3'] } } reason { " +
                                   sReason + " }"),
        {});
}

TEST(WhyText, TellsWhatHoldsAndSinceWhen) {
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"now: ''", "value\t\"\"\n  as the schema has it\n"},
        {"aspect: OPTIONS now: ['v1', 'v2c']",
         "options\tv1 v2c\n  not offered now: v3\n  as the schema has it\n"},
        {"aspect: ACCESS now: ['user', 'system'] revision: 41",
         "access\tread-only\n  since revision 41, which history no longer holds\n"},
    };
    // clang-format on
    for (const auto& [reason, told] : cases) EXPECT_EQ(whyOf(reason), told);
}

TEST(WhyText, LeadsBackToWhoStartedIt) {
    const std::string kWho = "uid 0 (root), process 4711 (pa\\x1bnel), role admin\n";
    // assignments and effects of the change, and the chain
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {"assignment { name: 'a.mode' value: 'v1' } effect { variable: 'a.mode' cause: REQUEST }",
         "  set by " + kWho},
        {"effect { variable: 'a.on' after: 'false' cause: REQUEST }"
         "effect { variable: 'a.mode' aspect: ACCESS cause: ON_SET trigger: 'a.z' }"
         "effect { variable: 'a.mode' cause: ON_CHANGE trigger: 'a.b[2]' }"
         "effect { variable: 'a.b[2]' after: 'x' cause: ON_SET trigger: 'a.on' }",
         "  because a.b[2] became x (change)\n"
         "  because a.on was set to false (onSet)\n"
         "  by " + kWho},
        // written again by what it set in motion
        {"assignment { name: 'a.mode' value: 'v3' } assignment { name: 'a.mode' value: '' }"
         "effect { variable: 'a.mode' cause: ON_CHANGE trigger: 'a.on' }"
         "effect { variable: 'a.on' after: 'false' cause: ON_SET trigger: 'a.mode' }",
         "  because a.on became false (change)\n"
         "  because a.mode was set to \"\" (onSet)\n"
         "  by " + kWho},
        {"effect { variable: 'a.mode' cause: ON_CHANGE } effect { after: 'x' cause: REQUEST }",
         "  because of a setting that this role may not see (change)\n"
         "  in a change by " + kWho},
        {"effect { variable: 'a.mode' cause: ON_CHANGE trigger: 'a.on' }",
         "  because of a.on (change)\n"
         "  in a change by " + kWho},
        {"", "  in a change by " + kWho},
        {"effect { variable: 'a.mode' cause: START_UP }", "  when the service started\n"},
    };
    // clang-format on
    for (const auto& [change, chain] : cases) {
        EXPECT_EQ(whyOf("now: 'v1' revision: 41 change { " + kHead + change + " }"),
                  "value\tv1\n  since revision 41, 2026-11-22 23:41:07.007+00:00\n" + chain);
    }
}

/// A service whose history reaches from revision 1 to 15, in pages of seven at most, where every
/// third change touches what is asked for.
TEST(NewestChanges, AreCollectedPageByPage) {
    const auto ask = [](const pbcommon::Request& request) {
        const pbcommon::History& history = request.history();
        pbcommon::Reply reply;
        pbcommon::HistoryReply& page = *reply.mutable_history();
        std::uint64_t nNext = history.has_before() ? history.before() : 16;
        for (int i = 0; i < 7 && nNext > 1; ++i) {
            --nNext;
            if (nNext % 3 == 0) page.add_change()->set_revision(nNext);
            if (static_cast<unsigned>(page.change_size()) == history.limit()) break;
        }
        if (nNext > 1) page.set_revision(nNext);
        return reply;
    };
    for (const auto& [nMost, nFound, nOldest] : {std::tuple{1, 1, 15}, {4, 4, 6}, {25, 5, 3}}) {
        const pbcommon::HistoryReply all =
            newestChanges(ask, "a.*", static_cast<std::uint32_t>(nMost)).history();
        ASSERT_EQ(all.change_size(), nFound);
        EXPECT_EQ(all.change(nFound - 1).revision(), nOldest);
    }
}

/// A service with three variables that accepts v2c and true alone.
pbcommon::Reply answerOf(const pbcommon::Request& request) {
    const auto all = parsed<pbcommon::ListReply>(
        "variable { name: 'a.on' kind: BOOLEAN } "
        "variable { name: 'a.mode[1]' kind: ENUMERATION offered: ['v1', 'v2c'] "
        "           description { option: ['v1', 'v2c', 'v3'] } } "
        "variable { name: 'a.port' kind: INTEGER }");
    pbcommon::Reply reply;
    if (request.has_set()) {
        const std::string& sValue = request.set().assignment(0).value();
        EXPECT_TRUE(request.set().dry_run());
        const bool bAccepted = sValue == "v2c" || sValue == "true";
        reply =
            parsed<pbcommon::Reply>(bAccepted ? "" : "code: kBadParameter tag: 'ERR_NOT_OFFERED'");
    }
    for (const auto& row : all.variable()) {
        if (pbcommon::matchesPattern(request.list().pattern(), row.name()))
            *reply.mutable_list()->add_variable() = row;
        if (row.name() == request.describe().address().name())
            *reply.mutable_describe()->mutable_variable() = row;
    }
    return reply;
}

TEST(Completion, OffersWhatTheLastWordMayBecome) {
    // clang-format off
    const std::pair<OperandsT, std::vector<std::string>> cases[] = {
        {{"s"},                              {"set", "status", "shutdown"}},
        {{"set", "--d"},                     {"--dry-run"}},
        {{"set", "--v"},                     {"--verbose"}},
        {{"--d"},                            {"--dry-run"}},
        {{"watch", "--since", ""},           {}},
        {{"history", "-n", "5", "a.o"},      {"a.on"}},
        {{"--role", "p"},                    {"provisioning"}},
        {{"--socket", ""},                   {}},
        {{"describe", "--role", "user", ""}, {"a.on", "a.mode[1]", "a.port"}},
        {{"get", "a.on", ""},                {"a.on", "a.mode[1]", "a.port"}},
        {{"describe", "a.on", ""},           {}},
        {{"set", "a.on=true", "a.p"},        {"a.port="}},
        {{"set", "a.mode[1]="},              {"a.mode[1]=v2c"}},
        {{"set", "a.on="},                   {"a.on=true"}},
        {{"set", "a.port="},                 {}},
    };
    // clang-format on
    for (const auto& [words, offered] : cases)
        EXPECT_EQ(candidates(commands(), words, answerOf), offered);
    const OptionsT options =
        typedOptions(commands(), {"--role", "user", "--socket", "s", "set", "--role"});
    EXPECT_TRUE(options.role == pbcommon::kUser && options.sSocket == "s");
    pbcommon::Request list;
    list.mutable_list()->set_pattern("a.m*");
    const std::string sRefused = "  (not accepted now: kBadParameter (-3) ERR_NOT_OFFERED)\n";
    EXPECT_EQ(choiceLines(choicesOf(answerOf, answerOf(list).list().variable(0))),
              "v2c\nv1" + sRefused + "v3" + sRefused);
}

}  // namespace
}  // namespace cfgctl
