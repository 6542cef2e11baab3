#include "requester.h"

#include "names.h"

namespace pbcommon {

std::string describe(const Requester& requester) {
    return "uid " + std::to_string(requester.uid) + ", process " + std::to_string(requester.pid) +
           " (" + requester.sClient + "), role " + roleName(requester.role);
}

}  // namespace pbcommon
