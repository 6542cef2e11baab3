#ifndef TESTS_HANDLERS_HANDLERCASE_H
#define TESTS_HANDLERS_HANDLERCASE_H

#include <gmock/gmock.h>

#include <functional>

#include "recordingplatform.h"

/// Tables of what the store tells a handler, and of all that each call does to the platform.
namespace PolicyCase {

using RecordingPlatform::recording;
using Lines = std::vector<std::string>;

// What a switch is set to, by what its handler takes for on. "-" is an empty value list.
const Lines kTrue = {"true", "TRUE"}, kNotTrue = {"false", "False", "1", ""}, kNone = {"-"};
const Lines kFalse = {"false", "False"}, kNotFalse = {"true", "TRUE", "1", ""};

constexpr char on[] = "true", off[] = "false";  // states of a switch

struct RowT {
    Lines states;       ///< of the table's variables, a column each; one left out is empty
    Lines settings;     ///< to try, "node/variable" each,
    Lines texts;        ///< with each of these values: all come to the same
    std::string lines;  ///< of the trace
    int nNodeInstance = 6;
};

/// A call, as the handlers' operations take it. No rule looks at the variable's instance or a role.
struct ChangeT {
    std::string node, variable;
    std::list<std::string> values;
    int nNodeInstance;
};

constexpr char kAccepted[] = "(true, 0, false, {})\n", kRefused[] = "(false, -3, false, {})\n";
constexpr char kUntouched[] = "(false, -48, true, {})\n";  // as the caller left the record
constexpr char kEmptyLog[] = "log err appconfig: returning bcz sValue.empty() \n\n";

/// Lets the handler judge, and notes verdict, code, reboot flag and tags; or lets it react.
inline void call(ProviderConfigHandler&& handler, const ChangeT& change, bool bProposal) {
    const auto& [node, variable, values, nNode] = change;
    ConfigResult result;
    result.fillConfigResult(true, kDeviceSleep, true);
    if (!bProposal) {
        handler.onSet(node, nNode, variable, 5, values, AppConfig::kAdmin, result);
        EXPECT_EQ(result.getErrorCode(), kDeviceSleep);  // the verdict was given before
        return;
    }
    const bool bValid = handler.isValid(node, nNode, variable, 5, values, AppConfig::kUser, result);
    recording().trace.push_back(testing::PrintToString(std::tuple(
        bValid, int{result.getErrorCode()}, result.getIsRebootNeeded(), result.getErrorTags())));
}

/// @param variables  whose states the row gives
/// @param act        makes the call and gives its entry's log line, empty without one
inline void expectRow(const Lines& variables, const std::function<std::string(ChangeT)>& act,
                      const RowT& row, const std::string& setting, const std::string& text) {
    recording() = {};
    for (size_t i = 0; i < row.states.size(); ++i) {
        recording().values[variables.at(i)] = row.states[i];
    }
    const size_t slash = setting.find('/');
    ChangeT change = {setting.substr(0, slash), setting.substr(slash + 1), {}, row.nNodeInstance};
    if (text != "-") change.values = {text, "other"};  // only the first counts
    const std::string expected = act(change) + row.lines;
    std::string lines;
    for (const std::string& line : recording().trace) lines += line + "\n";
    EXPECT_EQ(lines, expected) << setting << "=" << text << ", "
                               << testing::PrintToString(row.states);
}

inline void expectRows(const Lines& variables, const std::function<std::string(ChangeT)>& act,
                       const std::vector<RowT>& rows) {
    for (const RowT& row : rows) {
        for (const std::string& setting : row.settings) {
            for (const std::string& text : row.texts) expectRow(variables, act, row, setting, text);
        }
    }
}

}  // namespace PolicyCase

#endif
