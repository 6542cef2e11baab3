#include <gmock/gmock.h>

#include "child.h"
#include "strlcpy.h"
#include "vireoidx.h"

namespace {

TEST(VireoIndex, IsReadOnce) {
    const std::pair<const char*, int> cases[] = {{nullptr, 0}, {"1\n", 1},  {"12 units", 12},
                                                 {"one", 0},   {"-3\n", 0}, {"", 0}};
    for (const auto& [fileText, nIndex] : cases) {
        const auto readTwice = [] {
            const int nFirst = get_vireo_idx();
            std::ofstream{gVireoIdxPath} << 7;
            return std::vector{nFirst, get_vireo_idx()};
        };
        EXPECT_THAT(inChild(readTwice, fileText).returned, testing::ElementsAre(nIndex, nIndex));
    }
}

TEST(BoundedCopy, KeepsInsideItsBuffer) {
    constexpr auto kWhole = static_cast<std::size_t>(-1);
    constexpr std::size_t kOverInt = std::size_t{1} << 31;
    const char unterminated[] = {'a', 'b', 'c'};
    // Copies into "########", which is compared whole, so that a byte too many shows.
    // clang-format off
    const struct { const char* src; std::size_t dstBytes, subLen; std::string buffer; std::size_t nResult; } cases[] = {
        {"abc",        4,            kWhole,   {"abc\0####", 8}, 3},
        {"abcdef",     4,            kWhole,   {"abc\0####", 8}, 6},
        {"abcdef",     0,            kWhole,   "########",       6},
        {"abcdef",     3,            5,        {"ab\0#####", 8}, 5},
        {"ab",         8,            5,        {"ab\0#####", 8}, 2},
        {"abcdef",     8,            0,        {"\0#######", 8}, 0},
        {"abcdef",     0,            5,        "########",       5},
        {unterminated, 8,            3,        {"abc\0####", 8}, 3},
        {"abcdef",     kOverInt + 1, kOverInt, {"\0#######", 8}, 6},
    };
    // clang-format on
    for (const auto& c : cases) {
        std::string buffer = "########";
        EXPECT_EQ(c.subLen == kWhole ? strlcpy(buffer.data(), c.src, c.dstBytes)
                                     : strlcpy_substr(buffer.data(), c.src, c.dstBytes, c.subLen),
                  c.nResult);
        EXPECT_EQ(buffer, c.buffer);
    }
}

}  // namespace
