#ifndef TESTS_RECORDING_RECORDINGPLATFORM_H
#define TESTS_RECORDING_RECORDINGPLATFORM_H

#include <map>
#include <string>
#include <vector>

#include "appcfgmanager.h"
#include "cfghandler.h"
#include "pbUtils.h"

/// A platform for tests of the policy: a store of plain maps that the test fills and reads, a
/// dispatcher that delivers nothing, and one list in which every call of either and every log line
/// leave a line of text. Nothing notifies: a write changes its map and is over. One thread.
namespace RecordingPlatform {

/// Everything the platform holds. Settings go by address: "node/variable", with "[n]" behind the
/// node or the variable whose instance is not 0, as in "node/variable[2]".
///
/// Lines of the trace, in the order of the calls:
///   get a | bool a | int a            a value read as text, truth value or number
///   set a=text                        " (result)" follows when the caller wants a report
///   defaults a                        the default option list read
///   options a=x,y                     the offered options written
///   access read/write: a b c          roles by name, "-" for a null pointer
///   role 4                            the service's own role, as its number
///   register provider a type          or consumer; type: the handler's class, by its full name;
///                                     " (manager)" follows when it is not null
///   pb new name n | pb start | pb ready 1 | pb join | pb delete
///   setPbInterface                    " (unknown)" follows unless it is the last dispatcher made
///   debugname name
///   log level component: text         level: crit, err, warn, info, debug; text to the byte
struct Recording {
    std::vector<std::string> trace;

    std::map<std::string, std::string> values;
    std::map<std::string, std::vector<std::string>> defaultOptions;

    std::multimap<std::string, ProviderConfigHandler*> providers;  ///< borrowed
    std::multimap<std::string, ConsumerConfigHandler*> consumers;  ///< borrowed
    PbUtility::PbUtils* dispatcher = nullptr;                      ///< the last made; borrowed

    bool bStoreMissing = false;  ///< getInstance() gives null
    eErrorT answer = kNoError;   ///< what every operation with a code returns; effects remain
};

/// The process's recording. A test starts with `recording() = {}` and its own settings.
Recording& recording();

/// The trace so far.
const std::vector<std::string>& trace();

}  // namespace RecordingPlatform

#endif
