#ifndef PBUTILITY_DISPATCHER_OVERFULL_H
#define PBUTILITY_DISPATCHER_OVERFULL_H

#include <cstdint>
#include <optional>
#include <string_view>

namespace PbUtility {

/// Tells a request that has more fields than any that is admitted before it is read: a frame of
/// many thousands of empty messages would take tens of milliseconds and as many megabytes.
/// @return the id of such a request, as far as it can be seen; nothing for any other
[[nodiscard]] std::optional<std::uint64_t> idOfOverfull(std::string_view message);

}  // namespace PbUtility

#endif
