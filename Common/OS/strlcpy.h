#ifndef COMMON_OS_STRLCPY_H
#define COMMON_OS_STRLCPY_H

#include <cstddef>
#include <cstring>  // first, for a C library that declares a strlcpy of its own there

/// Copies the string `src` into a buffer of `siz` bytes, cut to fit and always NUL-terminated; with
/// `siz` 0 nothing is written. The two must not overlap. Any thread.
/// @return length of `src`, however much was copied; `siz` or more: the copy was cut
extern "C" std::size_t strlcpy(char* dst, const char* src, std::size_t siz) noexcept;

/// Copies at most the first `srcSubLen` characters of `src`, which needs no NUL after them, into a
/// buffer of `dstBufSize` bytes, cut to fit and always NUL-terminated; with `dstBufSize` 0 nothing
/// is written. A number of characters that an int cannot hold copies none. Any thread.
/// @return length of that leading part of `src`; over `dstBufSize` - 1: the copy was cut
std::size_t strlcpy_substr(char* dst, const char* src, std::size_t dstBufSize,
                           std::size_t srcSubLen);

#endif
