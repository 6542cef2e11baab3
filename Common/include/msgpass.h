#ifndef COMMON_INCLUDE_MSGPASS_H
#define COMMON_INCLUDE_MSGPASS_H

/// Names this process in the message layer's debug output. Called once, on the main thread, after
/// the log facility has been initialised and before any dispatcher exists.
/// @param name  NUL-terminated; copied, so that it need not outlive the call
void MSG_DebugSetName(const char* name);

#endif
