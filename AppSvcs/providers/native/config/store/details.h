#ifndef CONFIG_STORE_DETAILS_H
#define CONFIG_STORE_DETAILS_H

#include <string>

#include "messages.pb.h"

namespace AppConfig {

/// In the place of an aspect: a detail that is an assignment of the request.
inline constexpr const char* kAssigned = "assigned";

/// What a change consists of as the JSON text that the database keeps: an array with an array for
/// each assignment and each effect, whose fields are the columns of the view `detail`, in order.
[[nodiscard]] std::string detailsOf(const pbcommon::Change& change);

}  // namespace AppConfig

#endif
