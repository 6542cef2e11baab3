#ifndef CONFIG_MODEL_ASPECTS_H
#define CONFIG_MODEL_ASPECTS_H

#include <cstdint>
#include <optional>
#include <string>

#include "messages.pb.h"
#include "model/state.h"

namespace AppConfig {

/// An aspect as a list of texts, as messages have it.
using TextsT = google::protobuf::RepeatedPtrField<std::string>;

/// One aspect of a variable, as it is kept. A value is its own text; options, and the read and
/// write role, are one a line.
struct Setting {
    std::string sVariable;
    pbcommon::Aspect aspect;
    std::optional<std::string> content{};  ///< nothing: options or access as the schema has them
    std::uint64_t nRevision = 0;           ///< of the change that last set it
};

/// An aspect as it is now, secrets in clear: for the database only.
[[nodiscard]] Setting settingOf(const Cell& cell, pbcommon::Aspect aspect);
/// Gives a variable back what was kept. Not logged.
/// @return false (nothing has been changed) when the schema does not admit it
[[nodiscard]] bool restore(State& state, Cell& cell, const Setting& setting);

/// Whether what was kept is what the variable has now, also in another form of the same value: it
/// does not count when the schema no longer admits it.
[[nodiscard]] bool holds(const Cell& cell, const Setting& kept);

/// "value", "options", "access".
[[nodiscard]] const char* aspectName(pbcommon::Aspect aspect);
[[nodiscard]] std::optional<pbcommon::Aspect> aspectNamed(const std::string& sName);

/// The one text of an aspect as the list that messages have.
void splitTexts(const std::string& sText, pbcommon::Aspect aspect, TextsT& texts);

/// What is part of a variable's state as one text; of a secret that is not empty, the mask.
[[nodiscard]] std::string shown(const Cell& cell, const AspectState& state);
/// Text of a value that may be shown to whoever may see the variable.
[[nodiscard]] std::string shown(const Cell& cell, const std::string& sValue);

}  // namespace AppConfig

#endif
