#ifndef TESTS_OS_CHILD_H
#define TESTS_OS_CHILD_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>
#include <sstream>

#include "casename.h"
#include "ospaths.h"
#include "temporarydirectory.h"

/// What the calls of a child process left on the device, standard output and standard error, and
/// what they returned.
struct OutcomeT {
    std::string device, out, err;
    std::vector<int> returned;
};

/// Runs `calls` in a child process, where the modules are as they are at program start, on files of
/// its own. The child ends without flushing: only what the modules flushed is seen.
/// @param indexText     content of the index file; null: there is none
/// @param deviceExists  whether the device is there from the start
inline OutcomeT inChild(const std::function<std::vector<int>()>& calls,
                        const char* indexText = nullptr, bool deviceExists = true) {
    const TemporaryDirectory home;
    const std::string device = home.path("device"), index = home.path("index");
    if (deviceExists) (void)home.file("device");
    if (indexText != nullptr) (void)home.file("index", indexText);
    (void)fflush(nullptr);  // what the test framework has not printed yet is not the child's
    const pid_t child = fork();
    if (child == 0) {
        gLogDevicePath = device.c_str();
        gVireoIdxPath = index.c_str();
        dup2(creat(home.path("out").c_str(), 0600), STDOUT_FILENO);
        dup2(creat(home.path("err").c_str(), 0600), STDERR_FILENO);
        std::ofstream file(home.path("returned"));
        for (const int value : calls()) file << value << ' ';
        file.close();
        _exit(0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    const auto content = [&](const char* name) { return home.contentOf(home.path(name)); };
    OutcomeT outcome{content("device"), content("out"), content("err"), {}};
    EXPECT_EQ(status, 0) << outcome.err;
    std::istringstream values(content("returned"));
    outcome.returned.assign(std::istream_iterator<int>(values), {});
    return outcome;
}

#endif
