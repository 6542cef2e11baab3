#include "text.h"

#include <gmock/gmock.h>

#include <set>

#include "audit.h"
#include "cfgvar.h"
#include "logfile.h"
#include "messages.pb.h"
#include "tags.h"
#include "temporarydirectory.h"

namespace {

using namespace std::string_literals;

TEST(ConfigVar, IsItsAddressInAnyLetterCaseAndNothingElse) {
    const std::pair<std::string, ConfigVar> addresses[] = {
        {"a.b.port", {"A.B", "Port"}},
        {"a.b[1].port", {"a.b", 1, "PORT", 0}},
        {"a.b[1].port[2147483647]", {"a.b", 1, "port", 2147483647}},
    };
    std::set<ConfigVar> distinct;
    for (const auto& [sText, var] : addresses) {
        EXPECT_EQ(ConfigVar(sText), var) << sText;
        EXPECT_EQ(ConfigVar(7, var).getFullyQualifiedName(), "7:" + sText);
        EXPECT_TRUE(distinct.insert(var).second && distinct.insert(ConfigVar(7, var)).second);
        EXPECT_FALSE(ConfigVar(sText).isMultiStringVar());
    }
    for (const std::string& sNone : {"a.b[2147483648]"s, "a.b[-1]"s, "a.b[]"s, "a.b[1"s, "a.b]"s,
                                     "a.b[1x]"s, "a.b[1][2]"s, "a[1].b.c"s, "enabled"s, ".enabled"s,
                                     "a."s, "a..b"s, "a.b c"s, "a.b\0c"s, "a.b\xc3\xa4"s, ""s}) {
        EXPECT_EQ(ConfigVar(sNone), ConfigVar("", "")) << testing::PrintToString(sNone);
    }
}

TEST(PrintableText, EscapesWhatATerminalOrALogWouldActOnAndWhatDeceivesAReader) {
    const std::string kFamily = "\U0001F469\u200D\U0001F467 \u0645\u06CC\u200C\u0634\u0648\u062F";
    // clang-format off
    const struct { std::string sText; std::string sPrintable; bool bClean; std::size_t nMaxBytes = 80; } cases[] = {
        {"\u00e4\u20ac\U0001f3a5", "\u00e4\u20ac\U0001f3a5", true},
        {kFamily, kFamily, true},
        {"a\nb\x1b[1m", "a\\x0ab\\x1b[1m", true},
        {"a\\x0ab\\", "a\\\\x0ab\\\\", true},
        {"c1 \u009b", "c1 \\xc2\\x9b", true},
        {"\u202Etxt.exe\u2066", "\\xe2\\x80\\xaetxt.exe\\xe2\\x81\\xa6", true},
        {"\u00AD\u061C\u200B\u200F\u2028\u2060", "\\xc2\\xad\\xd8\\x9c\\xe2\\x80\\x8b\\xe2\\x80\\x8f\\xe2\\x80\\xa8\\xe2\\x81\\xa0", true},
        {"\uFEFF\uFFF9\U000E0041", "\\xef\\xbb\\xbf\\xef\\xbf\\xb9\\xf3\\xa0\\x81\\x81", true},
        {"cut \xc3", "cut \\xc3", false},
        {"surrogate \xed\xa0\x80", "surrogate \\xed\\xa0\\x80", false},
        {"ab\u00e4", "ab...", true, 3},
        {"ab\n", "ab...", true, 5},
        {"ab\\", "ab...", true, 3},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(pbcommon::printable(c.sText, c.nMaxBytes), c.sPrintable);
        EXPECT_EQ(pbcommon::isCleanText(c.sText), c.bClean) << c.sPrintable;
    }
    EXPECT_EQ(pbcommon::cleaned("a\\b\n\u202E\xff" + kFamily, 80),
              "a\\b\uFFFD\uFFFD\uFFFD" + kFamily);
    EXPECT_EQ(pbcommon::cleaned("ab\n", 4), "ab...");
}

TEST(Tags, AreThoseOfTheProtocolsPageWithTheirCodesAndSentences) {
    const std::string text = TemporaryDirectory::contentOf(SOURCES "/docs/protocol.md");
    std::string sTable;
    for (const pbcommon::TagParamT& row : pbcommon::tags()) {
        const auto code = static_cast<pbcommon::ErrorCode>(row.code);
        sTable += "| `"s + row.tag + "` | `" + pbcommon::ErrorCode_Name(code) + "` | " +
                  row.sentence + " |\n";
    }
    EXPECT_THAT(text, testing::HasSubstr("|---|---|---|\n" + sTable + "\n")) << sTable;
}

TEST(Audit, LimitsTheLinesAboutEachUserAndSaysHowManyItLeavesOut) {
    const LogFile log;
    pbcommon::Audit audit;
    const auto start = pbcommon::Audit::Clock::now();
    // so many lines wanted about a user after so many milliseconds, and how many are admitted
    const struct {
        uid_t uid;
        int nMilliseconds, nWanted, nAdmitted;
        const char* logged;
    } steps[] = {
        {7, 0, 130, 100, "too many lines about uid 7: leaving out some\n"},
        {8, 0, 100, 100, ""},
        {7, 99, 1, 0, ""},
        {7, 1050, 12, 10, "lines about uid 7 that were left out: 31\n"},
        {7, 60'000, 100, 100, "lines about uid 7 that were left out: 2\n"},
    };
    for (const auto& step : steps) {
        int nAdmitted = 0;
        for (int i = 0; i < step.nWanted; ++i) {
            nAdmitted +=
                audit.admits(step.uid, start + std::chrono::milliseconds(step.nMilliseconds));
        }
        EXPECT_EQ(nAdmitted, step.nAdmitted) << step.logged;
        EXPECT_THAT(log.content(), testing::HasSubstr(step.logged));
    }
    EXPECT_EQ(log.count("uid"), 4U) << log.content();
    EXPECT_EQ(audit.describe({AppConfig::kAdmin, 0, 8, "me"}),
              "uid 0 (root), process 8 (me), role admin");
    EXPECT_EQ(audit.describe({AppConfig::kUser, 65500, 8, ""}),
              "uid 65500 (no login), process 8 (), role user");
}

}  // namespace
