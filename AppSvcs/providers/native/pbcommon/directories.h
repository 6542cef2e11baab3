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

/// Sockets where a client may find the endpoint, most likely first: that of runtimeDirectory(),
/// and, when no environment variable names the place, the system's.
[[nodiscard]] std::vector<std::string> socketCandidates(const std::string& endpointName);

}  // namespace pbcommon

#endif
