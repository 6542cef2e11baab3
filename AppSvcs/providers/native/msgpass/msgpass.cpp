#include "msgpass.h"

#include "debugname.h"

namespace {

std::string gDebugName;

}  // namespace

void MSG_DebugSetName(const char* name) { gDebugName = name; }

const std::string& msgDebugName() { return gDebugName; }
