#include <cstdlib>

#include "ospaths.h"

namespace {

const bool gTaken = [] {
    gLogDevicePath = std::getenv("TEST_LOG_DEVICE");
    gVireoIdxPath = "";
    return true;
}();

}  // namespace
