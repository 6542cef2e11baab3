#ifndef BENCH_DAEMON_H
#define BENCH_DAEMON_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "bench.h"

namespace bench {

/// Makes the service's directories of this process, and of all that it starts from now on, those
/// in `sHome`: run, state and config.
void useHome(const std::string& sHome);

/// Killed with the object.
class Process {
public:
    explicit Process(pid_t pid) : m_pid(pid) {}
    ~Process();

    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    [[nodiscard]] pid_t pid() const { return m_pid; }

private:
    const pid_t m_pid;
};

/// A running daemon that has answered a first request. What a killed one left is in nobody's way.
class Daemon {
public:
    Daemon(const char* path, const std::string& sHome);

    [[nodiscard]] const std::string& socket() const { return m_sSocket; }
    [[nodiscard]] double residentMebibytes() const;
    /// Lets it end by itself.
    void shutDown();

private:
    const std::string m_sSocket;
    Process m_process;
};

/// A row for the start of the release daemon in a home.
[[nodiscard]] Figure measureStart(const std::string& sWith, const std::string& sHome,
                                  std::optional<double> aim = {});

}  // namespace bench

#endif
