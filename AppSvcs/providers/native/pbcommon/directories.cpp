#include "directories.h"

#include <unistd.h>

#include <cstdlib>

namespace pbcommon {

namespace {

constexpr const char* kServiceName = "/appconfig";

std::string environment(const char* name) {
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

/// systemd gives a list of directories, joined by colons, when a unit names several.
std::string firstEntry(const std::string& sList) { return sList.substr(0, sList.find(':')); }

std::string under(const std::string& sBase, const std::string& sRest) {
    return sBase.empty() ? "" : sBase + sRest;
}

std::string systemRuntimeDirectory() { return under("/run", kServiceName); }
std::string userRuntimeDirectory() { return under(environment("XDG_RUNTIME_DIR"), kServiceName); }

/// A directory that outlives the login: what systemd gives, root's, or the user's.
std::string lastingDirectory(const char* given, const char* ofSystem, const char* xdgName,
                             const char* inHome) {
    std::string sGiven = firstEntry(environment(given));
    if (!sGiven.empty()) {
        return sGiven;
    }
    if (geteuid() == 0) {
        return under(ofSystem, kServiceName);
    }
    const std::string sXdg = environment(xdgName);
    return under(sXdg.empty() ? under(environment("HOME"), inHome) : sXdg, kServiceName);
}

}  // namespace

std::string runtimeDirectory() {
    std::string sGiven = firstEntry(environment("RUNTIME_DIRECTORY"));
    if (!sGiven.empty()) {
        return sGiven;
    }
    return geteuid() == 0 ? systemRuntimeDirectory() : userRuntimeDirectory();
}

std::string configurationDirectory() {
    return lastingDirectory("CONFIGURATION_DIRECTORY", "/etc", "XDG_CONFIG_HOME", "/.config");
}

std::string stateDirectory() {
    return lastingDirectory("STATE_DIRECTORY", "/var/lib", "XDG_STATE_HOME", "/.local/state");
}

std::string socketPath(const std::string& directory, const std::string& endpointName) {
    return directory + "/" + endpointName + ".sock";
}

std::vector<std::string> socketCandidates(const std::string& sGiven) {
    const std::string sOnly = sGiven.empty() ? environment("APPCONFIG_SOCKET") : sGiven;
    if (!sOnly.empty()) {
        return {sOnly};
    }
    std::vector<std::string> candidates;
    for (const std::string& sDirectory : {systemRuntimeDirectory(), userRuntimeDirectory()}) {
        if (!sDirectory.empty()) {
            candidates.push_back(socketPath(sDirectory, "appconfig"));
        }
    }
    return candidates;
}

}  // namespace pbcommon
