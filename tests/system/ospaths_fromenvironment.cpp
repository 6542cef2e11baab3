#include <cstdlib>

#include "ospaths.h"

namespace {

const bool gTaken = [] {
    if (const char* const device = std::getenv("TEST_LOG_DEVICE")) {
        gLogDevicePath = device;
    }
    gVireoIdxPath = "";
    return true;
}();

}  // namespace
