#ifndef RULEBOOK_BOOK_H
#define RULEBOOK_BOOK_H

#include <string>
#include <vector>

#include "messages.pb.h"
#include "walk.h"

namespace rulebook {

// What was found, written down.

/// As the service answers it.
[[nodiscard]] pbcommon::DepsReply dependenciesOf(const RulesT& rules);
/// The rows of the table that the service answers from.
[[nodiscard]] std::string tableText(const RulesT& rules);
/// docs/rulebook.md.
[[nodiscard]] std::string bookText(Room& room, const RulesT& rules,
                                   const std::vector<AreaT>& areas);
/// The part of it about what the walk found.
[[nodiscard]] std::string walkText(const std::vector<AreaT>& areas);

}  // namespace rulebook

#endif
