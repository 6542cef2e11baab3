#ifndef PBUTILITY_INCLUDE_CONTROL_H
#define PBUTILITY_INCLUDE_CONTROL_H

#include <chrono>

#include "ErrTypes.h"

namespace PbUtility {

class PbUtils;
class RequestHandler;

// What the platform layer needs of a dispatcher beyond its contract.

/// Before readyToDispatchMessages(true). @param handler  borrowed; outlives the dispatching
/// @return kNoError; kNotInitialized (the dispatcher could not be made)
[[nodiscard]] eErrorT setRequestHandler(PbUtils& pbUtils, RequestHandler& handler);

/// How long a client may take over one frame. Before start().
/// @return as setRequestHandler()
[[nodiscard]] eErrorT setFrameTime(PbUtils& pbUtils, std::chrono::steady_clock::duration frameTime);

/// Ends the dispatching, after the last answers. Any thread; nothing where it was not made.
void end(PbUtils& pbUtils);

}  // namespace PbUtility

#endif
