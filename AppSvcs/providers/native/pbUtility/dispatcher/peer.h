#ifndef PBUTILITY_DISPATCHER_PEER_H
#define PBUTILITY_DISPATCHER_PEER_H

#include <sys/types.h>

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
/// that does not exist has no members.
class PeerReader {
public:
    /// @param fd    connected AF_UNIX stream socket; borrowed
    /// @param peer  set on kNoError only
    /// @return kNoError; kSystemCallFailed (errno kept)
    [[nodiscard]] eErrorT read(int fd, Peer& peer);

private:
    struct RoleGroups {
        gid_t admin;
        gid_t provisioning;
    };

    [[nodiscard]] eErrorT roleOfMember(int fd, gid_t primary, AppConfig::SecurityRole& role);

    // looked up for the first peer that needs them, for that loads the system's name services; a
    // group made later counts from the next start
    std::optional<RoleGroups> m_groups;
};

}  // namespace PbUtility

#endif
