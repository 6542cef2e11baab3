#ifndef CONFIG_INCLUDE_CFGHANDLER_H
#define CONFIG_INCLUDE_CFGHANDLER_H

#include <list>
#include <string>

#include "ErrTypes.h"
#include "SecurityRole.h"
#include "appcfgmanager.h"
#include "cfgresult.h"

/// Decides about proposed values of the variables it is registered for, and carries the accepted
/// ones over to dependent settings. The store calls it, on the dispatcher's thread, one call at a
/// time. `sValues` holds one element for a single-valued variable.
class ProviderConfigHandler {
public:
    virtual ~ProviderConfigHandler() = default;

    /// Verdict on a proposed value, before it is stored. Changes nothing.
    /// @param role       the requester's role
    /// @param cfgResult  filled with the code and tags that the requester receives
    /// @return true accepts, false refuses
    virtual bool isValid(const std::string& /*sNode*/, int /*nNodeInstance*/,
                         const std::string& /*sVariable*/, int /*nVarInstance*/,
                         const std::list<std::string>& /*sValues*/,
                         AppConfig::SecurityRole /*role*/, ConfigResult& /*cfgResult*/) {
        return true;
    }

    /// Called once the accepted value has been stored.
    virtual void onSet(const std::string& /*sNode*/, int /*nNodeInstance*/,
                       const std::string& /*sVariable*/, int /*nVarInstance*/,
                       const std::list<std::string>& /*sValues*/, AppConfig::SecurityRole /*role*/,
                       ConfigResult& /*cfgResult*/) {}
};

/// Is notified of changes of the variables it is registered for. Each kind of notification is
/// delivered only while its flag is set. Called as ProviderConfigHandler is.
class ConsumerConfigHandler {
public:
    /// Wants every kind of notification.
    ConsumerConfigHandler() : ConsumerConfigHandler(true, true, true, true, true) {}
    ConsumerConfigHandler(bool bChange, bool bSubmit, bool bAttribute, bool bOptions,
                          bool bAccessLevel)
        : register_change(bChange),
          register_submit(bSubmit),
          register_attribute(bAttribute),
          register_options(bOptions),
          register_accessLevel(bAccessLevel) {}
    virtual ~ConsumerConfigHandler() = default;

    /// A value has been stored; `sValues` is the new one.
    virtual void change(const std::string& /*sNode*/, int /*nNodeInstance*/,
                        const std::string& /*sVariable*/, int /*nVarInstance*/,
                        const std::list<std::string>& /*sValues*/,
                        const std::string& /*user_context*/) {}
    /// A requester's change assigns the variable, once for each assignment of it. kSubmitStart
    /// comes before the value is stored; kSubmitEnd once all assignments of the change and all that
    /// follows from them have been applied. What is stored meanwhile belongs to the change. A
    /// change that is refused gets no kSubmitEnd: it is undone, with all that was done for it.
    virtual void submit(const std::string& /*sNode*/, int /*nNodeInstance*/,
                        const std::string& /*sVariable*/, int /*nVarInstance*/,
                        AppConfig::AppCfgManager::SubmitNtfyType /*type*/,
                        const std::string& /*user_context*/) {}
    /// An attribute of the variable at an address ("node.variable[1]") may have become different:
    /// its name and its new text. "options": the options offered, one a line; "readlevel" and
    /// "writelevel": the names of the lowest roles that may see and change it. Follows options()
    /// and accessLevel().
    virtual void attribute(const std::string&, std::string, std::string) {}
    /// The options offered have become different; `options` is the new list.
    virtual void options(const std::string& /*sNode*/, int /*nNodeInstance*/,
                         const std::string& /*sVariable*/, int /*nVarInstance*/,
                         std::list<std::string> /*options*/, std::string /*user_context*/) {}
    /// The lowest roles that may see and change the variable have become different.
    virtual void accessLevel(const std::string& /*sNode*/, int /*nNodeInstance*/,
                             const std::string& /*sVariable*/, int /*nVarInstance*/,
                             AppConfig::SecurityRole /*roleRead*/,
                             AppConfig::SecurityRole /*roleWrite*/, std::string /*user_context*/) {}

    bool register_change;
    bool register_submit;
    bool register_attribute;
    bool register_options;
    bool register_accessLevel;
};

/// Registers `handler` for the variable `varName` of the node `nodeName`, all instances of both.
/// A registration is never withdrawn.
/// @param handler  borrowed; stays alive at its address for as long as the store
/// @param manager  the store to register with; null means the process's store
/// @return kNoError; kItemNotFound (no such variable); kAlreadyExists (the variable already has
///         a provider; a variable may have any number of consumers); kBadParameter (null handler)
eErrorT registerHandler(std::string nodeName, std::string varName, ProviderConfigHandler* handler,
                        AppConfig::AppCfgManager* manager);
eErrorT registerHandler(std::string nodeName, std::string varName, ConsumerConfigHandler* handler,
                        AppConfig::AppCfgManager* manager);

#endif
