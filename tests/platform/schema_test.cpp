#include "model/schema.h"

#include <gmock/gmock.h>
#include <google/protobuf/text_format.h>
#include <sys/stat.h>

#include "logfile.h"
#include "model/value.h"
#include "tags.h"

namespace {

using namespace AppConfig;
using pbcommon::ERR_INVALID_VALUE, pbcommon::ERR_TOO_LONG;

constexpr const char* kGoodRow =
    "variable { node: 'a' name: 'flag' kind: BOOLEAN default_value: 'true' }\n";

TEST(Schema, IsRefusedWholeWithPlaceAndReason) {
#define ROW(fields) "variable { node: 'a' name: 'x' " fields " }\n"
    // clang-format off
    const std::pair<std::string, const char*> cases[] = {
        {"\n\nvariable { colour: 1 }",                                     "f:3: "},
        {ROW("kind: TEXT max_length: 1") ROW("kind: TEXT"),                "f:2: a.x: listed twice"},
        {"variable: [{ node: 'a' name: 'x' kind: BOOLEAN default_value: 'true' },\n{ node: 'a' name: 'flag' }]", "f:2: a.flag: listed twice"},
        {"\npreset { node: 'a' name: 'flag' default_value: '2' }",         "f:2: a.flag: its preset"},
        {ROW(""),                                                          "no kind"},
        {ROW("kind: 17"),                                                  "no kind"},
        {ROW("instances: 0 kind: BOOLEAN"),                                "instances go from 1"},
        {ROW("kind: TEXT max_length: 1 default_value: 'pq'"),              "its default"},
        {ROW("kind: INTEGER minimum: 2 maximum: 1"),                       "the lower one first"},
        {ROW("kind: BOOLEAN maximum: 1"),                                  "belong to an integer"},
        {ROW("kind: ENUMERATION option: 'p' option: 'P'"),                 "an option is listed twice, letter case"},
        {ROW("kind: ENUMERATION option: 'p\\nq' default_value: 'p\\nq'"),  "a line of text"},
        {ROW("kind: ENUMERATION option: '\\377' default_value: '\\377'"),  "a line of text"},
        {ROW("kind: SECRET"),                                              "max_length belongs"},
        {ROW("kind: TEXT max_length: 65537"),                              "max_length goes up to 65536"},
        {ROW("kind: TEXT max_length: 1 summary: 'two\\nlines'"),           "a summary is a line of up to 500 bytes"},
        {ROW("kind: BOOLEAN summary: '" + std::string(501, 's') + "'"),    "a summary is a line of up to 500 bytes"},
        {ROW("kind: TEXT max_length: 1 unit: 'seconds'"),                  "a unit belongs to an integer"},
        {ROW("kind: INTEGER unit: 'thousands of milliseconds each '"),     "a line of up to 30 bytes"},
        {ROW("kind: ENUMERATION option: 'p' option_summary { option: 'P' summary: 's' }"), "names no option"},
        {ROW("kind: ENUMERATION option: 'p' option_summary: [{ option: 'p' summary: 's' }, { option: 'p' summary: 't' }]"), "two summaries"},
        {ROW("kind: ENUMERATION option: 'p' option_summary { option: 'p' }"), "an option's summary is a line"},
    };
    // clang-format on
    const std::string sBefore =  // as long as may be
        "variable { node: 'b' name: 'y' kind: INTEGER default_value: '0' summary: '" +
        std::string(500, 's') + "' unit: '" + std::string(30, 'u') +
        "' } variable { node: 'b' name: 'z' kind: TEXT max_length: 65536 } ";
    for (const auto& [text, error] : cases) {
        Schema schema;
        std::string sError;
        ASSERT_EQ(schema.add(kGoodRow, "good", sError), kNoError) << sError;
        EXPECT_EQ(schema.add(sBefore + text, "f", sError), kFileFormatError) << text;
        EXPECT_THAT(sError, testing::HasSubstr(error));
        EXPECT_EQ(schema.rows().size(), 1U);
        EXPECT_EQ(schema.add(sBefore, "again", sError), kNoError) << "a row of it stayed";
    }
}

TEST(Schema, OfTheRoomSystemSaysInASentenceWhatEachSettingIs) {
    Schema schema;
    std::string sError;
    ASSERT_EQ(schema.add(roomSystemSchema, "roomsystem.textproto", sError), kNoError) << sError;
    for (const pbcommon::VariableRow& row : schema.rows()) {
        EXPECT_THAT(row.summary(), testing::EndsWith(".")) << row.node() << '.' << row.name();
    }
}

TEST(Schema, OfTheConfigurationDirectoryIsAddedAndWhatIsFaultyOrNotAFileIsIgnored) {
    const LogFile log;
    const TemporaryDirectory directory;
    const auto path = [&directory](const char* name) {
        return directory.path(name) + ".textproto";
    };
    (void)directory.file("10-good.textproto", kGoodRow);
    (void)directory.file("20-bad.textproto", std::string("\n") + kGoodRow);
    (void)directory.file("30-forged.textproto", "preset { node: 'a\\n<6>x' name: 'b' }");
    ASSERT_EQ(mkfifo(path("40-fifo").c_str(), 0600), 0);
    std::filesystem::create_directory(path("50-directory"));
    std::filesystem::create_symlink("/proc/self/mem", path("60-unreadable"));
    std::filesystem::create_symlink("nowhere", path("70-dangling"));
    (void)directory.file("80-last.textproto",
                         "preset { node: 'a' name: 'flag' default_value: 'OFF' }");
    std::filesystem::resize_file(directory.file("90-huge.textproto"), std::size_t{17} << 20);
    setenv("CONFIGURATION_DIRECTORY", directory.path().c_str(), 1);
    const Schema schema = loadSchema();
    EXPECT_EQ(schema.rows().back().name(), "flag");
    EXPECT_EQ(schema.rows().back().default_value(), "false");
    for (const char* const reason :
         {"20-bad.textproto:2: a.flag: listed twice", "30-forged.textproto:1: a\\x0a<6>x.b: no",
          "40-fifo.textproto: cannot be read: not a file", "50-directory.textproto: cannot be read",
          "60-unreadable.textproto: cannot be read",
          "70-dangling.textproto: cannot be read: No such",
          "90-huge.textproto: cannot be read: longer than"}) {
        EXPECT_EQ(log.count("<2>test: hd[0]: cfgCommon: schema " + directory.path(reason)), 1U)
            << log.content();
    }
}

TEST(Value, IsStoredInCanonicalFormOrNotAtAll) {
    using namespace std::string_literals;
    using Values = std::vector<std::string>;
    const std::string sLongZero(63, '0');
    // clang-format off
    const struct { const char* fields; std::vector<std::pair<std::string, const char*>> stored; Values invalid, tooLong; } cases[] = {
        {"kind: BOOLEAN", {{"TRUE", "true"}, {"1", "true"}, {"Yes", "true"}, {"on", "true"}, {"False", "false"}, {"0", "false"}, {"no", "false"}, {"OFF", "false"}},
         {"", "2", " true", "true\0"s}, {}},
        {"kind: INTEGER minimum: -5 maximum: 70000", {{"-5", "-5"}, {" \t+070000 ", "70000"}, {"-0", "0"}, {sLongZero + "7", "7"}},
         {"-6", "70001", "4294967297", "161abc", "+-1", "- 1", "1\n", " ", "", sLongZero + "07"}, {}},
        {"kind: ENUMERATION option: 'v1' option: 'V2c'", {{"V1", "v1"}, {"v2C", "V2c"}}, {"v", "", " v1"}, {}},
        {"kind: TEXT max_length: 4", {{"", ""}, {"\xe2\x82\xac!", "\xe2\x82\xac!"}}, {"a\0b"s}, {"fives"}},
    };
    // clang-format on
    for (const auto& c : cases) {
        pbcommon::VariableRow row;
        ASSERT_TRUE(google::protobuf::TextFormat::ParseFromString(c.fields, &row));
        std::string sValue;
        for (const auto& [sText, sStored] : c.stored) {
            EXPECT_STREQ(canonicalise(row, sText, sValue), nullptr) << sText;
            EXPECT_EQ(sValue, sStored) << sText;
            EXPECT_STREQ(canonicalise(row, sValue, sValue), nullptr) << sText;
            EXPECT_EQ(sValue, sStored) << "canonical already";
        }
        sValue = "kept";
        for (const auto& s : c.invalid) {
            EXPECT_STREQ(canonicalise(row, s, sValue), ERR_INVALID_VALUE) << s;
        }
        for (const auto& s : c.tooLong) EXPECT_STREQ(canonicalise(row, s, sValue), ERR_TOO_LONG);
        EXPECT_EQ(sValue, "kept");
    }
}

}  // namespace
