#ifndef CONFIG_INCLUDE_SECURITYROLE_H
#define CONFIG_INCLUDE_SECURITYROLE_H

namespace AppConfig {

/// Who is asking; as a read or write level, the lowest role that may. A higher role includes all
/// lower ones.
enum SecurityRole : int {
    kUser = 0,          ///< lowest role; as a level: everyone
    kAdmin = 1,         ///< administrator
    kProvisioning = 2,  ///< provisioning server
    kSystem = 3,        ///< the system itself; as a read level it hides a variable from every
                        ///< user role, as a write level it makes it read-only for them
    kStartup = 4,       ///< the role the service declares to the store for its own reads and writes
};

}  // namespace AppConfig

#endif
