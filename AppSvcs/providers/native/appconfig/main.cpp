#include <fcntl.h>
#include <strings.h>
#include <sys/resource.h>
#include <unistd.h>

#include <exception>

#include "AppConfigServiceProvider.h"
#include "logmsg.h"
#include "msgpass.h"

/// Opens those of descriptors 0 to 2 that are closed on the null device. The next files opened
/// would get these numbers, and what is written to standard output or standard error would go into
/// them: the log into the lock of the state. Without a null device "/" keeps the numbers taken:
/// nothing can be read or written through such a descriptor, as if it were closed.
void fillStandardDescriptors() {
    int fd;
    do {
        fd = open("/dev/null", O_RDWR);
        fd = fd < 0 ? open("/", O_PATH) : fd;
    } while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd >= 0) {
        close(fd);
    }
}

/// Sets `*coredump` to 1 when an argument is the switch "--coredump", in any letter case, and to
/// 0 otherwise. Every other argument is ignored.
void parse_params(int argc, char** argv, int* coredump) {
    const char* const OPTION_CORE_DUMP = "--coredump";
    *coredump = 0;
    for (int i = 1; i < argc; ++i) {
        if (strcasecmp(OPTION_CORE_DUMP, argv[i]) == 0) {
            *coredump = 1;
        }
    }
}

/// Lets the process write core files of any size, or none. The hard limit is asked to be unlimited
/// either way, so that the limit can be raised again from outside; a refusal changes nothing else.
void setCore(bool enabled) {
    rlimit rl;
    rl.rlim_cur = enabled ? RLIM_INFINITY : 0;
    rl.rlim_max = RLIM_INFINITY;
    setrlimit(RLIMIT_CORE, &rl);
}

/// Runs the service until its dispatcher ends. Out of memory at the start, it ends in order: a
/// process that was aborted would leave its socket behind.
void runService() {
    AppConfigProvider::AppConfigServiceProvider* provider = nullptr;
    try {
        provider = AppConfigProvider::AppConfigServiceProvider::getInstance();
        provider->initialize();
        provider->runProvider();
    } catch (const std::exception& exception) {
        logcrit("appconfig", "cannot run: %s\n", exception.what());
        delete provider;  // ends the dispatcher
    }
}

int main(int argc, char** argv) {
    fillStandardDescriptors();
    int coredump;
    parse_params(argc, argv, &coredump);
    setCore(coredump != 0);
    logmsg_init(0, "AppConfig");
    MSG_DebugSetName("AppConfig");
    runService();
    return 0;
}
