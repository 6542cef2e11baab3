#include "logmsg.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <thread>

#include "child.h"

namespace {

using testing::ElementsAreArray;
using IntsT = std::vector<int>;
using namespace std::string_literals;

const std::string head = "AppConfig: hd[0]: ";
const std::string longText(5000, 'x');
const wchar_t noCharacter[] = L"\x20ac";  // the C locale has none for it: the conversion fails
// volatile: texts that the compiler would warn of
const char* volatile nullText = nullptr;
const char* volatile emptyText = "";

/// From here on this process was started as "a/os_t": where the tests stand tells nothing.
void startedFromShortPath() { std::strcpy(program_invocation_name, "a/os_t"); }

/// Makes device and standard output pipes whose reader has gone.
void withoutReader() {
    mkfifo(gLogDevicePath, 0600);
    const int reader = open(gLogDevicePath, O_RDONLY | O_NONBLOCK);
    dup2(open(gLogDevicePath, O_WRONLY), STDOUT_FILENO);
    logmsg_init(0, "AppConfig");
    unlink(gLogDevicePath);
    close(reader);
}

/// What `calls` return under a limit of 0 bytes for every file.
IntsT withoutRoom(IntsT (*calls)()) {
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    IntsT returned = calls();
    setrlimit(RLIMIT_FSIZE, &limit);
    return returned;
}

/// A record too long for its 2,048 bytes, as the device gets it.
std::string cut(const std::string& record) { return record.substr(0, 2047) + '\0'; }

constexpr auto& raw = logmsg_remote;

struct LogCaseT {
    const char* name;
    IntsT (*calls)();
    std::string device = {};
    IntsT returned;
    std::string out = {}, err = {};
    void (*begin)() = [] { logmsg_init(0, "AppConfig"); };
    const char* indexText = nullptr;
    bool deviceExists = true;
};

// clang-format off
const LogCaseT logCases[] = {
    {"Levels", [] { return IntsT{logerr("config", "x=%d\n", 5), logmsg(0, nullptr, "a\n"),
        logmsg(8, nullptr, "a\n"), logmsg(-1, nullptr, "a\n"), logmsg(101, "c", "a\n"), logmsg(3, "c", nullText)}; },
     "<3>" + head + "config: x=5\n<0>" + head + "a\n<7>" + head + "a\n<7>" + head + "a\na\n", {32, 22, 22, 22, 1, 0}},
    {"RawHasNoPrefix", [] { return IntsT{raw("<3>%s\n", "text"), raw("%s\n", ""), raw("\r\n")}; },
     "<3>text\n\n\r", {7, 0, 0}},
    {"NewlineInsideEndsWithNul", [] { return IntsT{raw("a\nb")}; }, "a\nb\0"s, {3}},
    {"Conversions", [] { return IntsT{raw("%s%5d%%%x|%s\n", "b", -7, 255U, nullText), raw("%s\n", nullText)}; },
     "b   -7%ff|(null)\n(null)\n", {16, 6}},
    {"FailedConversionAddsNothing", [] { return IntsT{logerr("c", "a%ls\n", noCharacter), raw("b"),
        raw("c%ls", noCharacter), raw("d\n")}; }, "<3>" + head + "c: \0bd\n"s, {24, 1, 1, 2}},
    // partial lines
    {"FirstCallCounts", [] { return IntsT{logdebug("a", "abc"), loginfo("b", "def\n"), loginfo("b", "next\n")}; },
     "<7>" + head + "a: abcdef\n<6>" + head + "b: next\n", {27, 30, 28}},
    {"NewlineInArgumentEndsNothing", [] { return IntsT{logerr("a", "%s", "x\n"), logwarn("b", "y\n")}; },
     "<3>" + head + "a: x\ny\n", {26, 27}},
    {"BareNewline", [] { return IntsT{os_printf("\n"), logerr("a", "x"), os_printf("\n"), os_printf("\n"),
        raw(emptyText), os_printf("\n"), logerr("a", emptyText), os_printf("\n")}; },
     "<3>" + head + "a: x\n<3>" + head + "a: \n", {0, 25, 25, 0, 0, 0, 24, 24}},
    {"RawLineIsContinuedAsItIs", [] { return IntsT{raw("<3>a"), logwarn("c", "b\n")}; }, "<3>ab\n", {4, 5}},
    {"ThreadsDoNotMix", [] {
        const int here = logerr("a", "one ");
        int there = 0;
        std::thread([&there] { logwarn("b", "two "); there = logwarn("b", "end\n"); }).join();
        return IntsT{here, there, logerr("a", "end\n")}; },
     "<4>" + head + "b: two end\n<3>" + head + "a: one end\n", {28, 31, 31}},
    // 2,048 bytes, NUL included
    {"LongText", [] { return IntsT{os_printf("%s\n", longText.substr(0, 2025).c_str()),
        os_printf("%s\n", longText.substr(0, 2026).c_str()), os_printf("%s%d\n", longText.c_str(), 1),
        os_printf("%5000d\n", 1)}; },
     "<7>" + head + longText.substr(0, 2025) + "\n" + cut("<7>" + head + longText) +
     cut("<7>" + head + longText) + cut("<7>" + head + std::string(4999, ' ')), {2046, 2048, 2048, 2048}},
    {"LongOrigin", [] { return IntsT{logerr(longText.data(), "x\n"), logerr(longText.substr(0, 2025).data(), "x\n")}; },
     cut("<3>" + head + longText) + cut("<3>" + head + longText.substr(0, 2025) + ": x"), {2048, 2048}},
    {"FullPartialLine", [] { return IntsT{os_printf("%s", longText.c_str()), os_printf("%5d", 1), os_printf("end\n"),
        os_printf("next\n")}; }, cut("<7>" + head + longText) + "<7>" + head + "next\n", {2048, 2048, 2048, 25}},
    // filters
    {"ShowFilterLooksAtThePrefixToo", [] { return IntsT{logmsg_showfilter_add("app"), logerr("app", "a\n"), 
        logerr("c", "b\n"), logerr("c", "%s\n", "app"), logmsg_showfilter_delete("*"), logerr("c", "d\n")}; },
     "<3>" + head + "app: a\n<3>" + head + "c: app\n<3>" + head + "c: d\n", {0, 27, 26, 27, 0, 25}},
    {"FiltersLookAtLetterCase", [] { return IntsT{logmsg_showfilter_add("KEEP"), logmsg_cullfilter_add("DROP"),
        raw("keep\n"), raw("KEEP drop\n"), raw("KEEP DROP\n")}; }, "KEEP drop\n", {0, 0, 5, 9, 10}},
    {"DroppedPartialLineIsGone", [] { return IntsT{logmsg_cullfilter_add("x"), logerr("a", "x"), os_printf("\n"),
        logwarn("b", "y\n")}; }, "<4>" + head + "b: y\n", {0, 25, 26, 25}},
    {"EmptyPatternIsNone", [] { return logmsg_showfilter_add(""), logmsg_cullfilter_add(nullptr), IntsT{raw("a\n")}; },
     "a\n", {1}},
    // where records go
    {.name = "Copy", .calls = [] { return IntsT{logcrit("c", "2\n"), logerr("c", "3\n"), logwarn("c", "4\n"),
        logmsg(5, "c", "5\n"), loginfo("c", "6\n"), os_printf("7\n"), raw("<3>text\r\n"), raw("<\n")}; },
     .device = "<2>" + head + "c: 2\n<3>" + head + "c: 3\n<4>" + head + "c: 4\n<5>" + head + "c: 5\n<6>" + head +
               "c: 6\n<7>" + head + "7\n<3>text\r<\n",
     .returned = {25, 25, 25, 25, 25, 22, 7, 1},
     .out = "CRIT   " + head + "c: 2\nERROR  " + head + "c: 3\nWARN   " + head + "c: 4\nDEBUG  " + head + "c: 5\n" +
            "INFO   " + head + "c: 6\nDEBUG  " + head + "7\nERROR  text\r\n<\n", .indexText = "1"},
    {.name = "LateOpenEndsTheCopy", .calls = [] { const int first = raw("a\n");
        std::ofstream{gLogDevicePath};
        return IntsT{first, raw("b\n")}; },
     .device = "b\n", .returned = {1, 1}, .out = "a\n", .indexText = "1", .deviceExists = false},
    {.name = "DeviceSwitchedOff", .calls = [] { return IntsT{logmsg_set_syslog_echo(0), raw("a\n"),
        logmsg_set_syslog_echo(1), raw("b\n")}; }, .device = "b\n", .returned = {0, 1, 0, 1}},
    {.name = "DescriptorZeroIsNotWritten", .calls = [] { return IntsT{raw("a\n")}; }, .returned = {1},
     .begin = [] { close(0); logmsg_init(0, "AppConfig"); }},
    {.name = "ReaderThatHasGone", .calls = [] { return IntsT{raw("a\n"), raw("b\n")}; }, .returned = {1, 1},
     .begin = withoutReader, .indexText = "1", .deviceExists = false},
    {.name = "FileSizeLimit", .calls = [] { return withoutRoom([] { return IntsT{raw("a\n")}; }); },
     .returned = {1}, .indexText = "1"},
    // beginnings
    {.name = "NotInitialised", .calls = [] { return IntsT{logerr("c", "a\n")}; }, .returned = {0},
     .err = "os_t: va_logmsg: You should call logmsg_init() before any logging functions (including printf())\n",
     .begin = startedFromShortPath},
    {.name = "NameFromStartPath", .calls = [] { return IntsT{os_printf("a\n")}; }, .device = "<7>os_t: hd[a]: a\n",
     .returned = {17}, .begin = [] { startedFromShortPath(); logmsg_init(10, nullptr); }},
    {.name = "LongName", .calls = [] { return IntsT{os_printf("a\n")}; },
     .device = "<7>" + longText.substr(0, 39) + ": hd[ffffffff]: a\n", .returned = {59},
     .begin = [] { logmsg_init(-1, longText.c_str()); }},
};
// clang-format on

class Log : public testing::TestWithParam<LogCaseT> {};

TEST_P(Log, Record) {
    const LogCaseT& row = GetParam();
    const auto calls = [&row] { return row.begin(), row.calls(); };
    const OutcomeT outcome = inChild(calls, row.indexText, row.deviceExists);
    EXPECT_EQ(outcome.device, row.device);
    EXPECT_THAT(outcome.returned, ElementsAreArray(row.returned));
    EXPECT_EQ(outcome.out, row.out);
    EXPECT_EQ(outcome.err, row.err);
}

INSTANTIATE_TEST_SUITE_P(Cases, Log, testing::ValuesIn(logCases), caseName);

/// The two filter tables behave alike.
struct FilterTableT {
    std::string name;
    int (*add)(const char*), (*del)(const char*);
    const char* (*get)(int);
    int (*dump)();
};

class Filter : public testing::TestWithParam<FilterTableT> {
protected:
    const FilterTableT& table = GetParam();
    const std::string full = "\" " + table.name + " filter not added, table full\n";
    const std::string unknown = "\" " + table.name + " filter not found\n";
};

TEST_P(Filter, FillsAndFreesSlots) {
    const OutcomeT outcome = inChild([this] {
        IntsT results;
        for (const char* pattern : {"0", "1", "2", "three", "4", "5", "6", "7", "8", "9", "more"}) {
            results.push_back(table.add(pattern));
        }
        for (const int result : {table.del("THREE"), table.del("none"), table.add("again"),
                                 table.add("again"), table.del("0"), table.dump(),
                                 *table.get(-1) + *table.get(0) + *table.get(10), table.del("*")}) {
            results.push_back(result);
        }
        return table.dump(), results;
    });
    EXPECT_THAT(outcome.returned,
                ElementsAreArray({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -1, 0, 0, 0, -1, 0, 0, 0, 0}));
    const std::string title = table.name + " filters:\n";
    std::string left;
    for (const char* pattern : {"1", "2", "again", "4", "5", "6", "7", "8", "9"}) {
        left += "  \"" + std::string(pattern) + "\"\n";
    }
    EXPECT_EQ(outcome.out,
              "\"more" + full + "\"none" + unknown + "\"again" + full + title + left + title);
}

// clang-format off
const FilterTableT filterTables[] = {
    {"show", logmsg_showfilter_add, logmsg_showfilter_delete, logmsg_showfilter_get, logmsg_showfilter_dump},
    {"cull", logmsg_cullfilter_add, logmsg_cullfilter_delete, logmsg_cullfilter_get, logmsg_cullfilter_dump},
};
// clang-format on
INSTANTIATE_TEST_SUITE_P(Tables, Filter, testing::ValuesIn(filterTables), caseName);

}  // namespace
