#ifndef CONFIG_INCLUDE_APPCFGMANAGER_H
#define CONFIG_INCLUDE_APPCFGMANAGER_H

#include <list>
#include <string>
#include <utility>
#include <vector>

#include "ErrTypes.h"
#include "SecurityRole.h"
#include "cfgresult.h"
#include "cfgvar.h"

namespace PbUtility {
class PbUtils;
}

namespace AppConfig {

class ConfigStore;

/// The configuration store, as the service sees it: the current value, offered options and access
/// level of every variable. One instance for the process; the service and its handlers borrow it.
///
/// Threads: the main thread until message dispatching is enabled, from then on the dispatcher's
/// thread only. Nothing here locks.
///
/// A variable is addressed by node name, node instance, variable name, variable instance. Reads of
/// a variable that the store does not hold give "", false and 0. Writes are the service's own: held
/// to the variable's kind and default options, not to narrowed options nor to access levels, and
/// not offered to `isValid`.
class AppCfgManager {
public:
    /// What a submit notification announces.
    enum SubmitNtfyType { kSubmitStart = 0, kSubmitEnd = 1 };

    /// The process's store; the same instance on every call, alive until the process ends. Where
    /// another process works on the store's state, that is logged and this process exits with
    /// status 0.
    static AppCfgManager* getInstance();

    /// Role in which the service acts towards the store: what handlers are given as the role of a
    /// change that the service itself made. @return kNoError
    eErrorT setSecurityRole(AppConfig::SecurityRole role);

    /// Lets requests that come in through `pbInterface` reach the store.
    /// @param pbInterface  borrowed; outlives all dispatching
    /// @return kNoError; kBadParameter (null)
    eErrorT setPbInterface(PbUtility::PbUtils* pbInterface);

    /// The value exactly as stored.
    std::string getConfigVar(const std::string& node, int nodeInstance, const std::string& var,
                             int varInstance);
    /// True for "true" in any letter case, false for every other text.
    bool getConfigVarBool(const std::string& node, int nodeInstance, const std::string& var,
                          int varInstance);
    /// The decimal number that the value starts with, held to the range of int; 0 without one.
    int getConfigVarInt(const std::string& node, int nodeInstance, const std::string& var,
                        int varInstance);

    /// Stores `value`. The notifications that this causes run after the handler call in progress.
    /// @param result  filled with the outcome; may be null
    /// @return kNoError; kItemNotFound (no such variable); kBadParameter (not a value of its kind,
    ///         or not among its default options)
    eErrorT setConfigVar(const std::string& node, int nodeInstance, const std::string& var,
                         int varInstance, const std::string& value, ConfigResult* result);
    eErrorT setConfigVar(const std::string& node, int nodeInstance, const std::string& var,
                         int varInstance, const char* value, ConfigResult* result);

    /// Fills `options` with the variable's complete default option list, in its order; empty for a
    /// variable that has none.
    /// @return kNoError; kItemNotFound
    eErrorT getConfigDefaultOptions(const std::string& node, int nodeInstance,
                                    const std::string& var, int varInstance,
                                    std::vector<std::string>& options);

    /// From now on the variable offers exactly `options`, in that order. The value stays as it is,
    /// even when it is no longer offered.
    /// @return kNoError; kItemNotFound; kBadParameter (an entry that is not a default option)
    eErrorT setConfigOptions(const std::string& node, int nodeInstance, const std::string& var,
                             int varInstance, const std::vector<std::string>& options);

    /// Gives every variable of `vars` the same access level.
    /// @param roleRead   lowest role that may see the variables; null leaves it as it is
    /// @param roleWrite  lowest role that may change them; null leaves it as it is
    /// @param errors     a pair is added for every variable that could not be changed; the others
    ///                   are changed all the same
    /// @return kNoError; else the code of the last pair added
    eErrorT setAccessLevels(const std::list<ConfigVar>& vars,
                            const AppConfig::SecurityRole* roleRead,
                            const AppConfig::SecurityRole* roleWrite,
                            std::list<std::pair<ConfigVar, eErrorT>>& errors);

private:
    friend class ConfigStore;

    AppCfgManager() = default;

    ConfigStore* m_impl = nullptr;
};

}  // namespace AppConfig

#endif
