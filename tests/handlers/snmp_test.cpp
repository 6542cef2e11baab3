#include "SNMPConfigHandler.h"
#include "handlercase.h"

namespace PolicyCase {
namespace {

const std::string kSnmp = "management.snmp/", kTraps = "management.snmp.traptarget/";
const std::string kFeatures = "comm.callsetting.callfeatures/", kFips = kFeatures + "fips140enable";
const std::string kEnabled = kSnmp + "enabled", kThree = kSnmp + "versionthree";
const std::string kOne = kSnmp + "versionone", kTwo = kSnmp + "versiontwo";
const std::string kListening = kSnmp + "listeningport", kWeb = "security.remoteaccess.web/httpport";
const std::string kTarget = kTraps + "protocolversion", kTrap = kTraps + "targetport";
// clang-format off
const Lines kVariables = {
    kEnabled, kOne, kTwo, kThree, kFips, kTarget, kTarget + "[1]", kTarget + "[2]",
    kListening, kTrap, kTrap + "[1]", kTrap + "[2]", kWeb};
// clang-format on
const std::string kReadsEnabled = "bool " + kEnabled + "\n";
const std::string kReadsVersions =
    kReadsEnabled + "bool " + kOne + "\nbool " + kTwo + "\nbool " + kThree + "\n";
const std::string kBadPort = "(false, -3, false, { \"ERR_SNMP_INVALID_PORT\" })\n";
const std::string kLastVersion = "(false, -3, false, { \"ERR_SNMP_VERSION_DISABLE\" })\n";

std::string proposed(const ChangeT& change) {
    call(AppConfigProvider::SNMPConfigHandler(), change, true);
    return "log debug appconfig: SNMPConfigHandler::isValid() \n\n";
}

/// How a port proposal ends; the two outer ones without a look at the web server's port.
enum EndingT { kAtOnce, kFree, kTaken, kOutOfRange };

struct PortsT {
    const char *own = "2000", *trap = "16200", *trap1 = "16201", *trap2 = "16202", *web = "8080";
};

struct PortCaseT {
    Lines settings;
    EndingT ending;
    Lines values;
    PortsT stored = {};
    const char* number = nullptr;  ///< that the values count as, in the log; null: they say it
};

/// The port rules hold whether SNMP is on or off.
void expectPort(const PortCaseT& row, const std::string& setting, const std::string& value) {
    const auto& [own, trap, trap1, trap2, web] = row.stored;
    const bool bListening = setting == kListening, bAccepted = row.ending <= kFree;
    const std::string number = row.number == nullptr ? value : row.number;
    std::string lines = "int " + kTrap + "\nint " + kTrap + "[1]\nint " + kTrap + "[2]\n";
    if (bListening) {
        lines = "int " + kListening +
                "\nlog debug appconfig: isValid? : CFGVAR_LISTENINGPORT = " + own + ", to set " +
                number + " \n\n";
    }
    if (row.ending == kFree || row.ending == kTaken) lines += "int " + kWeb + "\n";
    if (bListening && !bAccepted)
        lines += "log debug appconfig: listening port " + number + " is NOT allowed \n\n";
    for (const auto& [snmp, reads] : {std::pair{on, kReadsVersions}, {off, kReadsEnabled}}) {
        const std::string last = (bListening ? reads : "") + (bAccepted ? kAccepted : kBadPort);
        const Lines states = {snmp, on, on, on, "", "", "", "", own, trap, trap1, trap2, web};
        expectRow(kVariables, proposed, {states, {}, {}, lines + last}, setting, value);
    }
}

TEST(SnmpPortRule, KeepsClearOfOtherServicesByTheNumberThatTheTextStartsWith) {
    const Lines both = {kListening, kTrap}, listening = {kListening}, trap = {kTrap};
    const PortsT traps{.trap = "80", .trap1 = "1720", .trap2 = "3301"}, listener{.own = "80"};
    // clang-format off
    const PortCaseT cases[] = {
        {both, kTaken, {"1720", "3230", "3260", "3301", "5001", "5060", "5061", "7070", "7071"}},
        {both, kTaken, {"8080"}},  // the web server's
        {both, kFree, {"1024", "1719", "1721", "3229", "3302", "5000", "5002", "5059", "5062"}},
        {both, kFree, {"7069", "7072", "65535"}},
        {both, kFree, {"8080"}, {.web = "80"}},
        {both, kOutOfRange, {"-1", "0", "80", "1023", "65536"}},
        {listening, kAtOnce, {"161", "0161", " \t\n+161"}, {}, "161"},
        {listening, kAtOnce, {"80"}, listener},
        {listening, kAtOnce, {"3301"}, {.own = "3301"}},
        {listening, kAtOnce, {"port"}, {.own = "0"}, "0"},
        {listening, kOutOfRange, {"162"}},        // the traps' own
        {listening, kOutOfRange, {"80"}, traps},  // a trap target's
        {listening, kOutOfRange, {"+ 161", "0x2000", "port", ""}, {}, "0"},
        // 161 in 32 and 64 bits, and from below
        {listening, kOutOfRange, {"4294967457", "18446744073709551777"}, {}, "2147483647"},
        {listening, kOutOfRange, {"-4294967135"}, {}, "-2147483648"},
        {trap, kAtOnce, {"162", "162abc"}},
        {trap, kAtOnce, {"80", "1720", "3301"}, traps},  // any target's
        {trap, kOutOfRange, {"161", "4294967458"}},      // the listener's own; 162 in 32 bits
        {trap, kOutOfRange, {"80"}, listener},
    };
    // clang-format on
    for (const PortCaseT& row : cases) {
        for (const std::string& setting : row.settings) {
            for (const std::string& value : row.values) expectPort(row, setting, value);
        }
    }
}

TEST(SnmpVersionRule, OnlyTheLastVersionOfAnEnabledSnmpStaysOn) {
    for (unsigned state = 0; state < 16; ++state) {  // a bit for each switch
        Lines states;
        for (unsigned i = 0; i < 4; ++i) states.emplace_back((state >> i & 1U) != 0 ? on : off);
        for (unsigned changed = 1; changed < 4; ++changed) {
            const bool bEnabled = states[0] == on, bLast = (state & 14U & ~(1U << changed)) == 0;
            const std::string reads = bEnabled ? kReadsVersions : kReadsEnabled;
            const std::string lines = reads + (bEnabled && bLast ? kLastVersion : kAccepted);
            expectRow(kVariables, proposed, {states, {}, {}, lines}, kVariables[changed], "false");
        }
    }
}

TEST(SnmpValidation, LooksAtTheWholeTextFalseAndAtLetterCaseAndAcceptsEverythingElse) {
    const Lines lastOn = {on, off, off, on};
    // clang-format off
    expectRows(kVariables, proposed, {
        {lastOn, {kThree}, {"false", "FALSE", "fAlSe"}, kReadsVersions + kLastVersion},
        {lastOn, {kThree}, {"true", "0", "", "no", "false ", " false", "falsely", "f"},
                  kReadsVersions + kAccepted},
        {lastOn, {kEnabled, kSnmp + "community", kSnmp + "targetport", kSnmp + "ListeningPort",
                  kSnmp + "VersionThree"}, {"1", "false"}, kReadsVersions + kAccepted},
        {lastOn, {kTraps + "listeningport", kTraps + "targetPort", "Management.snmp/listeningport",
                  "management.snmp.TrapTarget/targetport", kFips}, {"1", "true"}, kAccepted},
        {lastOn, {kListening, kTrap}, kNone, std::string(kEmptyLog) + kUntouched},
    });
    // clang-format on
}

std::string stored(const ChangeT& change) {
    const std::string text = change.values.empty() ? "" : change.values.front();
    recording().defaultOptions.try_emplace(kTarget, Lines{"v1", "v2c", "v3", "V1", "V2C", "V3"});
    call(AppConfigProvider::SNMPConfigHandler(), change, false);
    return "log debug appconfig: SNMPConfigHandler::onSet() " + change.node + "[6]." +
           change.variable + "[5]: " + text + "\n\n";
}

const std::string kGroup = [] {
    std::string all =
        " management.snmp.legacynotification/enabled management.snmp.newnotification/enabled";
    for (const char* name : {"versionone", "versiontwo", "versionthree", "admin", "community",
                             "location", "systemdesc", "listeningport", "transportprotocol"})
        all += " " + kSnmp + name;
    for (const std::string i : {"", "[1]", "[2]"})
        all += " " + kTraps + "targetaddress" + i + " " + kTrap + i + " " + kTarget + i + " " +
               kTraps + "messagetype" + i + " " + kTraps + "traptargetenable" + i;
    return all + "\n";
}();
const std::string kUser3 = " " + kSnmp + "authenticationpassword " + kSnmp + "engineid " + kSnmp +
                           "id " + kSnmp + "privacypassword";
const std::string kAlgs = " " + kSnmp + "authenticationalgorithm " + kSnmp + "privacyalgorithm\n";
const std::string kReadsBoth = "bool " + kThree + "\nbool " + kEnabled + "\n";
const std::string kSetAuth = "set " + kSnmp + "authenticationalgorithm=";
const std::string kSetPriv = "\nset " + kSnmp + "privacyalgorithm=";
const std::string kStrong = kReadsBoth + kSetAuth + "SHA" + kSetPriv + "CFB-AES128\n";
const std::string kWeak = kReadsBoth + kSetAuth + "MD5" + kSetPriv + "CBC-DES\n";
const std::string kOpen = "bool " + kThree + "\nbool " + kFips + "\naccess user/user:" + kGroup;
const std::string kShow3 = "access user/user:" + kUser3, kHide3 = "access system/system:" + kUser3;
const std::string kOpenShow = kOpen + kShow3 + kAlgs, kOpenHide = kOpen + kHide3 + kAlgs;
const std::string kClose = "bool " + kThree + "\naccess system/system:" + kGroup + kHide3 + kAlgs;

/// The algorithms: hidden without version 3, and fixed by FIPS 140.
std::string algs(bool bFips, bool bThree) {
    return std::string("log debug appconfig: setSNMPAlgsAccessLevels : FIPSEnabled = ") +
           (bFips ? "1" : "0") + ", SNMPV3Enabled= " + (bThree ? "1" : "0") + " \n\naccess " +
           (bThree ? "user/" : "system/") + (bThree && !bFips ? "user:" : "system:") + kAlgs;
}

TEST(SnmpReaction, SwitchesOpenAndForceInOrder) {
    // clang-format off
    expectRows(kVariables, stored, {
        // SNMP v1   v2c  v3   FIPS 140
        {{on,  off, off, on,  off}, {kFips},    kTrue,     kStrong + algs(true, true)},
        {{on,  on,  on,  off, off}, {kFips},    kTrue,     kStrong + algs(true, false)},
        {{off, on,  on,  on,  off}, {kFips},    kTrue,     kStrong},
        {{on,  off, off, on,  on }, {kFips},    kNotTrue,  kWeak + algs(false, true)},
        {{on,  on,  on,  off, on }, {kFips},    kNotTrue,  kWeak + algs(false, false)},
        {{off, on,  on,  on,  on }, {kFips},    kNotTrue,  kWeak},
        {{off, off, off, on,  off}, {kEnabled}, kNotFalse, kOpenShow + algs(false, true)},
        {{off, off, off, on,  on }, {kEnabled}, kNotFalse, kOpenShow + algs(true, true)},
        {{off, on,  on,  off, off}, {kEnabled}, kNotFalse, kOpenHide + algs(false, false)},
        {{off, on,  on,  off, on }, {kEnabled}, kNotFalse, kOpenHide + algs(true, false)},
        {{on,  off, off, on,  on }, {kEnabled}, kFalse,    kClose},
        {{on,  on,  on,  off, off}, {kEnabled}, kFalse,    kClose},
        {{on,  on,  on,  on,  on }, {kEnabled, kOne, kFips}, kNone, kEmptyLog},
        {{on,  on,  on,  on,  on }, {kListening, kTrap, kSnmp + "Enabled", kSnmp + "fips140enable",
            kSnmp + "VersionThree", kTraps + "versionone", "Management.snmp/enabled",
            "comm.callsetting.CallFeatures/fips140enable", kFeatures + "enabled",
            kFeatures + "FIPS140enable"}, kTrue, ""},
    });
    // clang-format on
}

/// What a version's switch leads to. Its own state is not read, nor that of SNMP.
struct VersionCaseT {
    std::string version, one, two, three, fips;  ///< the states of the switches
    Lines reads;
    std::string offered, fallback;  ///< fallback of the targets on it; empty: it is on
};

TEST(SnmpReaction, TrapTargetsFollowTheVersionsThatAreOn) {
    // clang-format off
    const VersionCaseT cases[] = {
        // version one two  three fips reads         offered   fallback
        {"v1",  off, on,  on,  off, {kThree, kTwo}, "v2c,v3", "v3" },
        {"v1",  off, off, on,  off, {kThree, kTwo}, "v3",     "v3" },
        {"v1",  off, on,  off, off, {kThree},       "v2c",    "v2c"},
        {"v1",  on,  off, off, off, {kThree},       "v2c",    "v2c"},
        {"v1",  off, on,  off, off, {kThree},       "v1,v2c", ""   },
        {"v2c", on,  off, on,  off, {kThree, kOne}, "v1,v3",  "v3" },
        {"v2c", off, off, on,  off, {kThree, kOne}, "v3",     "v3" },
        {"v2c", on,  on,  off, off, {kThree},       "v1",     "v1" },
        {"v2c", off, off, off, off, {kThree},       "v1",     "v1" },
        {"v2c", off, off, on,  off, {kThree, kOne}, "v2c,v3", ""   },
        {"v3",  on,  on,  off, off, {kTwo, kOne},   "v1,v2c", "v2c"},
        {"v3",  off, on,  on,  on,  {kTwo, kOne},   "v2c",    "v2c"},
        {"v3",  on,  off, off, off, {kTwo},         "v1",     "v1" },
        {"v3",  off, off, on,  on,  {kTwo},         "v1",     "v1" },
        {"v3",  off, on,  off, off, {kTwo, kOne},   "v2c,v3", ""   },
        {"v3",  off, off, off, on,  {kTwo},         "v1,v3",  ""   },
    };
    // clang-format on
    for (const auto& [version, one, two, three, fips, reads, offered, fallback] : cases) {
        const bool bOn = fallback.empty(), bThree = version == "v3";
        std::string lines =
            (bThree ? "bool " + kFips + "\n" : "") + "defaults " + kTarget +
            "\nlog debug appconfig: updateSNMPConfigOptions : snmpVersion = " + version +
            " , versionEnabled = " + (bOn ? "1" : "0") + " , DefaultOptions = v1 - v2c - v3\n\n";
        for (const char* i : {"", "[1]", "[2]"}) lines += "get " + kTarget + i + "\n";
        for (const std::string& variable : reads) lines += "bool " + variable + "\n";
        for (const char* i : {"", "[2]"})
            lines += bOn ? "" : "set " + kTarget + i + "=" + fallback + "\n";
        for (const char* i : {"", "[1]", "[2]"})
            lines += "options " + kTarget + i + "=" + offered + ",V1,V2C,V3\n";
        if (bThree) lines += (bOn ? kShow3 : kHide3) + "\n" + algs(fips == on, bOn);
        // entries and targets in another letter case stay as they are
        const Lines states = {off,    one, two, three, fips, version, "V" + version.substr(1),
                              version};
        const std::string setting = bThree ? kThree : version == "v1" ? kOne : kTwo;
        expectRows(kVariables, stored, {{states, {setting}, bOn ? kTrue : kNotTrue, lines}});
    }
}

TEST(SnmpReaction, MissingDefaultOptionsAreLoggedAsNone) {
    const std::pair<Lines, std::string> lists[] = {{Lines{}, "<none> - <none> - <none>"},
                                                   {{"v3", "v2c"}, "v3 - v2c - <none>"}};
    for (const auto& [defaults, logged] : lists) {
        recording() = {};
        recording().defaultOptions[kTarget] = defaults;
        stored({"management.snmp", "versionone", {"false"}, 6});
        EXPECT_THAT(recording().trace.at(2),
                    testing::EndsWith(" DefaultOptions = " + logged + "\n"));
    }
}

}  // namespace
}  // namespace PolicyCase
