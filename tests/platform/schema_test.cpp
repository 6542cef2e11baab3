#include "schema.h"

#include <gmock/gmock.h>

#include "casename.h"
#include "logfile.h"

namespace {

using AppConfig::kindRefusal;
using AppConfig::Schema;
using testing::HasSubstr;

struct FaultCaseT {
    const char *name, *text, *error;
};

constexpr const char* kGoodRow =
    "variable { node: 'a' name: 'flag' kind: BOOLEAN default_value: 'true' }\n";
#define ROW(fields) "variable { node: 'a' name: 'x' " fields " }\n"
// clang-format off
const FaultCaseT faultCases[] = {
    {"UnknownField",       "\n\nvariable { colour: 1 }",                                  "f:3: "},
    {"Twice",              ROW("kind: TEXT max_length: 1") ROW("kind: TEXT"),             "f:2: a.x: listed twice"},
    {"TwiceInAList",       "variable: [{ node: 'a' name: 'x' kind: BOOLEAN default_value: 'true' },\n{ node: 'a' name: 'flag' }]", "f:2: a.flag: listed twice"},
    {"PresetOfOtherKind",  "\npreset { node: 'a' name: 'flag' default_value: '1' }",      "f:2: a.flag: its preset"},
    {"NoKind",             ROW(""),                                                       "no kind"},
    {"NoInstances",        ROW("instances: 0 kind: BOOLEAN"),                             "instances go from 1"},
    {"DefaultTooLong",     ROW("kind: TEXT max_length: 1 default_value: 'pq'"),           "its default"},
    {"RangeUpsideDown",    ROW("kind: INTEGER minimum: 2 maximum: 1"),                    "the lower one first"},
    {"OptionTwice",        ROW("kind: ENUMERATION option: 'p' option: 'p'"),              "an option is listed twice"},
    {"OptionOfTwoLines",   ROW("kind: ENUMERATION option: 'p\\nq' default_value: 'p\\nq'"), "a line of text"},
    {"EmptyOption",        ROW("kind: ENUMERATION option: ''"),                           "a line of text"},
    {"OptionIsNoUtf8",     ROW("kind: ENUMERATION option: '\\377' default_value: '\\377'"), "a line of text"},
    {"TextWithoutLength",  ROW("kind: SECRET"),                                           "max_length belongs"},
};
// clang-format on

class FaultySchema : public testing::TestWithParam<FaultCaseT> {};

TEST_P(FaultySchema, IsRefusedWholeWithPlaceAndReason) {
    Schema schema;
    std::string sError;
    ASSERT_EQ(schema.add(kGoodRow, "good", sError), kNoError) << sError;
    const std::string sBefore = "variable { node: 'b' name: 'y' kind: TEXT max_length: 1 } ";
    EXPECT_EQ(schema.add(sBefore + GetParam().text, "f", sError), kFileFormatError);
    EXPECT_THAT(sError, HasSubstr(GetParam().error));
    EXPECT_EQ(schema.rows().size(), 1U);
    EXPECT_EQ(schema.add(sBefore, "again", sError), kNoError) << "a row of the refused text stayed";
}

INSTANTIATE_TEST_SUITE_P(, FaultySchema, testing::ValuesIn(faultCases), caseName);

TEST(Schema, OfTheConfigurationDirectoryIsAddedAndAFaultyFileLeftOut) {
    const LogFile log;
    const TemporaryDirectory directory;
    (void)directory.file("10-good.textproto", kGoodRow);
    (void)directory.file("20-bad.textproto", std::string("\n") + kGoodRow);
    setenv("CONFIGURATION_DIRECTORY", directory.path().c_str(), 1);
    const Schema schema = AppConfig::loadSchema();
    unsetenv("CONFIGURATION_DIRECTORY");
    EXPECT_EQ(schema.rows().back().name(), "flag");
    EXPECT_EQ(log.count("<2>test: hd[0]: cfgCommon: schema " +
                        directory.path("20-bad.textproto:2: a.flag: listed twice")),
              1U);
}

TEST(Kind, DecidesWhatIsAValue) {
    using namespace std::string_literals;
    using Values = std::vector<std::string>;
    // clang-format off
    const struct { const char* fields; Values good, invalid, tooLong; } cases[] = {
        {ROW("kind: BOOLEAN default_value: 'true'"), {"true", "FALSE"}, {"1", "", "true\0"s}, {}},
        {ROW("kind: INTEGER minimum: -5 maximum: 70000 default_value: '0'"), {"-5", "70000"},
         {"-6", "70001", "4294967297", "161abc", " 1", "+1", ""}, {}},
        {ROW("kind: ENUMERATION option: 'v1' option: 'v3' default_value: 'v1'"), {"v3"}, {"V3", "v", ""}, {}},
        {ROW("kind: TEXT max_length: 4"), {"", "\xe2\x82\xac!"}, {"a\0b"s}, {"fives"}},
        {ROW("kind: SECRET max_length: 4"), {"four"}, {"\xff"}, {"fives"}},
    };
    // clang-format on
    for (const auto& c : cases) {
        Schema schema;
        std::string sError;
        ASSERT_EQ(schema.add(c.fields, "f", sError), kNoError) << sError;
        const auto expect = [&](const Values& values, const char* refusal) {
            for (const std::string& sValue : values) {
                EXPECT_STREQ(kindRefusal(schema.rows().front(), sValue), refusal) << sValue;
            }
        };
        expect(c.good, nullptr);
        expect(c.invalid, AppConfig::ERR_INVALID_VALUE);
        expect(c.tooLong, AppConfig::ERR_TOO_LONG);
    }
}

}  // namespace
