#include <filesystem>
#include <fstream>

#include "bench.h"
#include "client.h"
#include "daemon.h"

namespace bench {

namespace {

constexpr int kRounds = 51;
constexpr int kTripsPerRound = 100;

/// A home whose configuration adds so many variables to the room system's own.
std::string makeHome(const std::string& sIn, int nMore) {
    const std::string sHome = sIn + "/" + std::to_string(nMore);
    std::filesystem::create_directories(sHome + "/config");
    std::ofstream schema(sHome + "/config/more.textproto");
    for (int i = 0; i < nMore; ++i) {
        schema
            << "variable { node: \"more.part" << i / 100 << "\" name: \"setting" << i % 100
            << "\" kind: INTEGER maximum: 65535 default_value: \"1\" read: kUser write: kUser }\n";
    }
    return sHome;
}

void measureWith(int nMore, const std::string& sPlainHome, const std::string& sHome,
                 std::vector<Figure>& figures) {
    const std::string sWith = " with " + std::to_string(nMore) + " more variables";
    const SubjectT change = acceptedSet("set");
    figures.push_back(measureStart(sWith, sHome));
    {
        const Daemon plainDaemon(DAEMON_WITH_LOG, sPlainHome);
        const Daemon daemon(DAEMON_WITH_LOG, sHome);
        Trips plainTrips(plainDaemon.socket(), change);
        Trips trips(daemon.socket(), change);
        trips.check();
        RoundsT floor;
        RoundsT rounds;
        for (int i = 0; i < kRounds; ++i) {
            floor.push_back(plainTrips.round(kTripsPerRound));
            rounds.push_back(trips.round(kTripsPerRound));
        }
        figures.push_back(
            compare(change.what + sWith + ", to none more, without the disk", rounds, floor, "us"));
        figures.push_back({.sWhat = "resident memory" + sWith,
                           .value = daemon.residentMebibytes(),
                           .unit = "MiB"});
    }
}

Figure sizeOf(const char* program) {
    const auto nBytes = std::filesystem::file_size(std::string(STRIPPED) + program);
    return {.sWhat = std::string("size of ") + program + ", stripped",
            .value = static_cast<double>(nBytes) / (1 << 20),
            .unit = "MiB"};
}

}  // namespace

std::vector<Figure> measureGrowth(const HomesT& homes) {
    std::vector<Figure> figures{measureStart("", homes.sDisk + "/new", 5)};
    const std::string sPlainHome = makeHome(homes.sMemory, 0);
    for (const int nMore : {100, 1000, 10000}) {
        measureWith(nMore, sPlainHome, makeHome(homes.sMemory, nMore), figures);
    }
    figures.push_back(sizeOf("appconfig"));
    figures.push_back(sizeOf("cfgctl"));
    return figures;
}

}  // namespace bench
