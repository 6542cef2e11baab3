#include <strings.h>
#include <sys/resource.h>

#include "AppConfigServiceProvider.h"
#include "logmsg.h"
#include "msgpass.h"

/// Sets `*coredump` to 1 when an argument is the switch "--coredump", in any letter case, else to
/// 0. Every other argument is ignored.
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

int main(int argc, char** argv) {
    int coredump;
    parse_params(argc, argv, &coredump);
    setCore(coredump != 0);
    logmsg_init(0, "AppConfig");
    MSG_DebugSetName("AppConfig");
    AppConfigProvider::AppConfigServiceProvider* provider =
        AppConfigProvider::AppConfigServiceProvider::getInstance();
    provider->initialize();
    provider->runProvider();
    return 0;
}
