#include "recordingplatform.h"

#include <cxxabi.h>
#include <strings.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <typeinfo>

#include "logmsg.h"
#include "msgpass.h"

namespace RecordingPlatform {

Recording& recording() {
    static Recording theRecording;
    return theRecording;
}

const std::vector<std::string>& trace() { return recording().trace; }

namespace {

/// Adds a line to the trace. @return what the platform answers in this test
eErrorT note(std::string line) {
    recording().trace.push_back(std::move(line));
    return recording().answer;
}

using Text = const std::string&;

std::string withInstance(Text name, int instance) {
    return instance == 0 ? name : name + "[" + std::to_string(instance) + "]";
}

std::string address(Text node, int nodeInstance, Text var, int varInstance) {
    return withInstance(node, nodeInstance) + "/" + withInstance(var, varInstance);
}

/// Notes a read of the setting. @return its value; empty for one that the test did not fill
std::string read(const char* how, Text setting) {
    note(std::string(how) + " " + setting);
    const auto found = recording().values.find(setting);
    return found == recording().values.end() ? std::string() : found->second;
}

eErrorT write(Text setting, Text value, const ConfigResult* result) {
    recording().values[setting] = value;
    return note("set " + setting + "=" + value + (result == nullptr ? "" : " (result)"));
}

std::string roleName(const AppConfig::SecurityRole* role) {
    constexpr const char* names[] = {"user", "admin", "provisioning", "system", "startup"};
    return role == nullptr ? "-" : names[*role];
}

template <typename Handler>
eErrorT registerAs(const char* kind, Text setting, Handler* handler,
                   const AppConfig::AppCfgManager* manager,
                   std::multimap<std::string, Handler*>& registered) {
    registered.emplace(setting, handler);
    std::string type = "null";
    if (handler != nullptr) {
        const std::unique_ptr<char, decltype(&std::free)> name(
            abi::__cxa_demangle(typeid(*handler).name(), nullptr, nullptr, nullptr), &std::free);
        type = name.get();
    }
    return note(std::string("register ") + kind + " " + setting + " " + type +
                (manager == nullptr ? "" : " (manager)"));
}

int noteLog(const char* level, const char* component, const char* fmt, va_list ap) {
    char text[2048];
    const int length = vsnprintf(text, sizeof text, fmt, ap);
    note(std::string("log ") + level + " " + (component == nullptr ? "-" : component) + ": " +
         text);
    return length;
}

}  // namespace
}  // namespace RecordingPlatform

using namespace RecordingPlatform;  // the contract's operations below use nothing else

namespace AppConfig {

AppCfgManager* AppCfgManager::getInstance() {
    static AppCfgManager theStore;
    return recording().bStoreMissing ? nullptr : &theStore;
}

eErrorT AppCfgManager::setSecurityRole(SecurityRole role) {
    return note("role " + std::to_string(role));
}

eErrorT AppCfgManager::setPbInterface(PbUtility::PbUtils* pbInterface) {
    const bool bKnown = pbInterface != nullptr && pbInterface == recording().dispatcher;
    return note(bKnown ? "setPbInterface" : "setPbInterface (unknown)");
}

std::string AppCfgManager::getConfigVar(Text node, int nNode, Text var, int nVar) {
    return read("get", address(node, nNode, var, nVar));
}

bool AppCfgManager::getConfigVarBool(Text node, int nNode, Text var, int nVar) {
    return strcasecmp(read("bool", address(node, nNode, var, nVar)).c_str(), "true") == 0;
}

int AppCfgManager::getConfigVarInt(Text node, int nNode, Text var, int nVar) {
    const std::string value = read("int", address(node, nNode, var, nVar));
    using Limits = std::numeric_limits<int>;
    return static_cast<int>(
        std::clamp<long>(std::strtol(value.c_str(), nullptr, 10), Limits::min(), Limits::max()));
}

eErrorT AppCfgManager::setConfigVar(Text node, int nNode, Text var, int nVar, Text value,
                                    ConfigResult* result) {
    return write(address(node, nNode, var, nVar), value, result);
}

eErrorT AppCfgManager::setConfigVar(Text node, int nNode, Text var, int nVar, const char* value,
                                    ConfigResult* result) {
    return write(address(node, nNode, var, nVar), value, result);
}

eErrorT AppCfgManager::getConfigDefaultOptions(Text node, int nNode, Text var, int nVar,
                                               std::vector<std::string>& options) {
    const std::string setting = address(node, nNode, var, nVar);
    // appended, not assigned: a caller that does not pass an empty vector shows in what it writes
    const auto& defaults = recording().defaultOptions[setting];
    options.insert(options.end(), defaults.begin(), defaults.end());
    return note("defaults " + setting);
}

eErrorT AppCfgManager::setConfigOptions(Text node, int nNode, Text var, int nVar,
                                        const std::vector<std::string>& options) {
    const std::string setting = address(node, nNode, var, nVar);
    std::string list;
    for (Text option : options) list += (list.empty() ? "" : ",") + option;
    return note("options " + setting + "=" + list);
}

eErrorT AppCfgManager::setAccessLevels(const std::list<ConfigVar>& vars,
                                       const SecurityRole* roleRead, const SecurityRole* roleWrite,
                                       std::list<std::pair<ConfigVar, eErrorT>>& errors) {
    std::string line = "access " + roleName(roleRead) + "/" + roleName(roleWrite) + ":";
    for (ConfigVar var : vars) {  // a copy each: the readers are not const
        const std::string setting = address(var.getNodeName(), var.getNodeInstance(),
                                            var.getVarName(), var.getVarInstance());
        line += " " + setting;
        if (recording().answer != kNoError) errors.emplace_back(var, recording().answer);
    }
    return note(line);
}

}  // namespace AppConfig

eErrorT registerHandler(std::string nodeName, std::string varName, ProviderConfigHandler* handler,
                        AppConfig::AppCfgManager* manager) {
    return registerAs("provider", address(nodeName, 0, varName, 0), handler, manager,
                      recording().providers);
}

eErrorT registerHandler(std::string nodeName, std::string varName, ConsumerConfigHandler* handler,
                        AppConfig::AppCfgManager* manager) {
    return registerAs("consumer", address(nodeName, 0, varName, 0), handler, manager,
                      recording().consumers);
}

namespace PbUtility {

PbUtils::PbUtils(const std::string& endpointName, int nParam) : m_impl(nullptr) {
    recording().dispatcher = this;
    note("pb new " + endpointName + " " + std::to_string(nParam));
}

PbUtils::~PbUtils() { note("pb delete"); }

eErrorT PbUtils::start() { return note("pb start"); }

void PbUtils::readyToDispatchMessages(bool bReady) {
    note(std::string("pb ready ") + (bReady ? "1" : "0"));
}

void PbUtils::join() const { note("pb join"); }

}  // namespace PbUtility

void MSG_DebugSetName(const char* name) { note(std::string("debugname ") + name); }

#define RECORD_LOG_LEVEL(name)                                   \
    int log##name(const char* component, const char* fmt, ...) { \
        va_list ap;                                              \
        va_start(ap, fmt);                                       \
        const int length = noteLog(#name, component, fmt, ap);   \
        va_end(ap);                                              \
        return length;                                           \
    }

RECORD_LOG_LEVEL(crit)
RECORD_LOG_LEVEL(err)
RECORD_LOG_LEVEL(warn)
RECORD_LOG_LEVEL(info)
RECORD_LOG_LEVEL(debug)
