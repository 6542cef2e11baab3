#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdio>
#include <list>
#include <map>

#include "AppConfigServiceProvider.h"
#include "SNMPConfigHandler.h"
#include "bench.h"
#include "daemon.h"
#include "logmsg.h"
#include "ospaths.h"
#include "service.h"

namespace bench {

namespace {

using benchmark::State;

constexpr int kRounds = 41;
constexpr double kRoundSeconds = 0.01;

void validateListeningPort(State& state) {
    AppConfigProvider::SNMPConfigHandler handler;
    const std::list<std::string> values{"8161"};
    for (auto _ : state) {
        ConfigResult result;
        benchmark::DoNotOptimize(handler.isValid("management.snmp", 0, "listeningport", 0, values,
                                                 AppConfig::kAdmin, result));
    }
}

/// One iteration is two changes: off and on.
void switchRecentCalls(State& state) {
    AppConfig::ConfigStore& store = AppConfig::Service::process().store();
    const pbcommon::Requester requester{.role = AppConfig::kAdmin, .sClient = "bench"};
    for (auto _ : state) {
        for (const char* const value : {"false", "true"}) {
            const AppConfig::Proposal proposals[] = {
                {.address = {"uicontrol.apps.recentcalls", 0, "enabled", 0}, .sValue = value}};
            AppConfig::Transaction change = store.begin(requester, AppConfig::Mode::kCommit);
            if (change.apply(proposals).code != kNoError || change.record().effects.size() < 2 ||
                change.keep() == 0 || store.commit() != kNoError) {
                state.SkipWithError("no cascade");
                return;
            }
            store.release();
        }
    }
}

/// Keeps the times of all rounds, in ns an iteration.
class Collector : public benchmark::BenchmarkReporter {
public:
    bool ReportContext(const Context& /*context*/) override { return true; }
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.error_occurred) {
                std::fprintf(stderr, "%s\n", run.error_message.c_str());
            } else if (run.run_type == Run::RT_Iteration) {
                m_rounds[run.run_name.function_name].push_back(run.GetAdjustedCPUTime());
            }
        }
    }
    /// Runs all that is enlisted, its rounds in random order, and forgets it.
    void run() {
        benchmark::RunSpecifiedBenchmarks(this);
        benchmark::ClearRegisteredBenchmarks();
    }
    [[nodiscard]] const RoundsT& of(const std::string& sName) const { return m_rounds.at(sName); }

private:
    std::map<std::string, RoundsT> m_rounds;
};

template <typename Function>
void enlist(const std::string& sName, Function function) {
    benchmark::RegisterBenchmark(sName.c_str(), function)
        ->Repetitions(kRounds)
        ->MinTime(kRoundSeconds);
}

/// The same bytes by the log facility, and by snprintf() and write(): the floor.
template <typename... Arguments>
void enlistRecord(const std::string& sName, int fd, const char* format, Arguments... arguments) {
    enlist(sName, [=](State& state) {
        for (auto _ : state) {
            logmsg(LOG_DEBUG, "appconfig", format, arguments...);
        }
    });
    const std::string sWhole = std::string("<%d>%s: hd[%x]: %s: ") + format;
    enlist(sName + " floor", [=](State& state) {
        char record[2048];
        for (auto _ : state) {
            const int nLength = std::snprintf(record, sizeof(record), sWhole.c_str(), LOG_DEBUG,
                                              "AppConfig", 0U, "appconfig", arguments...);
            benchmark::DoNotOptimize(write(fd, record, static_cast<std::size_t>(nLength)));
        }
    });
}

int openForWriting(const std::string& sPath) {
    return open(sPath.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
}

/// Two paths: of two who write a page of one file, the second finds it made.
void measureRecords(const std::string& sPath, const std::string& sFloorPath, const char* target,
                    double aim, std::vector<Figure>& figures) {
    close(openForWriting(sPath));
    gLogDevicePath = sPath.c_str();
    logmsg_init(0, "AppConfig");
    const int fd = openForWriting(sFloorPath);
    const char* const text = "log record, text";
    const char* const numbers = "log record, two numbers";
    const char* const texts = "log record, three texts";
    enlistRecord(text, fd, "SNMPConfigHandler::isValid() \n");
    enlistRecord(numbers, fd, "isValid? : CFGVAR_LISTENINGPORT = %d, to set %d \n", 161, 8161);
    enlistRecord(texts, fd, "refused %s to %s: %s\n", "management.snmp.listeningport",
                 "uid 0, process 4711 (cfgctl), role system",
                 "kBadParameter (-3) ERR_SNMP_INVALID_PORT");
    Collector collector;
    collector.run();
    close(fd);
    for (const std::string name : {text, numbers, texts}) {
        figures.push_back(compare(name + ", to " + target, collector.of(name),
                                  collector.of(name + " floor"), "ns", aim));
    }
}

}  // namespace

std::vector<Figure> measureInProcess(const HomesT& homes) {
    char name[] = "appconfig_bench";
    char interleaving[] = "--benchmark_enable_random_interleaving=true";
    char* arguments[] = {name, interleaving, nullptr};
    int nArguments = 2;
    benchmark::Initialize(&nArguments, arguments);

    gLogDevicePath = "/dev/null";
    logmsg_init(0, "AppConfig");
    useHome(homes.sMemory + "/inprocess");
    AppConfigProvider::AppConfigServiceProvider::getInstance()->initialize();
    AppConfig::Service::process().store().commitServiceWrites();
    enlist("valid", validateListeningPort);
    enlist("cascade", switchRecentCalls);
    Collector collector;
    collector.run();
    std::vector<Figure> figures{
        {.sWhat = "SNMPConfigHandler::isValid of a listening port",
         .value = median(collector.of("valid")),
         .unit = "ns"},
        {.sWhat = "recent-calls cascade in the store, without the disk",
         .value = median(collector.of("cascade")) / 2,
         .unit = "ns"},
    };
    measureRecords("/dev/null", "/dev/null", "the null device", 0.75, figures);
    measureRecords(homes.sDisk + "/log", homes.sDisk + "/floor", "a file", 0.85, figures);
    return figures;
}

}  // namespace bench
