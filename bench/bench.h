#ifndef BENCH_BENCH_H
#define BENCH_BENCH_H

#include <optional>
#include <string>
#include <vector>

namespace bench {

/// Time of one and the same thing in each round of a run. Rounds of a subject and of its floor take
/// turns, so that a busy machine slows both.
using RoundsT = std::vector<double>;

/// One row of the table.
struct Figure {
    std::string sWhat;
    double value;
    const char* unit;
    std::vector<double> ratios{};  ///< to the floor, round by round; empty without a floor
    std::optional<double> aim{};   ///< most that the median ratio, without one the value, is to be
};

/// @param values  not empty. @param share  0.5 for the median
[[nodiscard]] double quantile(std::vector<double> values, double share);
[[nodiscard]] inline double median(const std::vector<double>& values) {
    return quantile(values, 0.5);
}
/// A row for a subject that has a floor.
[[nodiscard]] Figure compare(const std::string& sWhat, const RoundsT& subject, const RoundsT& floor,
                             const char* unit, std::optional<double> aim);

/// Round trips through the socket of the release daemon, against the same requests to pingpong;
/// the daemon's memory and start. All on the core that this process is bound to, with the
/// directories that the environment names. Throws std::runtime_error when a server does not answer
/// as it should. Forks: called while this process has one thread.
/// @param sHome  directory for the floor's socket
[[nodiscard]] std::vector<Figure> measureRoundTrips(const std::string& sHome);

/// What rules and log records cost by themselves, in processor time of the calling thread. Makes
/// this process the service, short of dispatching; once.
/// @param sHome  directory for the log files
[[nodiscard]] std::vector<Figure> measureInProcess(const std::string& sHome);

/// The floor of every round trip: a bare epoll server that speaks the service's messages and keeps
/// the values in a hash table. Answers get and set; tells the connections that watch of every set,
/// after its answer. Checks nothing. Ends with its process.
/// @param listenFd  listening AF_UNIX stream socket
[[noreturn]] void servePingpong(int listenFd);

}  // namespace bench

#endif
