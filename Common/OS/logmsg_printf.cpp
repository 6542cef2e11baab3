#include <syslog.h>

#include <cstdarg>

#include "logmsg.h"

// The process's own printf(): ordinary output becomes debug-level log records.
//
// <cstdio> is not included, since its inline printf() and putchar() would collide with these.
//
// The compiler is free to turn printf() into another function of the C library, and does:
// printf("text\n") and printf("%s\n", x) become puts(), a single character becomes putchar(), and a
// fortified build calls __printf_chk(), with or without -fno-builtin-printf. So these are defined
// too, each logging what the printf() that it replaces would. No code that is linked in,
// libraries included, then has to be compiled with a flag. What the compiler has folded cannot be
// told apart: a constant argument that ends in a newline, as in printf("%s", "text\n"), counts as
// part of the format.

extern "C" int printf(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_DEBUG, nullptr, fmt);
    va_end(ap);
    return len;
}

// NOLINTNEXTLINE(bugprone-reserved-identifier): the C library's name
extern "C" int __printf_chk(int /*flag*/, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_DEBUG, nullptr, fmt);
    va_end(ap);
    return len;
}

extern "C" int puts(const char* text) { return os_printf("%s\n", text); }

extern "C" int putchar(int character) {
    if (character == '\n') {
        os_printf("\n");
    } else {
        os_printf("%c", character);
    }
    return static_cast<unsigned char>(character);
}
