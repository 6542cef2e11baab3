#include "logmsg.h"

#include <fcntl.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "logfilter.h"
#include "ospaths.h"
#include "strlcpy.h"
#include "vireoidx.h"

const char* gLogDevicePath = "/dev/vexolog";

namespace {

constexpr std::size_t kRecordBytes = 2048;  // terminating NUL included
constexpr int kRawLevel = 101;              // the text carries its own prefix
constexpr std::size_t kAppNameBytes = 40;

char gAppName[kAppNameBytes];  // empty: logmsg_init() has not run
int gProcessorNum = 0;
int g_fd = 0;  // the device; negative: not open. 0 is never written
int gEchoToSyslog = 1;
int gLogToStdout = 0;
int gLogFormat = 8;
int gSpewFilter = 0;
char gRecordHead[64];  // application and processor piece; the longest are 55 bytes
std::size_t gRecordHeadLen = 0;
pthread_key_t gIncompleteLine;  // each thread's text that waits for its newline
bool gHasIncompleteLine = false;

// ---- names and prefix ------------------------------------------------------------------------

/// Fills `buf` with the name under which the process was started, without its directory. Empty when
/// the system does not say.
char* getAppName(char* buf, int bufLen) {
    const auto bufBytes = static_cast<std::size_t>(bufLen);
    std::memset(buf, 0, bufBytes);
    char text[80];
    std::snprintf(text, sizeof(text), "/proc/%d/cmdline", getpid());
    const int fd = open(text, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return buf;
    }
    const ssize_t count = read(fd, buf, bufBytes - 1);
    close(fd);
    // the arguments are separated by NULs, so that the text ends with the first of them
    const char* slash = count > 0 ? std::strrchr(buf, '/') : nullptr;
    if (slash != nullptr) {
        strlcpy(text, slash + 1, sizeof(text));
        strlcpy(buf, text, bufBytes);
    }
    return buf;
}

std::size_t addLevel(char* pBuf, int level) {
    pBuf[0] = '<';
    pBuf[1] = static_cast<char>('0' + level % 10);
    pBuf[2] = '>';
    return 3;
}

std::size_t addAppName(char* pBuf, std::size_t bufBytes) {
    return static_cast<std::size_t>(std::snprintf(pBuf, bufBytes, "%s: ", gAppName));
}

std::size_t addProcID(char* pBuf, std::size_t bufBytes) {
    const auto processorNum = static_cast<unsigned>(gProcessorNum);
    return static_cast<std::size_t>(std::snprintf(pBuf, bufBytes, "hd[%x]: ", processorNum));
}

/// Writes the pieces that are the same in every record, so that a record only copies them.
void fillRecordHead() {
    gRecordHeadLen = addAppName(gRecordHead, sizeof(gRecordHead));
    gRecordHeadLen += addProcID(gRecordHead + gRecordHeadLen, sizeof(gRecordHead) - gRecordHeadLen);
}

/// Writes `count` bytes after the `len` that `out` has, as many as leave room for the NUL, which
/// the caller writes.
/// @return length of the uncut text
std::size_t put(char* out, std::size_t outBytes, std::size_t len, const char* text,
                std::size_t count) {
    if (len + count < outBytes) {
        std::memcpy(out + len, text, count);
    } else if (len + 1 < outBytes) {
        std::memcpy(out + len, text, outBytes - 1 - len);
    }
    return len + count;
}

/// Begins a record; the text that follows ends it with its NUL.
std::size_t addPrefix(char* pBuf, int level, const char* component) {
    std::size_t len = addLevel(pBuf, level);
    std::memcpy(pBuf + len, gRecordHead, sizeof(gRecordHead));  // a fixed size: no call
    len += gRecordHeadLen;
    if (component != nullptr) {
        len += strlcpy(pBuf + len, component, kRecordBytes - len);
        len = std::min(put(pBuf, kRecordBytes, len, ": ", 2), kRecordBytes - 1);
    }
    return len;
}

// ---- output ----------------------------------------------------------------------------------

const char* SyslogLevelToString(int level) {
    switch (level) {
        case LOG_CRIT:
            return "CRIT  ";
        case LOG_ERR:
            return "ERROR ";
        case LOG_WARNING:
            return "WARN  ";
        case LOG_INFO:
            return "INFO  ";
        default:
            return "DEBUG ";
    }
}

/// Standard output is written through its stream, never with printf(), which may be the process's
/// own and lead back here. Flushed, so that the record outlives a process that is killed.
void printRecord(const char* msg) {
    if (msg[0] == '<' && msg[1] != '\0' && msg[2] == '>') {
        std::fprintf(stdout, "%s %s", SyslogLevelToString(msg[1] - '0'), msg + 3);
    } else {
        std::fputs(msg, stdout);
    }
    std::fflush(stdout);
}

int openDevice() { return open(gLogDevicePath, O_WRONLY | O_CLOEXEC); }

/// Hands a record to the device, and to standard output when it is asked for or the device is
/// missing.
/// @param msg  kRecordBytes bytes, NUL-terminated
/// @param len  length without the line ending
void android_final_print(const char* msg, int len) {
    if (gEchoToSyslog != 0) {
        if (g_fd < 0) {
            g_fd = openDevice();
            gLogToStdout = g_fd < 0 ? 1 : 0;
        }
        if (g_fd > 0) {
            // the byte after `len` is the first of the line ending, or the NUL; a record that was
            // cut has its NUL within `len`
            const auto count = std::min(static_cast<std::size_t>(len) + 1, kRecordBytes);
            [[maybe_unused]] const ssize_t written = write(g_fd, msg, count);
        }
    }
    if (gLogToStdout != 0) {
        printRecord(msg);
    }
}

void logmsg_print(const char* pBuf, int len) { android_final_print(pBuf, len); }

// ---- assembling a record ---------------------------------------------------------------------

char* incompleteLine() {
    return gHasIncompleteLine ? static_cast<char*>(pthread_getspecific(gIncompleteLine)) : nullptr;
}

/// The calling thread's first buffer for text that waits. @return null when there is no memory
char* newIncompleteLine() {
    auto* line = static_cast<char*>(std::malloc(kRecordBytes));
    if (line == nullptr) {
        return nullptr;
    }
    line[0] = '\0';
    if (!gHasIncompleteLine || pthread_setspecific(gIncompleteLine, line) != 0) {
        std::free(line);
        return nullptr;
    }
    return line;
}

int warnNotInitialised() {
    char myAppName[kAppNameBytes];
    std::fprintf(stderr,
                 "%s: %s: You should call logmsg_init() before any logging functions (including "
                 "printf())\n",
                 getAppName(myAppName, sizeof(myAppName)), "va_logmsg");
    return 0;
}

/// vsnprintf() for formats of text, "%s" and "%d" alone, which nearly all are, in half its time:
/// formatting is most of what a record costs beside the write.
/// @return length of the uncut text; nothing when the format needs vsnprintf()
std::optional<std::size_t> formatSimple(char* out, std::size_t outBytes, const char* fmt,
                                        va_list ap) {
    std::size_t len = 0;
    for (;;) {
        const char* textEnd = strchrnul(fmt, '%');
        len = put(out, outBytes, len, fmt, static_cast<std::size_t>(textEnd - fmt));
        if (textEnd[0] == '\0') {
            out[std::min(len, outBytes - 1)] = '\0';
            return len;
        }
        if (textEnd[1] == 's') {
            const char* text = va_arg(ap, const char*);
            if (text == nullptr) {
                return std::nullopt;
            }
            len = put(out, outBytes, len, text, std::strlen(text));
        } else if (textEnd[1] == 'd') {
            char digits[3 * sizeof(int)];
            const char* end = std::to_chars(digits, digits + sizeof(digits), va_arg(ap, int)).ptr;
            len = put(out, outBytes, len, digits, static_cast<std::size_t>(end - digits));
        } else {
            return std::nullopt;
        }
        fmt = textEnd + 2;
    }
}

/// Formats after the `len` bytes that the record has; begins it with its prefix when it is empty.
/// @return the new length; kRecordBytes for a record that was cut
[[gnu::format(printf, 5, 0)]] std::size_t formatText(char* pBuf, std::size_t len, int level,
                                                     const char* component, const char* fmt,
                                                     va_list ap) {
    if (len == 0 && level != kRawLevel) {
        len = addPrefix(pBuf, level, component);
    }
    char* text = pBuf + len;
    const std::size_t textBytes = kRecordBytes - len;
    va_list simpleAp;
    va_copy(simpleAp, ap);
    const std::optional<std::size_t> simpleLen = formatSimple(text, textBytes, fmt, simpleAp);
    va_end(simpleAp);
    if (simpleLen.has_value()) {
        return std::min(len + *simpleLen, kRecordBytes);
    }
    const int count = std::vsnprintf(text, textBytes, fmt, ap);
    if (count < 0) {
        text[0] = '\0';  // what a failed conversion has left there is not text
        return len;
    }
    return std::min(len + static_cast<std::size_t>(count), kRecordBytes);
}

/// Prints a complete record, unless a filter drops it.
/// @return its length, without the line ending when it was printed
std::size_t finishRecord(const char* pBuf, std::size_t len) {
    if (!logmsg_filter_out(pBuf)) {
        if (len > 0 && pBuf[len - 1] == '\n') {
            --len;
            if (len > 0 && pBuf[len - 1] == '\r') {
                --len;
            }
        }
        logmsg_print(pBuf, static_cast<int>(len));
    }
    return len;
}

}  // namespace

int va_logmsg(va_list ap, int level, const char* component, const char* fmt) {
    if (gAppName[0] == '\0') {
        return warnNotInitialised();
    }
    if (fmt == nullptr) {
        return 0;
    }
    if ((level < LOG_EMERG || level > LOG_DEBUG) && level != kRawLevel) {
        level = LOG_DEBUG;
    }
    const char* pNewLineChar = std::strchr(fmt, '\n');
    char* pCurLine = incompleteLine();
    if (pNewLineChar == nullptr) {
        if (pCurLine == nullptr) {
            pCurLine = newIncompleteLine();
        }
        return pCurLine == nullptr ? 0
                                   : static_cast<int>(formatText(pCurLine, std::strlen(pCurLine),
                                                                 level, component, fmt, ap));
    }
    const bool continues = pCurLine != nullptr && pCurLine[0] != '\0';
    if (!continues && std::strcmp(fmt, "\n") == 0) {
        return 0;
    }
    char line[kRecordBytes];
    char* pBuf = continues ? pCurLine : line;
    std::size_t len = continues ? std::strlen(pCurLine) : 0;
    len = finishRecord(pBuf, formatText(pBuf, len, level, component, fmt, ap));
    if (continues) {
        pCurLine[0] = '\0';
    }
    return static_cast<int>(len);
}

int logcrit(const char* component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_CRIT, component, fmt);
    va_end(ap);
    return len;
}

int logerr(const char* component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_ERR, component, fmt);
    va_end(ap);
    return len;
}

int logwarn(const char* component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_WARNING, component, fmt);
    va_end(ap);
    return len;
}

int loginfo(const char* component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_INFO, component, fmt);
    va_end(ap);
    return len;
}

int logdebug(const char* component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_DEBUG, component, fmt);
    va_end(ap);
    return len;
}

int logmsg(int level, const char* component, const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, level, component, fmt);
    va_end(ap);
    return len;
}

int os_printf(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, LOG_DEBUG, nullptr, fmt);
    va_end(ap);
    return len;
}

int logmsg_remote(const char* fmt, ...) {
    va_list ap;
    va_start(ap, fmt);
    const int len = va_logmsg(ap, kRawLevel, nullptr, fmt);
    va_end(ap);
    return len;
}

void logmsg_init(int processorNum, const char* pAppName) {
    // a record that cannot be written is lost; it does not end the process
    std::signal(SIGPIPE, SIG_IGN);  // its reader has gone
    std::signal(SIGXFSZ, SIG_IGN);  // its file has reached the size limit
    gProcessorNum = processorNum;
    if (pAppName != nullptr) {
        strlcpy(gAppName, pAppName, sizeof(gAppName));
    }
    gLogToStdout = get_vireo_idx() != 0 ? 1 : 0;
    if (gAppName[0] == '\0') {
        getAppName(gAppName, sizeof(gAppName));
        if (gAppName[0] == '\0') {
            std::fputs("shouldn't happen: could not get app name\n", stderr);
        }
    }
    fillRecordHead();
    gHasIncompleteLine = pthread_key_create(&gIncompleteLine, nullptr) == 0;
    g_fd = openDevice();
    if (g_fd < 0) {
        gLogToStdout = 1;
    }
}

void logmsg_shutdown() {}

const char* logmsg_get_appname() { return gAppName; }

int logmsg_set_syslog_echo(int on) {
    gEchoToSyslog = on;
    return 0;
}

int logmsg_get_syslog_echo() { return gEchoToSyslog; }

int logmsg_set_spewfilter(int on) {
    gSpewFilter = on;
    return 0;
}

int logmsg_get_spewfilter() { return gSpewFilter; }

int logmsg_set_format(int format) {
    gLogFormat = format;
    return 0;
}

int logmsg_get_format() { return gLogFormat; }
