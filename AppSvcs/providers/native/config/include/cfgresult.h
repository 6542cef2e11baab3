#ifndef CONFIG_INCLUDE_CFGRESULT_H
#define CONFIG_INCLUDE_CFGRESULT_H

#include <list>
#include <string>

#include "ErrTypes.h"

/// Record in which a handler reports its verdict on one proposed value. The store creates it, lends
/// it to the provider's `isValid` and `onSet`, and reads it afterwards; the handler only fills it.
class ConfigResult {
public:
    /// `kNoError`, no reboot, no tags, empty context and client name.
    ConfigResult();

    /// Puts `result` back into the state of a new record.
    void fillDefaults(ConfigResult& result);

    /// Records a verdict.
    /// @param valid         whether the value is accepted; returned unchanged, no other effect
    /// @param code          outcome for the requester
    /// @param rebootNeeded  whether the change takes effect only after a reboot
    /// @return `valid`
    bool fillConfigResult(bool valid, eErrorT code, bool rebootNeeded);

    /// Appends an error tag: the name of a message for the requester, in upper case.
    void addResultMessage(const std::string& tag);

    /// Context text and name of the requesting client, set by the store.
    void setServerContext(const std::string& context);
    void setClientName(const std::string& name);

    eErrorT getErrorCode();
    bool getIsRebootNeeded();
    std::list<std::string> getErrorTags();
    std::string getServerContext();
    std::string getClientName();

private:
    eErrorT m_nErrCode;
    bool m_bIsRebootNeeded;
    std::list<std::string> m_listErrTags;  ///< in the order added
    std::string m_serverContext;
    std::string m_clientName;
};

#endif
