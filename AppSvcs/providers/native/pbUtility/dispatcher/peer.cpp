#include "peer.h"

#include <grp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace PbUtility {

namespace {

constexpr gid_t kNoGroup = static_cast<gid_t>(-1);

gid_t groupNamed(const char* name) {
    const group* const entry = getgrnam(name);
    return entry == nullptr ? kNoGroup : entry->gr_gid;
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
    if (!m_groups) {
        m_groups = {.admin = groupNamed(APPCONFIG_ADMIN_GROUP),
                    .provisioning = groupNamed(APPCONFIG_PROVISIONING_GROUP)};
    }
    std::vector<gid_t> memberOf;
    if (readGroups(fd, memberOf) != kNoError) {
        return kSystemCallFailed;
    }
    memberOf.push_back(primary);
    const auto isMember = [&memberOf](gid_t wanted) {
        return wanted != kNoGroup &&
               std::find(memberOf.begin(), memberOf.end(), wanted) != memberOf.end();
    };
    role = isMember(m_groups->provisioning) ? AppConfig::kProvisioning
           : isMember(m_groups->admin)      ? AppConfig::kAdmin
                                            : AppConfig::kUser;
    return kNoError;
}

}  // namespace PbUtility
