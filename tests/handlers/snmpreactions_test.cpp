#include "SNMPConfigHandler.h"
#include "handlercase.h"

namespace PolicyCase {
namespace {

// clang-format off
const std::string kFips = "comm.callsetting.callfeatures/fips140enable", kEnabled = "management.snmp/enabled";
const std::string kOne = "management.snmp/versionone", kTwo = "management.snmp/versiontwo";
const std::string kThree = "management.snmp/versionthree", kTarget = "management.snmp.traptarget/protocolversion";
const Lines kVariables = {kEnabled, kOne, kTwo, kThree, kFips, kTarget, kTarget + "[1]", kTarget + "[2]"};

std::string stored(const ChangeT& change) {
    const std::string text = change.values.empty() ? "" : change.values.front();
    recording().defaultOptions.try_emplace(kTarget, Lines{"v1", "v2c", "v3", "V1", "V2C", "V3"});
    call(AppConfigProvider::SNMPConfigHandler(), change, false);
    return "log debug appconfig: SNMPConfigHandler::onSet() " + change.node + "[6]." +
           change.variable + "[5]: " + text + "\n\n";
}

const std::string kGroup =
    " management.snmp.legacynotification/enabled management.snmp.newnotification/enabled " + kOne + " " + kTwo +
    " " + kThree + " management.snmp/admin management.snmp/community management.snmp/location"
    " management.snmp/systemdesc management.snmp/listeningport management.snmp/transportprotocol"
    " management.snmp.traptarget/targetaddress management.snmp.traptarget/targetport"
    " management.snmp.traptarget/protocolversion management.snmp.traptarget/messagetype"
    " management.snmp.traptarget/traptargetenable management.snmp.traptarget/targetaddress[1]"
    " management.snmp.traptarget/targetport[1] management.snmp.traptarget/protocolversion[1]"
    " management.snmp.traptarget/messagetype[1] management.snmp.traptarget/traptargetenable[1]"
    " management.snmp.traptarget/targetaddress[2] management.snmp.traptarget/targetport[2]"
    " management.snmp.traptarget/protocolversion[2] management.snmp.traptarget/messagetype[2]"
    " management.snmp.traptarget/traptargetenable[2]\n";
const std::string kUser3 = " management.snmp/authenticationpassword"
    " management.snmp/engineid management.snmp/id management.snmp/privacypassword";
const std::string kAlgs = " management.snmp/authenticationalgorithm management.snmp/privacyalgorithm\n";
const std::string kForce = "bool " + kThree + "\nbool " + kEnabled + "\nset management.snmp/authenticationalgorithm=";
const std::string kStrong = kForce + "SHA\nset management.snmp/privacyalgorithm=CFB-AES128\n";
const std::string kWeak = kForce + "MD5\nset management.snmp/privacyalgorithm=CBC-DES\n";
const std::string kOpen = "bool " + kThree + "\nbool " + kFips + "\naccess user/user:" + kGroup;
const std::string kShow3 = "access user/user:" + kUser3 + kAlgs, kHide3 = "access system/system:" + kUser3 + kAlgs;
const std::string kClose = "bool " + kThree + "\naccess system/system:" + kGroup + kHide3;

std::string algs(const std::string& fips, const std::string& three, const std::string& roles) {
    return "log debug appconfig: setSNMPAlgsAccessLevels : FIPSEnabled = " + fips + ", SNMPV3Enabled= " + three +
           " \n\naccess " + roles + ":" + kAlgs;
}

TEST(SnmpReaction, SwitchesOpenAndForceInOrder) {
    expectRows(kVariables, stored, {  // SNMP, its versions, FIPS 140
        {"+,-,-,+,-", {kFips},    kTrue,     kStrong + algs("1", "1", "user/system")},
        {"+,+,+,-,-", {kFips},    kTrue,     kStrong + algs("1", "0", "system/system")},
        {"-,+,+,+,-", {kFips},    kTrue,     kStrong},
        {"+,-,-,+,+", {kFips},    kNotTrue,  kWeak + algs("0", "1", "user/user")},
        {"+,+,+,-,+", {kFips},    kNotTrue,  kWeak + algs("0", "0", "system/system")},
        {"-,+,+,+,+", {kFips},    kNotTrue,  kWeak},
        {"-,-,-,+,-", {kEnabled}, kNotFalse, kOpen + kShow3 + algs("0", "1", "user/user")},
        {"-,-,-,+,+", {kEnabled}, kNotFalse, kOpen + kShow3 + algs("1", "1", "user/system")},
        {"-,+,+,-,-", {kEnabled}, kNotFalse, kOpen + kHide3 + algs("0", "0", "system/system")},
        {"-,+,+,-,+", {kEnabled}, kNotFalse, kOpen + kHide3 + algs("1", "0", "system/system")},
        {"+,-,-,+,+", {kEnabled}, kFalse,    kClose},
        {"+,+,+,-,-", {kEnabled}, kFalse,    kClose},
        {"+,+,+,+,+", {kEnabled, kOne, kFips}, kNone, kEmptyLog},
        {"+,+,+,+,+", {"management.snmp/listeningport", "management.snmp.traptarget/targetport",
                       "management.snmp/Enabled", "management.snmp/fips140enable", "management.snmp/VersionThree",
                       "Management.snmp/enabled", "comm.callsetting.callfeatures/enabled",
                       "comm.callsetting.callfeatures/FIPS140enable", "comm.callsetting.CallFeatures/fips140enable",
                       "management.snmp.traptarget/versionone"}, kTrue, ""},
    });
}

/// What a version's switch leads to; entries in another letter case always stay.
/// @param fallback  of the targets on it; empty: it is on
std::string options(const char* version, const Lines& reads, const char* offered, const std::string& fallback) {
    std::string lines = "defaults " + kTarget + "\nlog debug appconfig: updateSNMPConfigOptions : snmpVersion = " +
        version + " , versionEnabled = " + (fallback.empty() ? "1" : "0") + " , DefaultOptions = v1 - v2c - v3\n\n";
    for (const char* i : {"", "[1]", "[2]"}) lines += "get " + kTarget + i + "\n";
    for (const std::string& variable : reads) lines += "bool " + variable + "\n";
    if (!fallback.empty()) lines += "set " + kTarget + "=" + fallback + "\nset " + kTarget + "[2]=" + fallback + "\n";
    for (const char* i : {"", "[1]", "[2]"}) lines += "options " + kTarget + i + "=" + offered + ",V1,V2C,V3\n";
    return lines;
}

TEST(SnmpReaction, TrapTargetsFollowTheVersionsThatAreOn) {
    const std::string readFips = "bool " + kFips + "\n", show = "access user/user:" + kUser3 + "\n";
    const std::string hide = "access system/system:" + kUser3 + "\n" + algs("0", "0", "system/system");
    const std::string hideFips = "access system/system:" + kUser3 + "\n" + algs("1", "0", "system/system");
    const std::string showEdit = show + algs("0", "1", "user/user"), showLock = show + algs("1", "1", "user/system");
    expectRows(kVariables, stored, {  // the changed version's state is not read; the trap targets' versions
        {"-,-,+,+,-,v1,V1,v1",    {kOne},   kNotTrue, options("v1", {kThree, kTwo}, "v2c,v3", "v3")},
        {"-,-,-,+,-,v1,V1,v1",    {kOne},   kNotTrue, options("v1", {kThree, kTwo}, "v3", "v3")},
        {"-,-,+,-,-,v1,V1,v1",    {kOne},   kNotTrue, options("v1", {kThree}, "v2c", "v2c")},
        {"-,+,-,-,-,v1,V1,v1",    {kOne},   kNotTrue, options("v1", {kThree}, "v2c", "v2c")},
        {"-,-,+,-,-,v1,V1,v1",    {kOne},   kTrue,    options("v1", {kThree}, "v1,v2c", "")},
        {"-,+,-,+,-,v2c,V2c,v2c", {kTwo},   kNotTrue, options("v2c", {kThree, kOne}, "v1,v3", "v3")},
        {"+,-,-,+,-,v2c,V2c,v2c", {kTwo},   kNotTrue, options("v2c", {kThree, kOne}, "v3", "v3")},
        {"+,+,+,-,-,v2c,V2c,v2c", {kTwo},   kNotTrue, options("v2c", {kThree}, "v1", "v1")},
        {"-,-,-,-,-,v2c,V2c,v2c", {kTwo},   kNotTrue, options("v2c", {kThree}, "v1", "v1")},
        {"-,-,-,+,-,v2c,V2c,v2c", {kTwo},   kTrue,    options("v2c", {kThree, kOne}, "v2c,v3", "")},
        {"-,+,+,-,-,v3,V3,v3",    {kThree}, kNotTrue, readFips + options("v3", {kTwo, kOne}, "v1,v2c", "v2c") + hide},
        {"-,-,+,+,+,v3,V3,v3",    {kThree}, kNotTrue, readFips + options("v3", {kTwo, kOne}, "v2c", "v2c") + hideFips},
        {"-,+,-,-,-,v3,V3,v3",    {kThree}, kNotTrue, readFips + options("v3", {kTwo}, "v1", "v1") + hide},
        {"-,-,-,+,+,v3,V3,v3",    {kThree}, kNotTrue, readFips + options("v3", {kTwo}, "v1", "v1") + hideFips},
        {"-,-,+,-,-,v3,V3,v3",    {kThree}, kTrue,    readFips + options("v3", {kTwo, kOne}, "v2c,v3", "") + showEdit},
        {"-,-,-,-,+,v3,V3,v3",    {kThree}, kTrue,    readFips + options("v3", {kTwo}, "v1,v3", "") + showLock},
    });
}

TEST(SnmpReaction, MissingDefaultOptionsAreLoggedAsNone) {
    const std::pair<Lines, const char*> lists[] = {
        {Lines{}, "<none> - <none> - <none>"}, {{"v3", "v2c"}, "v3 - v2c - <none>"}};
    for (const auto& [defaults, logged] : lists) {
        recording() = {};
        recording().defaultOptions[kTarget] = defaults;
        stored({"management.snmp", "versionone", {"false"}, 6});
        EXPECT_THAT(recording().trace.at(2), testing::EndsWith(std::string(" DefaultOptions = ") + logged + "\n"));
    }
}
// clang-format on

}  // namespace
}  // namespace PolicyCase
