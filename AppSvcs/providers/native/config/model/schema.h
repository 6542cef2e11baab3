#ifndef CONFIG_MODEL_SCHEMA_H
#define CONFIG_MODEL_SCHEMA_H

#include <deque>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

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
    /// The files that were found for it, in the order of their names.
    [[nodiscard]] const std::vector<pbcommon::SchemaFile>& files() const { return m_files; }
    void note(pbcommon::SchemaFile file) { m_files.push_back(std::move(file)); }
    /// Of a tag, a handler's or the platform's, for people; empty without one.
    [[nodiscard]] std::string sentenceOf(const std::string& sTag) const;

private:
    [[nodiscard]] std::string addRow(pbcommon::VariableRow& row);
    [[nodiscard]] std::string preset(const pbcommon::Preset& preset);
    [[nodiscard]] std::string addMessage(const pbcommon::TagText& message);

    std::deque<pbcommon::VariableRow> m_rows;
    std::unordered_map<std::string, std::size_t> m_places;  ///< of the rows, by "node.variable"
    std::vector<pbcommon::SchemaFile> m_files;
    std::map<std::string, std::string> m_sentences;  ///< of handlers' tags
};

/// The schema that this process works with: the room system's own, and the *.textproto files of the
/// configuration directory in the order of their names. A faulty file is logged as critical
/// and ignored.
[[nodiscard]] Schema loadSchema();

}  // namespace AppConfig

#endif
