#include "strlcpy.h"

#include <algorithm>

// noexcept as first declared: a C library's own declaration, which some make without it, goes first
std::size_t strlcpy(char* dst, const char* src,
                    std::size_t siz) noexcept(noexcept(strlcpy(dst, src, siz))) {
    const std::size_t srcLen = std::strlen(src);
    if (siz != 0) {
        const std::size_t copied = std::min(srcLen, siz - 1);
        std::memcpy(dst, src, copied);
        dst[copied] = '\0';
    }
    return srcLen;
}

std::size_t strlcpy_substr(char* dst, const char* src, std::size_t dstBufSize,
                           std::size_t srcSubLen) {
    if (dstBufSize != 0) {
        const auto numCopyChars = static_cast<int>(std::min(srcSubLen, dstBufSize - 1));
        const std::size_t copied =
            numCopyChars > 0 ? strnlen(src, static_cast<std::size_t>(numCopyChars)) : 0;
        std::memcpy(dst, src, copied);
        dst[copied] = '\0';
    }
    return strnlen(src, srcSubLen);
}
