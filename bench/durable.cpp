#include <sys/epoll.h>
#include <unistd.h>

#include <cstdint>
#include <list>
#include <stdexcept>

#include "bench.h"
#include "client.h"
#include "daemon.h"
#include "disk/databasefile.h"
#include "disk/sqlite.h"

namespace bench {

namespace {

using AppConfig::ConnectionT;
using AppConfig::sqlite::Statement;

constexpr int kRounds = 31;
constexpr int kCommitsPerRound = 100;
constexpr int kChangesPerRound = 50;  ///< of each client, of a crowd
/// SQLite writes back into the database after so many pages, and from then on over the same ones.
constexpr int kPagesToCheckpoint = 1000;
constexpr int kFullHistory = 10'500;  ///< changes until old ones are dropped for new ones

ConnectionT openDatabase(const std::string& sPath) {
    sqlite3* opened = nullptr;
    (void)sqlite3_open(sPath.c_str(), &opened);
    ConnectionT connection(opened);
    if (sqlite3_exec(opened,
                     "PRAGMA locking_mode = EXCLUSIVE;"
                     "PRAGMA synchronous = FULL;"
                     "PRAGMA cache_size = -64;"
                     "PRAGMA temp_store = MEMORY;"
                     "PRAGMA journal_mode = WAL;"
                     "CREATE TABLE setting (variable TEXT PRIMARY KEY, content TEXT) WITHOUT ROWID",
                     nullptr, nullptr, nullptr) != SQLITE_OK) {
        throw std::runtime_error("cannot make " + sPath);
    }
    return connection;
}

/// The floor of every durable change: SQLite as the store sets it up, one row a commit.
class Commits {
public:
    explicit Commits(const std::string& sPath)
        : m_connection(openDatabase(sPath)),
          m_put(m_connection.get(), "INSERT OR REPLACE INTO setting VALUES (?, ?)") {
        perSecond(kPagesToCheckpoint + kCommitsPerRound);
    }

    /// The median time of one, us.
    double round() {
        std::vector<double> times;
        for (int i = 0; i < kCommitsPerRound; ++i) {
            const Clock::time_point begin = Clock::now();
            commit();
            times.push_back(microseconds(Clock::now() - begin));
        }
        return median(times);
    }
    double perSecond(int nCommits) {
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < nCommits; ++i) {
            commit();
        }
        return nCommits * 1e6 / microseconds(Clock::now() - begin);
    }

private:
    void commit() {
        if (m_put.with("management.snmp.listeningport", std::to_string(++m_nValue)).run() !=
            SQLITE_OK) {
            throw std::runtime_error("the floor cannot commit");
        }
    }

    ConnectionT m_connection;
    Statement m_put;
    int m_nValue = 10000;
};

/// Clients that each send the next change when the last is answered. All set one variable, none to
/// a value that another sets or itself has set last: each makes a change.
class Crowd {
public:
    Crowd(const Daemon& daemon, int nClients)
        : m_daemon(daemon), m_epollFd(epoll_create1(EPOLL_CLOEXEC)) {
        for (int i = 0; i < nClients; ++i) {
            const int nPort = 10000 + 2 * i;
            Member& member = m_members.emplace_back(daemon.socket());
            member.sNext = frameOf(setOf(kSnmp, kPort, std::to_string(nPort)));
            member.sAfterNext = frameOf(setOf(kSnmp, kPort, std::to_string(nPort + 1)));
            epoll_event wanted{.events = EPOLLIN, .data = {.ptr = &member}};
            epoll_ctl(m_epollFd, EPOLL_CTL_ADD, member.client.fd(), &wanted);
        }
    }
    ~Crowd() { close(m_epollFd); }

    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    double perSecond(int nChanges) {
        const std::uint64_t nBefore = revision();
        const Clock::time_point begin = Clock::now();
        int nToSend = nChanges;
        for (Member& member : m_members) {
            member.sendIfAny(nToSend);
        }
        for (int nAnswered = 0; nAnswered < nChanges;) {
            epoll_event ready[kAtOnce];
            const int nReady = epoll_wait(m_epollFd, ready, kAtOnce, -1);
            for (int i = 0; i < nReady; ++i, ++nAnswered) {
                Member& member = *static_cast<Member*>(ready[i].data.ptr);
                member.client.receive();
                member.sendIfAny(nToSend);
            }
        }
        const double time = microseconds(Clock::now() - begin);
        if (revision() != nBefore + static_cast<std::uint64_t>(nChanges)) {
            throw std::runtime_error("not every answer was that of a change");
        }
        return nChanges * 1e6 / time;
    }
    double round() { return perSecond(static_cast<int>(m_members.size()) * kChangesPerRound); }

private:
    static constexpr int kAtOnce = 64;

    struct Member {
        explicit Member(const std::string& sPath) : client(sPath) {}

        void sendIfAny(int& nToSend) {
            if (nToSend > 0) {
                --nToSend;
                client.send(sNext);
                std::swap(sNext, sAfterNext);
            }
        }

        Client client;
        std::string sNext{};
        std::string sAfterNext{};
    };

    [[nodiscard]] std::uint64_t revision() const {
        pbcommon::Request watch;
        watch.mutable_watch()->set_pattern("*");
        return Client(m_daemon.socket()).ask(watch).watch().revision();
    }

    const Daemon& m_daemon;
    const int m_epollFd;
    std::list<Member> m_members;
};

struct AllRoundsT {
    // us
    RoundsT commitInMemory, commit, change, cascade;
    // a second
    RoundsT commits, changesOfTen, changesOfFifty;
};

AllRoundsT runRounds(const HomesT& homes, const Daemon& daemon) {
    Commits commitsInMemory(homes.sMemory + "/commit.db");
    Commits commits(homes.sDisk + "/commit.db");
    Trips changes(daemon.socket(), acceptedSet("accepted set"));
    Trips cascades(daemon.socket(), recentCallsCascade("recent-calls cascade"));
    Crowd ten(daemon, 10);
    Crowd fifty(daemon, 50);
    fifty.perSecond(kFullHistory);
    changes.check();
    cascades.check();
    AllRoundsT rounds;
    for (int i = 0; i < kRounds; ++i) {
        rounds.commitInMemory.push_back(commitsInMemory.round());
        rounds.commit.push_back(commits.round());
        rounds.change.push_back(changes.round(kCommitsPerRound));
        rounds.cascade.push_back(cascades.round(kCommitsPerRound / 2));
        rounds.commits.push_back(commits.perSecond(kCommitsPerRound));
        rounds.changesOfTen.push_back(ten.round());
        rounds.changesOfFifty.push_back(fifty.round());
    }
    return rounds;
}

void addFigures(const AllRoundsT& rounds, std::vector<Figure>& figures) {
    figures.push_back({.sWhat = "commit, without the disk",
                       .value = median(rounds.commitInMemory),
                       .unit = "us"});
    figures.push_back({.sWhat = "commit", .value = median(rounds.commit), .unit = "us"});
    figures.push_back(compare("accepted set, durable", rounds.change, rounds.commit, "us", 1.10));
    figures.push_back(compare("recent-calls cascade, durable, to the accepted set", rounds.cascade,
                              rounds.change, "us", 1.60));
    figures.push_back({.sWhat = "commits", .value = median(rounds.commits), .unit = "/s"});
    Figure ten =
        compare("durable changes of 10 clients", rounds.changesOfTen, rounds.commits, "/s", 6);
    Figure fifty =
        compare("durable changes of 50 clients", rounds.changesOfFifty, rounds.commits, "/s", 18);
    ten.bAimIsLeast = fifty.bAimIsLeast = true;
    figures.insert(figures.end(), {ten, fifty});
}

}  // namespace

std::vector<Figure> measureDurable(const HomesT& homes) {
    std::vector<Figure> figures;
    {
        const Daemon daemon(DAEMON_WITH_LOG, homes.sDisk);
        addFigures(runRounds(homes, daemon), figures);
        figures.push_back({.sWhat = "resident memory with a full history, after this",
                           .value = daemon.residentMebibytes(),
                           .unit = "MiB",
                           .aim = 5});
    }
    figures.push_back(measureStart(" with a full history, after a kill", homes.sDisk));
    Daemon(DAEMON, homes.sDisk).shutDown();
    figures.push_back(measureStart(" with a full history", homes.sDisk));
    return figures;
}

}  // namespace bench
