#ifndef MSGPASS_DEBUGNAME_H
#define MSGPASS_DEBUGNAME_H

#include <string>

/// The name given with MSG_DebugSetName(), empty before; how the process calls itself in the
/// message layer's diagnostics. Set before the dispatcher's thread exists, constant from then on.
const std::string& msgDebugName();

#endif
