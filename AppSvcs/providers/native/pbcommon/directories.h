#ifndef PBCOMMON_DIRECTORIES_H
#define PBCOMMON_DIRECTORIES_H

#include <string>
#include <vector>

namespace pbcommon {

/// Where the service keeps what it needs, after systemd's convention: the environment variables
/// RUNTIME_DIRECTORY, CONFIGURATION_DIRECTORY and STATE_DIRECTORY (the first entry of a list), else
/// the system's places for root, else the XDG directories of the user. An empty text means that the
/// environment names no place. None of them is made here.
[[nodiscard]] std::string runtimeDirectory();        ///< /run/appconfig, $XDG_RUNTIME_DIR/appconfig
[[nodiscard]] std::string configurationDirectory();  ///< /etc/appconfig, ~/.config/appconfig
[[nodiscard]] std::string stateDirectory();  ///< /var/lib/appconfig, ~/.local/state/appconfig

/// The socket of an endpoint in a runtime directory.
[[nodiscard]] std::string socketPath(const std::string& directory, const std::string& endpointName);

/// Sockets where a client may find the service, in the order to try: only `sGiven`, unless that is
/// empty; only that of the environment variable APPCONFIG_SOCKET, where it is set; else the
/// system's, then the user's. RUNTIME_DIRECTORY counts for nothing: systemd sets it for every
/// service that has one, and names that service's own.
[[nodiscard]] std::vector<std::string> socketCandidates(const std::string& sGiven);

}  // namespace pbcommon

#endif
