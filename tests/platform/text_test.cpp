#include <gtest/gtest.h>

#include <set>

#include "cfgvar.h"
#include "names.h"

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
    }
    for (const std::string& sNone : {"a.b[2147483648]"s, "a.b[-1]"s, "a.b[]"s, "a.b[1"s, "a.b]"s,
                                     "a.b[1x]"s, "a.b[1][2]"s, "a[1].b.c"s, "enabled"s, ".enabled"s,
                                     "a."s, "a..b"s, "a.b c"s, "a.b\0c"s, "a.b\xc3\xa4"s, ""s}) {
        EXPECT_EQ(ConfigVar(sNone), ConfigVar("", "")) << testing::PrintToString(sNone);
    }
}

TEST(PrintableText, EscapesWhatATerminalOrALogWouldActOn) {
    // clang-format off
    const struct { std::string sText; const char* printable; bool bClean; std::size_t nMaxBytes = 80; } cases[] = {
        {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x8e\xa5", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x8e\xa5", true},
        {"a\nb\x1b[1m", "a\\x0ab\\x1b[1m", true},
        {"c1 \xc2\x9b", "c1 \\xc2\\x9b", true},
        {"cut \xc3", "cut \\xc3", false},
        {"surrogate \xed\xa0\x80", "surrogate \\xed\\xa0\\x80", false},
        {"ab\xc3\xa4", "ab...", true, 3},
        {"ab\n", "ab...", true, 5},
    };
    // clang-format on
    for (const auto& c : cases) {
        EXPECT_EQ(pbcommon::printable(c.sText, c.nMaxBytes), c.printable);
        EXPECT_EQ(pbcommon::isCleanText(c.sText), c.bClean) << c.printable;
    }
}

}  // namespace
