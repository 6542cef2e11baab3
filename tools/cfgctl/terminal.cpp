#include "terminal.h"

#include <langinfo.h>
#include <locale.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "display.h"
#include "failure.h"

namespace cfgctl {

namespace {

constexpr std::size_t kUsualColumns = 80;  // of a terminal that does not tell

/// Of the user's locale, which the process does not take on: numbers are read in C's.
bool isUtf8() {
    const locale_t locale = newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr) {
        return false;  // there is none of that name
    }
    const bool bUtf8 = std::strcmp(nl_langinfo_l(CODESET, locale), "UTF-8") == 0;
    freelocale(locale);
    return bUtf8;
}

}  // namespace

StreamT streamOf(int fd) {
    StreamT stream{.bUtf8 = isUtf8()};
    stream.bTerminal = isatty(fd) == 1;
    if (stream.bTerminal) {
        winsize size{};
        const bool bKnown = ioctl(fd, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
        stream.nColumns = bKnown ? size.ws_col : kUsualColumns;
        const char* const noColour = std::getenv("NO_COLOR");
        const char* const terminal = std::getenv("TERM");
        stream.bColour = (noColour == nullptr || *noColour == '\0') && terminal != nullptr &&
                         std::strcmp(terminal, "dumb") != 0;
    }
    return stream;
}

std::string painted(const std::string& text, Colour colour, const StreamT& stream) {
    constexpr std::array<const char*, 4> kSequences = {"\x1b[1m", "\x1b[31m", "\x1b[32m",
                                                       "\x1b[2m"};
    return stream.bColour ? kSequences[static_cast<std::size_t>(colour)] + text + "\x1b[0m" : text;
}

void print(std::string_view text) { (void)std::fwrite(text.data(), 1, text.size(), stdout); }

void printError(std::string_view text) { (void)std::fwrite(text.data(), 1, text.size(), stderr); }

void complain(std::string_view text) { printError("cfgctl: " + shown(text) + "\n"); }

void finishOutput() {
    const bool bFailedBefore = std::ferror(stdout) != 0;
    if (std::fflush(stdout) != 0 || bFailedBefore) {
        throw Failure(kOutputLost,
                      std::string("cannot write to standard output: ") + std::strerror(errno));
    }
}

}  // namespace cfgctl
