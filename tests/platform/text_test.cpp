#include <gtest/gtest.h>

#include "address.h"
#include "cfgvar.h"
#include "names.h"

namespace {

using namespace std::string_literals;

TEST(AddressText, ParsesAndIsWrittenBack) {
    // clang-format off
    const struct { const char *text, *parsed; } addresses[] = {
        {"management.snmp.enabled", "management.snmp|0|enabled|0"},
        {"a.b.port[1]", "a.b|0|port|1"},
        {"a.screen[2].button[10]", "a.screen|2|button|10"},
        {"a.b[2147483647]", "a|0|b|2147483647"},
    };
    // clang-format on
    for (const auto& [text, parsed] : addresses) {
        const auto address = pbcommon::parseAddress(text);
        ASSERT_TRUE(address) << text;
        EXPECT_EQ(address->sNode + "|" + std::to_string(address->nNodeInstance) + "|" +
                      address->sVariable + "|" + std::to_string(address->nVarInstance),
                  parsed);
        EXPECT_EQ(pbcommon::formatAddress(*address), text);
    }
    for (const std::string& sNone : {"a.b[2147483648]"s, "a.b[-1]"s, "a.b[]"s, "a.b[1"s, "a.b]"s,
                                     "a.b[1x]"s, "a.b[1][2]"s, "a[1].b.c"s, "enabled"s, ".enabled"s,
                                     "a."s, "a..b"s, "a.b c"s, "a.b\0c"s, "a.b\xc3\xa4"s, ""s}) {
        EXPECT_FALSE(pbcommon::parseAddress(sNone)) << testing::PrintToString(sNone);
    }
}

TEST(ConfigVar, IsTheSameVariableInAnyLetterCase) {
    ConfigVar var("Node.Screen[2].Button[1]");
    EXPECT_EQ(var, ConfigVar(0, "node.SCREEN", 2, "button", 1));
    EXPECT_EQ(ConfigVar(7, var).getFullyQualifiedName(), "7:node.screen[2].button[1]");
    for (const ConfigVar& other : {ConfigVar(7, var), ConfigVar("node.screen", 2, "button", 2),
                                   ConfigVar("node.screen", 1, "button", 1)}) {
        EXPECT_FALSE(var == other);
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
        {"abcdef", "abc...", true, 3},
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
