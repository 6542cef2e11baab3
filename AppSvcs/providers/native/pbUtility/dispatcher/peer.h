#ifndef PBUTILITY_DISPATCHER_PEER_H
#define PBUTILITY_DISPATCHER_PEER_H

#include <sys/types.h>

#include <array>
#include <chrono>
#include <iterator>
#include <optional>

#include "ErrTypes.h"
#include "SecurityRole.h"

namespace PbUtility {

/// A group of this build, and the role that its members may act in.
struct RoleGroupT {
    const char* name;
    AppConfig::SecurityRole role;
};
inline constexpr RoleGroupT roleGroups[] = {
    // the highest role first
    {APPCONFIG_PROVISIONING_GROUP, AppConfig::kProvisioning},
    {APPCONFIG_ADMIN_GROUP, AppConfig::kAdmin},
};

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
    /// @param fd    connected AF_UNIX stream socket; borrowed
    /// @param peer  set on kNoError only
    /// @return kNoError; kSystemCallFailed (errno kept)
    [[nodiscard]] eErrorT read(int fd, Peer& peer);

private:
    [[nodiscard]] eErrorT roleOfMember(int fd, gid_t primary, AppConfig::SecurityRole& role);
    void lookUpGroups();

    /// Of each of roleGroups, once it is found, for the first peer that needs it.
    std::array<std::optional<gid_t>, std::size(roleGroups)> m_gids;
    std::chrono::steady_clock::time_point m_nextLookUp;
    bool m_bLookUpFailed = false;  ///< and has been logged
};

}  // namespace PbUtility

#endif
