#include "logfilter.h"

#include <strings.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "logmsg.h"
#include "strlcpy.h"

namespace {

constexpr int kFilterSlots = 10;
constexpr std::size_t kFilterBytes = 370;  // of a slot, and of a message that quotes a pattern

char gShowFilters[kFilterSlots][kFilterBytes];  // a slot is free when its pattern is empty
int gNumShowFilters = 0;
char gCullFilters[kFilterSlots][kFilterBytes];
int gNumCullFilters = 0;

/// What the show and the cull table do not share.
struct FilterTableT {
    char (&slots)[kFilterSlots][kFilterBytes];
    int& count;
    const char* title;
    const char* full;     ///< what follows the quoted pattern when there is no free slot
    const char* unknown;  ///< what follows it when no slot holds it
};

constexpr FilterTableT showTable = {gShowFilters, gNumShowFilters, "show filters:\n",
                                    "\" show filter not added, table full\n",
                                    "\" show filter not found\n"};
constexpr FilterTableT cullTable = {gCullFilters, gNumCullFilters, "cull filters:\n",
                                    "\" cull filter not added, table full\n",
                                    "\" cull filter not found\n"};

bool matches(const FilterTableT& table, const char* record) {
    return std::any_of(std::begin(table.slots), std::end(table.slots), [record](const char* slot) {
        return slot[0] != '\0' && std::strstr(record, slot) != nullptr;
    });
}

/// Prints `pattern` between double quotes; `tail` brings the second one. The pattern is cut so that
/// the message keeps its end.
void printQuoted(const char* pattern, const char* tail) {
    char message[kFilterBytes] = "\"";
    const std::size_t mostEnd = sizeof(message) - 1 - std::strlen(tail);  // of the cut pattern
    const std::size_t end = std::min(1 + strlcpy(message + 1, pattern, mostEnd), mostEnd);
    strlcpy(message + end, tail, sizeof(message) - end);
    std::fputs(message, stdout);
    std::fflush(stdout);
}

int addFilter(const FilterTableT& table, const char* pattern) {
    if (pattern == nullptr || pattern[0] == '\0') {
        return 0;  // would be counted while its slot stays free
    }
    for (auto& slot : table.slots) {
        if (slot[0] == '\0') {
            strlcpy(slot, pattern, sizeof(slot));
            ++table.count;
            return 0;
        }
    }
    printQuoted(pattern, table.full);
    return -1;
}

int deleteFilter(const FilterTableT& table, const char* pattern) {
    if (pattern == nullptr) {
        pattern = "";
    }
    if (strcasecmp(pattern, "*") == 0) {
        std::memset(table.slots, 0, sizeof(table.slots));
        table.count = 0;
        return 0;
    }
    for (auto& slot : table.slots) {
        // an empty pattern equals a free slot, which is not in the count
        if (slot[0] != '\0' && strcasecmp(slot, pattern) == 0) {
            slot[0] = '\0';
            --table.count;
            return 0;
        }
    }
    printQuoted(pattern, table.unknown);
    return 0;
}

const char* getFilter(const FilterTableT& table, int i) {
    return i >= 0 && i < kFilterSlots ? table.slots[i] : "";
}

int dumpFilters(const FilterTableT& table) {
    std::fputs(table.title, stdout);
    for (const auto& slot : table.slots) {
        if (slot[0] != '\0') {
            std::fprintf(stdout, "  \"%s\"\n", slot);
        }
    }
    std::fflush(stdout);
    return 0;
}

}  // namespace

bool logmsg_filter_out(const char* record) {
    return record[0] == '\0' || (gNumShowFilters > 0 && !matches(showTable, record)) ||
           (gNumCullFilters > 0 && matches(cullTable, record));
}

int logmsg_max_filters() { return kFilterSlots; }

int logmsg_showfilter_add(const char* pShowFilter) { return addFilter(showTable, pShowFilter); }

int logmsg_cullfilter_add(const char* pCullFilter) { return addFilter(cullTable, pCullFilter); }

int logmsg_showfilter_delete(const char* pShowFilter) {
    return deleteFilter(showTable, pShowFilter);
}

int logmsg_cullfilter_delete(const char* pCullFilter) {
    return deleteFilter(cullTable, pCullFilter);
}

const char* logmsg_showfilter_get(int i) { return getFilter(showTable, i); }

const char* logmsg_cullfilter_get(int i) { return getFilter(cullTable, i); }

int logmsg_showfilter_dump() { return dumpFilters(showTable); }

int logmsg_cullfilter_dump() { return dumpFilters(cullTable); }
