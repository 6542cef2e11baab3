#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "AppConfigServiceProvider.h"
#include "address.h"
#include "recordingplatform.h"
#include "schema.h"

namespace {

using AppConfigProvider::AppConfigServiceProvider;
using RecordingPlatform::recording;

/// Has every handler of the recorder decide about and react to every value that a rule compares.
void driveHandlers() {
    const auto drive = [](const auto& registered, const auto& call) {
        for (const auto& [sAddress, handler] : registered) {
            const std::size_t slash = sAddress.find('/');
            for (const char* const value : {"true", "false", "off", "2048"}) {
                for (int nNode = 0; nNode < 5; ++nNode) {
                    call(*handler, sAddress.substr(0, slash), nNode, sAddress.substr(slash + 1),
                         std::list<std::string>{value});
                }
            }
        }
    };
    drive(recording().providers, [](auto& handler, const auto& sNode, int nNode,
                                    const auto& sVariable, const auto& values) {
        ConfigResult result;
        handler.isValid(sNode, nNode % 2, sVariable, 0, values, AppConfig::kUser, result);
        handler.onSet(sNode, nNode % 2, sVariable, 0, values, AppConfig::kUser, result);
    });
    drive(recording().consumers,
          [](auto& handler, const auto& sNode, int nNode, const auto& sVariable,
             const auto& values) { handler.change(sNode, nNode, sVariable, 0, values, ""); });
}

/// Addresses, as the recorder writes them, of all that the policy registers, reads and writes.
std::set<std::string> touchedByPolicy() {
    recording() = {};
    recording().values = {{"uicontrol.apps.home/office365uienabled", "true"},
                          {"uicontrol.apps.home/skypemodecontroller", "vantor_touch"},
                          {"management.snmp/enabled", "true"}};
    const std::unique_ptr<AppConfigServiceProvider> provider(
        AppConfigServiceProvider::getInstance());
    provider->initialize();
    driveHandlers();
    std::set<std::string> addresses;
    for (const std::string& sLine : RecordingPlatform::trace()) {
        if (sLine.starts_with("log ")) continue;
        std::istringstream words(sLine.substr(0, sLine.find('=')));
        // access levels: behind the roles, which have a slash too, up to the colon
        if (sLine.starts_with("access ")) words.ignore(1000, ':');
        for (std::string sWord; words >> sWord;) addresses.insert(sWord);
    }
    std::erase_if(addresses,
                  [](const std::string& sWord) { return sWord.find('/') == std::string::npos; });
    return addresses;
}

TEST(RoomSystemSchema, HoldsWhatThePolicyNamesAndNothingElse) {
    AppConfig::Schema schema;
    std::string sError;
    ASSERT_EQ(schema.add(AppConfig::roomSystemSchema, "roomsystem", sError), kNoError) << sError;
    std::set<std::string> named;
    for (std::string sAddress : touchedByPolicy()) {
        sAddress[sAddress.find('/')] = '.';
        const auto address = pbcommon::parseAddress(sAddress);
        ASSERT_TRUE(address) << sAddress;
        const auto row = std::find_if(
            schema.rows().begin(), schema.rows().end(), [&](const pbcommon::VariableRow& each) {
                return each.node() == address->sNode && each.name() == address->sVariable;
            });
        ASSERT_NE(row, schema.rows().end()) << sAddress << " is missing";
        EXPECT_LT(address->nNodeInstance, static_cast<int>(row->node_instances())) << sAddress;
        EXPECT_LT(address->nVarInstance, static_cast<int>(row->instances())) << sAddress;
        named.insert(row->node() + "." + row->name());
    }
    for (const pbcommon::VariableRow& row : schema.rows()) {
        EXPECT_TRUE(named.contains(row.node() + "." + row.name()))
            << row.node() << "." << row.name() << " is named by no rule";
    }
}

}  // namespace
