#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "bench.h"
#include "client.h"
#include "daemon.h"

namespace bench {

namespace {

constexpr int kRounds = 101;
constexpr int kTripsPerRound = 200;

pid_t forkPingpong(const std::string& sPath) {
    const int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(sPath);
    if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(fd, SOMAXCONN) != 0) {
        throw std::runtime_error("cannot listen on " + sPath);
    }
    const pid_t pid = fork();
    if (pid == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        servePingpong(fd);
    }
    close(fd);
    return pid;
}

std::vector<SubjectT> subjects() {
    SubjectT watched = acceptedSet("set until a watcher has read it, without the disk");
    watched.bWatched = true;
    watched.aim = 1.25;
    return {
        {"get", {getOf(kSnmp, kPort)}, pbcommon::kNoError, 0, false, 1.25},
        {"refused set", {setOf(kSnmp, kPort, "5060")}, pbcommon::kBadParameter, 0, false, 1.35},
        {"rehearsed set", {setOf(kSnmp, kPort, "8161", true)}, pbcommon::kNoError, 1, false, 1.35},
        acceptedSet("accepted set, without the disk"),
        recentCallsCascade("recent-calls cascade, of off and on, without the disk"),
        watched,
    };
}

void measure(const SubjectT& subject, const std::string& sFloorPath, const Daemon& daemon,
             std::vector<Figure>& figures) {
    Trips floor(sFloorPath, subject);
    Trips trips(daemon.socket(), subject);
    trips.check();
    RoundsT floorRounds;
    RoundsT rounds;
    for (int i = 0; i < kRounds; ++i) {
        floorRounds.push_back(floor.round(kTripsPerRound));
        rounds.push_back(trips.round(kTripsPerRound));
    }
    figures.push_back({.sWhat = std::string("pingpong: ") + subject.what,
                       .value = median(floorRounds),
                       .unit = "us"});
    figures.push_back(compare(subject.what, rounds, floorRounds, "us", subject.aim));
}

}  // namespace

std::vector<Figure> measureRoundTrips(const HomesT& homes) {
    std::vector<Figure> figures;
    const std::string sFloorPath = homes.sDisk + "/pingpong.sock";
    const Process pingpong(forkPingpong(sFloorPath));
    {
        const Daemon daemon(DAEMON_WITH_LOG, homes.sMemory);
        for (const SubjectT& subject : subjects()) {
            measure(subject, sFloorPath, daemon, figures);
        }
        figures.push_back({.sWhat = "resident memory of the daemon after this",
                           .value = daemon.residentMebibytes(),
                           .unit = "MiB",
                           .aim = 5});
    }
    {
        const Daemon daemon(DAEMON, homes.sMemory);
        measure({"refused set, log device as on this machine",
                 {setOf(kSnmp, kPort, "5060")},
                 pbcommon::kBadParameter,
                 0},
                sFloorPath, daemon, figures);
    }
    return figures;
}

}  // namespace bench
