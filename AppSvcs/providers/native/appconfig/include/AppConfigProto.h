#ifndef APPCONFIG_INCLUDE_APPCONFIGPROTO_H
#define APPCONFIG_INCLUDE_APPCONFIGPROTO_H

#include <google/protobuf/stubs/logging.h>

#include <string>

#include "ErrTypes.h"
#include "pbUtils.h"

namespace AppConfigProvider {

/// Name of the service's endpoint on the message layer.
extern const std::string appconfigEndPoint;

/// Replaces the protobuf library's log output, and drops it.
void HandleLog(google::protobuf::LogLevel level, const char* filename, int line,
               const std::string& message);

/// The service's endpoint on the message layer: the dispatcher through which the store's calls
/// reach the handlers. The service provider owns the only one and uses it on the main thread.
class AppConfigProto {
public:
    AppConfigProto();
    virtual ~AppConfigProto();

    AppConfigProto(const AppConfigProto&) = delete;
    AppConfigProto& operator=(const AppConfigProto&) = delete;

    /// Starts the dispatcher, gives it to the store and silences the protobuf library. Nothing is
    /// delivered to a handler yet. Called once, before processMessages().
    virtual void init();

    /// Lets the dispatcher deliver and blocks until it has ended.
    /// @return kNoError, whatever ended the dispatcher
    virtual eErrorT processMessages();

private:
    PbUtility::PbUtils m_pbHandler;
};

}  // namespace AppConfigProvider

#endif
