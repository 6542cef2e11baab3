#include <gmock/gmock.h>
#include <google/protobuf/stubs/logging.h>

#include <set>

#include "AppConfigServiceProvider.h"
#include "recordingplatform.h"

using AppConfigProvider::AppConfigProto;
using AppConfigProvider::AppConfigServiceProvider;
using RecordingPlatform::recording;
using RecordingPlatform::trace;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

namespace {

/// Every answer of the platform is passed over, so the order is the same on any platform.
class ServiceStart : public testing::TestWithParam<eErrorT> {};

TEST_P(ServiceStart, ConnectsThenRegistersThenDispatches) {
    recording() = {};
    recording().answer = GetParam();
    recording().values = {{"uicontrol.apps.home/showspeeddial", "true"},
                          {"uicontrol.apps.recentcalls/enabled", "true"}};
    std::unique_ptr<AppConfigServiceProvider> provider(AppConfigServiceProvider::getInstance());
    EXPECT_EQ(AppConfigServiceProvider::getInstance(), provider.get());
    EXPECT_THAT(trace(), IsEmpty()) << "making it touches nothing";

    provider->initialize();
    std::vector<std::string> expected = {
        "log debug appconfig:  initialize()\n",
        "pb new appconfig 2",
        "log debug appconfig: AppConfigProto.cpp init Setting the loghandler\n",
        "pb start",
        "setPbInterface",
        "role 4",
    };
    // clang-format off
    const std::vector<std::string> registrations = {
        "provider management.snmp/enabled SNMPConfigHandler",
        "provider management.snmp/versionone SNMPConfigHandler",
        "provider management.snmp/versiontwo SNMPConfigHandler",
        "provider management.snmp/versionthree SNMPConfigHandler",
        "provider comm.callsetting.callfeatures/fips140enable SNMPConfigHandler",
        "provider management.snmp/listeningport SNMPConfigHandler",
        "provider management.snmp.traptarget/targetport SNMPConfigHandler",
        "provider uicontrol.apps.inacalllayout/timemode UICntrlConfigHandler",
        "provider uicontrol.vantortouch.homescreen/enabled VantorTouchConfigHandler",
        "consumer uicontrol.apps.recentcalls/enabled VantorTouchConfigNotificationHandler",
        "consumer uicontrol.apps.home/showspeeddial VantorTouchConfigNotificationHandler",
        "consumer uicontrol.vantortouch.homescreen/enabled VantorTouchConfigNotificationHandler",
        "provider uicontrol.apps.recentcalls/enabled UICntrlConfigHandler",
        "provider security.accesscontrol/userloginrequired UICntrlConfigHandler",
        "provider uicontrol.apps.menu/showsysteminfo UICntrlConfigHandler",
    };
    // clang-format on
    for (const std::string& row : registrations) {
        expected.push_back("register " + row);
        expected.back().insert(row.rfind(' ') + 10, "AppConfigProvider::");
    }
    expected.insert(expected.end(), {"bool uicontrol.apps.home/showspeeddial",
                                     "bool uicontrol.apps.recentcalls/enabled",
                                     "bool uicontrol.apps.home/office365uienabled"});
    EXPECT_THAT(trace(), ElementsAreArray(expected));
    std::set<ProviderConfigHandler*> handlers;
    for (const auto& [setting, handler] : recording().providers) handlers.insert(handler);
    EXPECT_EQ(handlers.size(), 3U) << "each kind of handler is one object";

    recording().trace.clear();
    provider->runProvider();
    provider.reset();
    EXPECT_THAT(trace(), ElementsAre("log debug appconfig: AppConfigProto.cpp processMessages\n",
                                     "pb ready 1", "pb join", "pb delete"));
}

INSTANTIATE_TEST_SUITE_P(Answers, ServiceStart, testing::Values(kNoError, kServerError));

/// protobuf's own handler, as it is before any test has run.
google::protobuf::LogHandler* const protobufHandler = [] {
    google::protobuf::LogHandler* handler = google::protobuf::SetLogHandler(nullptr);
    google::protobuf::SetLogHandler(handler);
    return handler;
}();

std::string protobufOutput() {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    GOOGLE_LOG(ERROR) << "an error";
    return testing::internal::GetCapturedStderr() + testing::internal::GetCapturedStdout();
}

TEST(MessageEndpoint, SilencesProtobufAndEndsWithoutError) {
    recording() = {};
    recording().answer = kServerError;
    google::protobuf::SetLogHandler(protobufHandler);
    AppConfigProto endpoint;
    EXPECT_THAT(protobufOutput(), testing::HasSubstr("an error"));

    endpoint.init();
    recording().trace.clear();
    EXPECT_EQ(protobufOutput(), "");
    EXPECT_THAT(trace(), IsEmpty());
    EXPECT_EQ(endpoint.processMessages(), kNoError);
}

}  // namespace
