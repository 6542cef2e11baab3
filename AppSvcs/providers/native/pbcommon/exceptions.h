#ifndef PBCOMMON_EXCEPTIONS_H
#define PBCOMMON_EXCEPTIONS_H

#include "ErrTypes.h"

namespace pbcommon {

/// Logs the exception that is being handled, as critical: no exception leaves the platform layer,
/// neither into the service nor out of a thread. To be called in a `catch (...)`.
/// @param component  of the log line
/// @param what       what could not be done, as in "start the dispatcher"
/// @param otherwise  code of what is not a lack of memory
/// @return kOutOfMemory or `otherwise`
[[nodiscard]] eErrorT logException(const char* component, const char* what,
                                   eErrorT otherwise) noexcept;

}  // namespace pbcommon

#endif
