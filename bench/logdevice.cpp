#include "ospaths.h"

namespace {

/// A unit has its log device. Where there is none the daemon tries to open it for every record and
/// prints on standard output, which would be most of what is measured.
const bool gTaken = [] {
    gLogDevicePath = "/dev/null";
    return true;
}();

}  // namespace
