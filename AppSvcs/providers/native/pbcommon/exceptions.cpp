#include "exceptions.h"

#include <exception>
#include <new>

#include "logmsg.h"

namespace pbcommon {

eErrorT logException(const char* component, const char* what, eErrorT otherwise) noexcept {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        logcrit(component, "cannot %s: out of memory\n", what);
        return kOutOfMemory;
    } catch (const std::exception& exception) {
        logcrit(component, "cannot %s: %s\n", what, exception.what());
    } catch (...) {
        logcrit(component, "cannot %s: unknown exception\n", what);
    }
    return otherwise;
}

}  // namespace pbcommon
