#ifndef PBUTILITY_DISPATCHER_PEER_H
#define PBUTILITY_DISPATCHER_PEER_H

#include <sys/types.h>

#include <chrono>
#include <optional>

#include "ErrTypes.h"
#include "SecurityRole.h"

namespace PbUtility {

/// The process at the other end of a connection.
struct Peer {
    uid_t uid = 0;
    pid_t pid = 0;
    AppConfig::SecurityRole highestRole = AppConfig::kUser;
};

/// Tells who is connected. Taken once per connection from the kernel's peer credentials; nothing
/// the peer sends can raise the role. Root and the service's own user may act up to kSystem,
/// members of the groups that this build names up to their role, everyone else as kUser. A group
/// that does not exist, or cannot be looked up, has no members; it is looked up again, at most 20
/// times a second, for later peers, so that one made later counts. One that was found is kept: what
/// a name service has said once is not asked for with every connection.
class PeerReader {
public:
    PeerReader();

    /// @param fd    connected AF_UNIX stream socket; borrowed
    /// @param peer  set on kNoError only
    /// @return kNoError; kSystemCallFailed (errno kept)
    [[nodiscard]] eErrorT read(int fd, Peer& peer);

private:
    struct RoleGroup {
        const char* name;
        AppConfig::SecurityRole role;  ///< of its members
        std::optional<gid_t> gid;      ///< once it is found, for the first peer that needs it
    };

    [[nodiscard]] eErrorT roleOfMember(int fd, gid_t primary, AppConfig::SecurityRole& role);
    void lookUpGroups();

    RoleGroup m_groups[2];  ///< the highest role first
    std::chrono::steady_clock::time_point m_nextLookUp;
    bool m_bLookUpFailed = false;  ///< and has been logged
};

}  // namespace PbUtility

#endif
