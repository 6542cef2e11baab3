#ifndef BENCH_CLIENT_H
#define BENCH_CLIENT_H

#include <sys/un.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "messages.pb.h"

namespace bench {

[[nodiscard]] sockaddr_un addressOf(const std::string& sPath);
[[nodiscard]] std::string frameOf(const pbcommon::Request& request);

// variables that are measured with
inline constexpr const char* kSnmp = "management.snmp";
inline constexpr const char* kPort = "listeningport";
inline constexpr const char* kRecentCalls = "uicontrol.apps.recentcalls";

[[nodiscard]] pbcommon::Request getOf(const char* node, const char* variable);
[[nodiscard]] pbcommon::Request setOf(const char* node, const char* variable,
                                      const std::string& sValue, bool bDryRun = false);

/// One connection. Throws std::runtime_error when its server does not take or answer a request.
class Client {
public:
    explicit Client(const std::string& sPath);
    ~Client();

    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    [[nodiscard]] bool isConnected() const { return m_bConnected; }
    [[nodiscard]] int fd() const { return m_fd; }

    void send(const std::string& sFrame) const;
    /// The next message, valid until the one after. There is never more than one on the way.
    std::string_view receive();
    pbcommon::Reply ask(const pbcommon::Request& request);

private:
    int m_fd;
    bool m_bConnected = false;
    char m_input[1 << 16];
};

struct SubjectT {
    const char* what;
    std::vector<pbcommon::Request> requests;  ///< sent in turn; what is taken is the time of one
    pbcommon::ErrorCode code;                 ///< that the daemon must answer
    int nEffects;                             ///< that it must report at least
    bool bWatched = false;  ///< the time ends when another connection has read of it
    std::optional<double> aim{};
};

/// Accepted sets of one variable, in turn, so that each changes something.
[[nodiscard]] SubjectT acceptedSet(const char* what);
[[nodiscard]] SubjectT recentCallsCascade(const char* what);

/// The round trips of a subject to one server, with a second connection that watches it when the
/// subject is watched.
class Trips {
public:
    Trips(const std::string& sPath, SubjectT subject);

    /// Sends all requests once; throws unless each is answered as the subject says.
    void check();
    /// The median time of `nTrips`, us.
    double round(int nTrips);

private:
    double trip(const std::string& sFrame);

    const SubjectT m_subject;
    Client m_client;
    std::optional<Client> m_watcher;
    std::vector<std::string> m_frames;
};

}  // namespace bench

#endif
