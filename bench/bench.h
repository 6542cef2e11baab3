#ifndef BENCH_BENCH_H
#define BENCH_BENCH_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

[[nodiscard]] inline double microseconds(Clock::duration time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

/// Time of one and the same thing, or its rate, in each round of a run. Rounds of a subject and of
/// its floor take turns, so that a busy machine slows both.
using RoundsT = std::vector<double>;

/// One row of the table.
struct Figure {
    std::string sWhat;
    double value;
    const char* unit;
    std::vector<double> ratios{};  ///< to the floor, round by round; empty without a floor
    std::optional<double> aim{};   ///< most that the median ratio, without one the value, is to be
    bool bAimIsLeast = false;      ///< least, instead
};

/// @param values  not empty. @param share  0.5 for the median
[[nodiscard]] double quantile(std::vector<double> values, double share);
[[nodiscard]] inline double median(const std::vector<double>& values) {
    return quantile(values, 0.5);
}
/// A row for a subject that has a floor.
[[nodiscard]] Figure compare(const std::string& sWhat, const RoundsT& subject, const RoundsT& floor,
                             const char* unit, std::optional<double> aim = {});

/// Empty directories for what a measurement needs. "Without the disk" in a row is in memory.
struct HomesT {
    std::string sDisk;
    std::string sMemory;  ///< on a file system in memory
};

// All of them on the core that this process is bound to. Those that start servers throw
// std::runtime_error when one does not answer as it should, and are called while this process has
// one thread.

/// Round trips through the socket of the release daemon, against the same requests to pingpong.
[[nodiscard]] std::vector<Figure> measureRoundTrips(const HomesT& homes);

/// Changes on the disk against the floor commit, which is SQLite alone; one client, and many at
/// once. The history is full, as that of a daemon is that has run for a while.
[[nodiscard]] std::vector<Figure> measureDurable(const HomesT& homes);

/// The daemon's changes, memory and start with more variables; the size of the programs.
[[nodiscard]] std::vector<Figure> measureGrowth(const HomesT& homes);

/// What rules and log records cost by themselves, in processor time of the calling thread. Makes
/// this process the service, short of dispatching; once.
[[nodiscard]] std::vector<Figure> measureInProcess(const HomesT& homes);

/// The floor of every round trip: a bare epoll server that speaks the service's messages and keeps
/// the values in a hash table. Answers get and set; tells the connections that watch of every set,
/// after its answer. Checks nothing. Ends with its process.
/// @param listenFd  listening AF_UNIX stream socket
[[noreturn]] void servePingpong(int listenFd);

}  // namespace bench

#endif
