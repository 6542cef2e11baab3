#include "peer.h"

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <vector>

#include "logmsg.h"

namespace PbUtility {

namespace {

/// A look-up takes a good part of a millisecond: whoever connects again and again causes few.
constexpr std::chrono::milliseconds kLookUpInterval{50};
constexpr std::size_t kMaxGroupBytes = std::size_t{1} << 20;  ///< of an entry, with all its members

/// @return 0, also when there is no such group; else the error that kept it from being found
int findGroup(const char* name, std::optional<gid_t>& gid) {
    std::vector<char> texts(1024);
    group entry{};
    group* found = nullptr;
    int nError = 0;
    while ((nError = getgrnam_r(name, &entry, texts.data(), texts.size(), &found)) == ERANGE &&
           texts.size() < kMaxGroupBytes) {
        texts.resize(2 * texts.size());
    }
    if (found != nullptr) {
        gid = found->gr_gid;
    }
    return nError;
}

/// The peer's supplementary groups.
eErrorT readGroups(int fd, std::vector<gid_t>& groups) {
    groups.resize(32);
    for (;;) {
        auto nBytes = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
        const int nResult = getsockopt(fd, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &nBytes);
        if (nResult != 0 && errno != ERANGE) {
            return kSystemCallFailed;
        }
        groups.resize(nBytes / sizeof(gid_t));  // on ERANGE: what it takes
        if (nResult == 0) {
            return kNoError;
        }
    }
}

}  // namespace

eErrorT PeerReader::read(int fd, Peer& peer) {
    ucred credentials{};
    socklen_t nBytes = sizeof(credentials);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &credentials, &nBytes) != 0) {
        return kSystemCallFailed;
    }
    AppConfig::SecurityRole role = AppConfig::kSystem;
    if (credentials.uid != 0 && credentials.uid != geteuid()) {
        const eErrorT result = roleOfMember(fd, credentials.gid, role);
        if (result != kNoError) {
            return result;
        }
    }
    peer = {.uid = credentials.uid, .pid = credentials.pid, .highestRole = role};
    return kNoError;
}

eErrorT PeerReader::roleOfMember(int fd, gid_t primary, AppConfig::SecurityRole& role) {
    lookUpGroups();
    std::vector<gid_t> memberOf;
    if (readGroups(fd, memberOf) != kNoError) {
        return kSystemCallFailed;
    }
    memberOf.push_back(primary);
    const auto has = [&memberOf](const std::optional<gid_t>& gid) {
        return gid && std::find(memberOf.begin(), memberOf.end(), *gid) != memberOf.end();
    };
    const auto place = std::find_if(m_gids.begin(), m_gids.end(), has) - m_gids.begin();
    role = place == std::ssize(m_gids) ? AppConfig::kUser : roleGroups[place].role;
    return kNoError;
}

void PeerReader::lookUpGroups() {
    const auto now = std::chrono::steady_clock::now();
    if (now < m_nextLookUp) {
        return;
    }
    m_nextLookUp = now + kLookUpInterval;
    bool bFailed = false;
    for (std::size_t i = 0; i < m_gids.size(); ++i) {
        const int nError = m_gids[i] ? 0 : findGroup(roleGroups[i].name, m_gids[i]);
        if (nError != 0 && !bFailed && !m_bLookUpFailed) {
            logerr("pbUtility", "cannot look up group %s: %s; treating it as empty\n",
                   roleGroups[i].name, strerror(nError));
        }
        bFailed |= nError != 0;
    }
    m_bLookUpFailed = bFailed;
}

}  // namespace PbUtility
