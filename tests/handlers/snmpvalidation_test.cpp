#include "SNMPConfigHandler.h"
#include "handlercase.h"

namespace PolicyCase {
namespace {

// clang-format off
const std::string kEnabled = "management.snmp/enabled", kThree = "management.snmp/versionthree";
const std::string kSwitches[] = {kEnabled, "management.snmp/versionone", "management.snmp/versiontwo", kThree};
const std::string kListening = "management.snmp/listeningport", kTrap = "management.snmp.traptarget/targetport";
const std::string kWeb = "security.remoteaccess.web/httpport";
const Lines kVariables = {kEnabled, kSwitches[1], kSwitches[2], kThree, kListening, kTrap, kTrap + "[1]",
                          kTrap + "[2]", kWeb};
const std::string kReadsEnabled = "bool " + kEnabled + "\n";
const std::string kReadsVersions =
    kReadsEnabled + "bool " + kSwitches[1] + "\nbool " + kSwitches[2] + "\nbool " + kThree + "\n";
const std::string kBadPort = "(false, -3, false, { \"ERR_SNMP_INVALID_PORT\" })\n";
const std::string kLastVersion = "(false, -3, false, { \"ERR_SNMP_VERSION_DISABLE\" })\n";
// clang-format on

std::string proposed(const ChangeT& change) {
    call(AppConfigProvider::SNMPConfigHandler(), change, true);
    return "log debug appconfig: SNMPConfigHandler::isValid() \n\n";
}

/// How a port proposal ends; the two outer ones without a look at the web server's port.
enum Ending { kAtOnce, kFree, kTaken, kOutOfRange };

/// Proposes `value`. The port rules hold whether SNMP is on or off.
/// @param number  what the text counts as, in the log
/// @param ports   stored: the listening one, the three trap targets', the web server's
void expectPort(const std::string& setting, const std::string& value, const std::string& number,
                Ending ending, const std::string& ports = "2000,16200,16201,16202,8080") {
    const bool bListening = setting == kListening;
    const bool bAccepted = ending == kAtOnce || ending == kFree;
    std::string lines = "int " + kTrap + "\nint " + kTrap + "[1]\nint " + kTrap + "[2]\n";
    if (bListening) {
        lines = "int " + kListening + "\nlog debug appconfig: isValid? : CFGVAR_LISTENINGPORT = " +
                ports.substr(0, ports.find(',')) + ", to set " + number + " \n\n";
    }
    if (ending == kFree || ending == kTaken) lines += "int " + kWeb + "\n";
    if (bListening && !bAccepted) {
        lines += "log debug appconfig: listening port " + number + " is NOT allowed \n\n";
    }
    const std::string verdict = bAccepted ? kAccepted : kBadPort;
    for (const auto& [sign, reads] : {std::pair{"+", kReadsVersions}, {"-", kReadsEnabled}}) {
        const std::string last = (bListening ? reads : "") + verdict;
        expectRows(kVariables, proposed,
                   {{sign + (",+,+,+," + ports), {setting}, {value}, lines + last}});
    }
}

TEST(SnmpPortRule, ListeningAndTrapPortsKeepClearOfOtherServices) {
    // clang-format off
    const std::pair<Ending, Lines> ports[] = {
        {kTaken,      {"1720", "3230", "3260", "3301", "5001", "5060", "5061", "7070", "7071", "8080" /* the web's */}},
        {kFree,       {"1024", "1719", "1721", "3229", "3302", "5000", "5002", "5059", "5062", "7069", "7072",
                       "65535"}},
        {kOutOfRange, {"-1", "0", "80", "1023", "65536"}}};
    // clang-format on
    for (const std::string& setting : {kListening, kTrap}) {
        for (const auto& [ending, values] : ports) {
            for (const std::string& value : values) expectPort(setting, value, value, ending);
        }
        expectPort(setting, "8080", "8080", kFree, "2000,16200,16201,16202,80");
    }
}

TEST(SnmpPortRule, GoesByTheNumberThatTheTextStartsWithAndKeepsStoredPorts) {
    const char *const kAny = "2000,16200,16201,16202,8080", *const kTraps =
                                                                "2000,80,1720,3301,8080";
    const char* const kStored80 = "80,16200,16201,16202,8080";
    // clang-format off
    const struct { std::string setting; const char *value, *number; Ending ending; const char* ports; } cases[] = {
        {kListening, "161",                  "161",         kAtOnce,     kAny},
        {kListening, "162",                  "162",         kOutOfRange, kAny},       // the traps' own
        {kListening, "80",                   "80",          kAtOnce,     kStored80},  // keeps the stored one
        {kListening, "3301",                 "3301",        kAtOnce,     "3301,16200,16201,16202,8080"},
        {kListening, "80",                   "80",          kOutOfRange, kTraps},     // a trap target's
        {kListening, " \t\n+161",            "161",         kAtOnce,     kAny},
        {kListening, "+ 161",                "0",           kOutOfRange, kAny},
        {kListening, "0161",                 "161",         kAtOnce,     kAny},
        {kListening, "0x2000",               "0",           kOutOfRange, kAny},
        {kListening, "port",                 "0",           kOutOfRange, kAny},
        {kListening, "port",                 "0",           kAtOnce,     "0,16200,16201,16202,8080"},
        {kListening, "",                     "0",           kOutOfRange, kAny},
        {kListening, "4294967457",           "2147483647",  kOutOfRange, kAny},       // 161 in 32 bits
        {kListening, "18446744073709551777", "2147483647",  kOutOfRange, kAny},       // 161 in 64 bits
        {kListening, "-4294967135",          "-2147483648", kOutOfRange, kAny},       // 161 from below
        {kTrap,      "162",                  "162",         kAtOnce,     kAny},
        {kTrap,      "161",                  "161",         kOutOfRange, kAny},       // the listener's own
        {kTrap,      "80",                   "80",          kAtOnce,     kTraps},
        {kTrap,      "1720",                 "1720",        kAtOnce,     kTraps},     // any target's
        {kTrap,      "3301",                 "3301",        kAtOnce,     kTraps},
        {kTrap,      "80",                   "80",          kOutOfRange, kStored80},  // the listener's
        {kTrap,      "162abc",               "162",         kAtOnce,     kAny},
        {kTrap,      "4294967458",           "2147483647",  kOutOfRange, kAny},       // 162 in 32 bits
    };
    // clang-format on
    for (const auto& c : cases) expectPort(c.setting, c.value, c.number, c.ending, c.ports);
}

TEST(SnmpVersionRule, OnlyTheLastVersionOfAnEnabledSnmpStaysOn) {
    for (unsigned state = 0; state < 16; ++state) {  // a bit for each switch
        std::string states;
        for (unsigned i = 0; i < 4; ++i) states += (state >> i & 1U) != 0 ? "+," : "-,";
        const bool bEnabled = (state & 1U) != 0;
        for (unsigned changed = 1; changed < 4; ++changed) {
            const bool bAnotherOn = (state & 14U & ~(1U << changed)) != 0;
            const std::string verdict = bEnabled && !bAnotherOn ? kLastVersion : kAccepted;
            const std::string& reads = bEnabled ? kReadsVersions : kReadsEnabled;
            expectRows(kVariables, proposed,
                       {{states, {kSwitches[changed]}, {"false"}, reads + verdict}});
        }
    }
}

TEST(SnmpValidation, LooksAtTheWholeTextFalseAndAtLetterCaseAndAcceptsEverythingElse) {
    // clang-format off
    expectRows(kVariables, proposed, {
        {"+,-,-,+", {kThree}, {"false", "FALSE", "fAlSe"}, kReadsVersions + kLastVersion},
        {"+,-,-,+", {kThree}, {"true", "0", "", "no", "false ", " false", "falsely", "f"}, kReadsVersions + kAccepted},
        {"+,-,-,+", {kEnabled, "management.snmp/community", "management.snmp/targetport",
                     "management.snmp/ListeningPort", "management.snmp/VersionThree"},
                     {"1", "false"}, kReadsVersions + kAccepted},
        {"+,-,-,+", {"management.snmp.traptarget/listeningport", "management.snmp.traptarget/targetPort",
                     "Management.snmp/listeningport", "management.snmp.TrapTarget/targetport",
                     "comm.callsetting.callfeatures/fips140enable"}, {"1", "true"}, kAccepted},
        {"+,-,-,+", {kListening, kTrap}, kNone, std::string(kEmptyLog) + kUntouched},
    });
    // clang-format on
}

}  // namespace
}  // namespace PolicyCase
