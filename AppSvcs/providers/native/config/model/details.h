#ifndef CONFIG_MODEL_DETAILS_H
#define CONFIG_MODEL_DETAILS_H

#include <array>
#include <string>

#include "messages.pb.h"

namespace AppConfig {

/// What a change consists of as the JSON text that the database keeps: an array with an array for
/// each assignment and each effect, whose fields are the columns of the view `detail`, in order.
[[nodiscard]] std::string detailsOf(const pbcommon::Change& change);

/// The fields of one assignment or effect, as read.
using DetailT = std::array<std::string, 8>;
void addDetail(pbcommon::Change& change, const DetailT& detail);

/// The role of a name that the database keeps; the highest for a text that is none.
[[nodiscard]] pbcommon::Role roleKept(const std::string& sName);

}  // namespace AppConfig

#endif
