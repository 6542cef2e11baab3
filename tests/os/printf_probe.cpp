// Proves on a program that links the process's own printf: what the compiler makes of a printf()
// call reaches the log, nothing reaches standard output, and a complete line costs one write and no
// allocation. Says on standard error what it saw amiss, and then ends with 1.

#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "logmsg.h"
#include "ospaths.h"

// NOLINTBEGIN(bugprone-reserved-identifier): the C library's names
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
}
// NOLINTEND(bugprone-reserved-identifier)

namespace {

int gAllocations = 0;
int gWrites = 0;
bool gOutOfMemory = false;
const char* volatile gText = "text";  // unknown to the compiler

void* counted(void* block) { return ++gAllocations, block; }

}  // namespace

extern "C" {
void* malloc(std::size_t size) noexcept {
    return counted(gOutOfMemory ? nullptr : __libc_malloc(size));
}
void* calloc(std::size_t n, std::size_t size) noexcept { return counted(__libc_calloc(n, size)); }
void* realloc(void* p, std::size_t size) noexcept { return counted(__libc_realloc(p, size)); }
ssize_t write(int fd, const void* data, std::size_t size) {
    return ++gWrites, syscall(SYS_write, fd, data, size);
}
}

namespace {

struct ProbeCaseT {
    const char* name;
    void (*calls)();
    const char* text;  ///< what follows the prefix of the one record
    int nAllocations;
};

// In this order: the first text that waits allocates its thread's buffer. printf() becomes
// __printf_chk() here; __builtin_printf() becomes what code that is not fortified calls.
// clang-format off
const ProbeCaseT probeCases[] = {
    {"text", [] { printf("text\n"); }, "text\n", 0},
    {"%s", [] { printf("%s\n", gText); }, "text\n", 0},
    {"%d", [] { printf("%d\n", 1); }, "1\n", 0},
    {"plain %d", [] { __builtin_printf("%d %x\n", 1, 255U); }, "1 ff\n", 0},
    {"puts", [] { __builtin_printf("%s\n", gText); }, "text\n", 0},
    {"levelled call", [] { logdebug(nullptr, "%s %d\n", gText, 1); }, "text 1\n", 0},
    {"no memory for text that waits",
     [] { gOutOfMemory = true, printf("lost"), gOutOfMemory = false, printf("kept\n"); }, "kept\n", 1},
    {"single characters", [] { printf("x"), printf("\n"); }, "x\n", 1},
    {"putchar", [] { __builtin_printf("x"), __builtin_printf("\n"); }, "x\n", 0},
};
// clang-format on

std::string contentFrom(int fd, off_t offset) {
    char bytes[256];
    const ssize_t count = pread(fd, bytes, sizeof(bytes), offset);
    return {bytes, count > 0 ? static_cast<std::size_t>(count) : 0};
}

}  // namespace

int main() {
    const int device = memfd_create("device", 0);
    const int out = memfd_create("stdout", 0);
    const std::string devicePath = "/proc/self/fd/" + std::to_string(device);
    dup2(out, STDOUT_FILENO);
    gLogDevicePath = devicePath.c_str();
    gVireoIdxPath = "/dev/null";
    logmsg_init(0, "probe");

    std::string amiss;
    off_t offset = 0;
    for (const ProbeCaseT& row : probeCases) {
        gAllocations = gWrites = 0;
        row.calls();
        const int nAllocations = gAllocations, nWrites = gWrites;
        const std::string record = contentFrom(device, offset);
        offset += static_cast<off_t>(record.size());
        if (record != std::string("<7>probe: hd[0]: ") + row.text || nWrites != 1 ||
            nAllocations != row.nAllocations) {
            amiss += row.name + (": " + record) + std::to_string(nWrites) + " writes, " +
                     std::to_string(nAllocations) + " allocations\n";
        }
    }
    std::fflush(stdout);
    amiss += contentFrom(out, 0);
    std::fputs(amiss.c_str(), stderr);
    return amiss.empty() ? 0 : 1;
}
