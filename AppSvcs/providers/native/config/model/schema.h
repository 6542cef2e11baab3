#ifndef CONFIG_MODEL_SCHEMA_H
#define CONFIG_MODEL_SCHEMA_H

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "ErrTypes.h"
#include "schema.pb.h"

namespace AppConfig {

/// The room system's own settings, in protobuf's text format.
extern const std::string_view roomSystemSchema;

/// Which variables exist. Every row is whole: its instance counts are set, its default is a value
/// of its kind in canonical form, and no two rows name the same variable.
class Schema {
public:
    /// Adds the rows of a schema text and applies its presets; all of them, or none when one is
    /// faulty.
    /// @param sFile   where the text comes from, for the report
    /// @param sError  "file:line: reason" on a failure
    /// @return kNoError; kFileFormatError
    [[nodiscard]] eErrorT add(std::string_view text, const std::string& sFile, std::string& sError);

    /// In the order added. Rows keep their address.
    [[nodiscard]] const std::deque<pbcommon::VariableRow>& rows() const { return m_rows; }

private:
    [[nodiscard]] std::string addRow(pbcommon::VariableRow& row);
    [[nodiscard]] std::string preset(const pbcommon::Preset& preset);

    std::deque<pbcommon::VariableRow> m_rows;
    std::unordered_map<std::string, std::size_t> m_places;  ///< of the rows, by "node.variable"
};

/// The schema that this process works with: the room system's own, and the *.textproto files of the
/// configuration directory in the order of their names. A faulty file is logged as critical
/// and ignored.
[[nodiscard]] Schema loadSchema();

}  // namespace AppConfig

#endif
