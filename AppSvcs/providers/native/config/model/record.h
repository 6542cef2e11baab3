#ifndef CONFIG_MODEL_RECORD_H
#define CONFIG_MODEL_RECORD_H

#include <sys/types.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "messages.pb.h"
#include "model/state.h"
#include "requester.h"

namespace AppConfig {

/// A variable and the value that a request gave it. A later assignment of the same request may have
/// given it another.
struct Assignment {
    const Cell* cell;
    std::string sValue;
};

/// An assignment as it is kept.
struct RecordedAssignment {
    std::string sVariable;
    std::string sValue;
    SecurityRole reader;  ///< lowest role that may be shown it
};

/// An effect as it is kept.
struct RecordedEffect {
    std::string sVariable;
    pbcommon::Aspect aspect;
    std::string sBefore, sAfter;  ///< an aspect's one text
    pbcommon::Cause cause;
    std::string sTrigger;  ///< of a handler's call; empty without one
    SecurityRole reader;   ///< lowest role that may be shown it
    /// Lowest role that may be shown the trigger, as the change left it.
    SecurityRole triggerReader;
};

/// What is reported of a committed change, and kept: who made it, what was assigned, and all that
/// is different. Secrets are masked. It never leaves the service: a role is shown a part of it.
struct Record {
    std::uint64_t nRevision = 0;
    std::int64_t nTimeUs = 0;  ///< since 1970-01-01 00:00 UTC
    pbcommon::Requester requester{};
    std::vector<RecordedAssignment> assignments{};
    std::vector<RecordedEffect> effects{};
    /// What it takes in a message, at most; of one that has been read, in the database.
    std::size_t nMaxBytes = 0;
};

/// Fills a record, its revision left out. Its memory is used again.
void fillRecord(Record& record, const pbcommon::Requester& requester,
                std::span<const Assignment> assignments, std::span<const Effect> effects);

/// Writes what a change consists of as the JSON text that the database keeps: an array with an
/// array for each assignment and each effect, whose fields are the columns of the view `detail`, in
/// order.
void writeDetails(const Record& record, std::string& sJson);

/// The fields of one assignment or effect, as read.
using DetailT = std::array<std::string, 8>;
void addDetail(Record& record, const DetailT& detail);

/// The role of a name that the database keeps; the highest for any other text.
[[nodiscard]] SecurityRole roleKept(const std::string& sName);

}  // namespace AppConfig

#endif
