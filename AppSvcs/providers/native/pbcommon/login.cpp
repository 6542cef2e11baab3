#include "login.h"

#include <pwd.h>

#include <array>
#include <cstddef>

#include "text.h"

namespace pbcommon {

std::string loginOf(uid_t uid) {
    constexpr std::size_t kMaxBytes = 32;
    std::array<char, 4096> texts{};
    passwd entry{};
    passwd* found = nullptr;
    (void)getpwuid_r(uid, &entry, texts.data(), texts.size(), &found);
    return found == nullptr ? "" : cleaned(found->pw_name, kMaxBytes);
}

}  // namespace pbcommon
