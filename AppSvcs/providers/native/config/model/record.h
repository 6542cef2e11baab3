#ifndef CONFIG_MODEL_RECORD_H
#define CONFIG_MODEL_RECORD_H

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

/// Writes what there is to tell of a change, complete, secrets masked, its revision left out: who
/// made it, what was assigned, and all that is different, each row with the lowest role that may be
/// told.
void fillRecord(pbcommon::Change& record, const pbcommon::Requester& requester,
                std::span<const Assignment> assignments, std::span<const Effect> effects);

}  // namespace AppConfig

#endif
