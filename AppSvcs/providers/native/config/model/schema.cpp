#include "model/schema.h"

#include <google/protobuf/io/tokenizer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <set>
#include <utility>
#include <vector>

#include "address.h"
#include "clientlimits.h"
#include "directories.h"
#include "logmsg.h"
#include "model/value.h"
#include "tags.h"
#include "text.h"

namespace AppConfig {

namespace {

using google::protobuf::TextFormat;
using pbcommon::VariableRow;

constexpr std::uint32_t kMaxInstances = 1000;
/// Of a row; a variable's message has its texts up to four times, beside a value.
constexpr std::size_t kMaxRowBytes = std::size_t{32} << 10;
constexpr std::size_t kMaxSummaryBytes = 500;
constexpr std::size_t kMaxUnitBytes = 30;
constexpr std::size_t kMaxTagBytes = 64;
constexpr std::size_t kMaxFileBytes = std::size_t{16} << 20;
constexpr std::size_t kMaxLoggedBytes = 1000;

/// Keeps the first fault that the text format's parser reports.
class FirstFault : public google::protobuf::io::ErrorCollector {
public:
    void AddError(int line, google::protobuf::io::ColumnNumber /*column*/,
                  const std::string& message) override {
        if (m_sMessage.empty()) {
            m_nLine = line;
            m_sMessage = message;
        }
    }

    [[nodiscard]] int line() const { return m_nLine; }
    [[nodiscard]] const std::string& message() const { return m_sMessage; }

private:
    int m_nLine = 0;
    std::string m_sMessage;
};

/// Lines count from 0 in the parser, from 1 for people. A negative one is not known.
std::string report(const std::string& sFile, int nLine, const std::string& sReason) {
    return sFile + (nLine < 0 ? "" : ":" + std::to_string(nLine + 1)) + ": " + sReason;
}

/// A report for whoever knows the file: "line 7: reason". Empty stays empty.
std::string withoutFile(const std::string& sReport, const std::string& sFile) {
    const std::size_t begin = sReport.find_first_not_of(": ", sFile.size());
    if (sReport.empty() || begin == std::string::npos) {
        return sReport;
    }
    const bool bLine = sReport[begin] >= '0' && sReport[begin] <= '9';
    return (bLine ? "line " : "") + sReport.substr(begin);
}

/// Line of a field's i-th message: that of its first field, since the messages of a list,
/// "variable:
/// [{...}, {...}]", have no place of their own.
int lineOf(const TextFormat::ParseInfoTree& places, const google::protobuf::FieldDescriptor* field,
           int i) {
    const auto* const first = field->message_type()->field(0);
    const int nLine = places.GetTreeForNested(field, i)->GetLocation(first, -1).line;
    return nLine < 0 ? places.GetLocation(field, i).line : nLine;
}

/// Names that the address syntax takes, in lower case, by which variables are identified.
bool areNames(const std::string& sNode, const std::string& sVariable) {
    const std::string sAddress = sNode + "." + sVariable;
    const auto address = pbcommon::parseAddress(sAddress);
    const auto isUpper = [](char c) { return c >= 'A' && c <= 'Z'; };
    return address && address->sNode == sNode && address->sVariable == sVariable &&
           std::none_of(sNode.begin(), sNode.end(), isUpper) &&
           std::none_of(sVariable.begin(), sVariable.end(), isUpper);
}

bool isLine(const std::string& sText) {
    return !sText.empty() && sText.find('\n') == std::string::npos && pbcommon::isCleanText(sText);
}

bool isSummary(const std::string& sText) {
    return isLine(sText) && sText.size() <= kMaxSummaryBytes;
}
const std::string kSummaryForm =
    " is a line of up to " + std::to_string(kMaxSummaryBytes) + " bytes";

bool isTag(const std::string& sText) {
    const auto mayBeIn = [](char c) {
        return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
    };
    return !sText.empty() && sText.size() <= kMaxTagBytes &&
           std::all_of(sText.begin(), sText.end(), mayBeIn);
}

/// Bounds that a row of a kind has; it has no others.
struct BoundsT {
    bool bRange = false;
    bool bOptions = false;
    bool bLength = false;
};

/// @return nothing for what is not a kind
std::optional<BoundsT> boundsOf(pbcommon::Kind kind) {
    switch (kind) {
        case pbcommon::BOOLEAN:
            return BoundsT{};
        case pbcommon::INTEGER:
            return BoundsT{.bRange = true};
        case pbcommon::ENUMERATION:
            return BoundsT{.bOptions = true};
        case pbcommon::TEXT:
        case pbcommon::SECRET:
            return BoundsT{.bLength = true};
        case pbcommon::KIND_UNSPECIFIED:
        case pbcommon::Kind_INT_MIN_SENTINEL_DO_NOT_USE_:
        case pbcommon::Kind_INT_MAX_SENTINEL_DO_NOT_USE_:
            break;
    }
    return std::nullopt;
}

/// A fault of the options; empty without one.
std::string faultOfOptions(const VariableRow& row) {
    std::set<std::string> distinct;  // letter case aside, as values are proposed
    for (std::string sOption : row.option()) {
        std::transform(sOption.begin(), sOption.end(), sOption.begin(), pbcommon::lower);
        distinct.insert(std::move(sOption));
    }
    if (static_cast<int>(distinct.size()) != row.option_size()) {
        return "an option is listed twice, letter case aside";
    }
    return std::all_of(row.option().begin(), row.option().end(), isLine)
               ? ""
               : "an option is a line of text";
}

/// A fault of the kind, or of the bounds that come with it; empty without one.
std::string faultOfKind(const VariableRow& row) {
    const std::optional<BoundsT> bounds = boundsOf(row.kind());
    if (!bounds) {
        return "no kind";
    }
    if (bounds->bOptions != (row.option_size() > 0)) {
        return "options belong to an enumeration, and an enumeration needs them";
    }
    if (bounds->bLength != (row.max_length() > 0)) {
        return "max_length belongs to a text or secret, which needs it";
    }
    if (row.max_length() > pbcommon::kMaxValueBytes) {
        return "max_length goes up to " + std::to_string(pbcommon::kMaxValueBytes);
    }
    if (bounds->bRange ? row.minimum() > row.maximum() : row.minimum() != 0 || row.maximum() != 0) {
        return "minimum and maximum belong to an integer, the lower one first";
    }
    return faultOfOptions(row);
}

/// A fault of the texts that explain a row, which may be missing; empty without one.
std::string faultOfTexts(const VariableRow& row) {
    if (!row.summary().empty() && !isSummary(row.summary())) {
        return "a summary" + kSummaryForm;
    }
    if (!row.unit().empty() && (row.kind() != pbcommon::INTEGER || !isLine(row.unit()) ||
                                row.unit().size() > kMaxUnitBytes)) {
        return "a unit belongs to an integer: a line of up to " + std::to_string(kMaxUnitBytes) +
               " bytes";
    }
    std::set<std::string_view> explained;
    for (const pbcommon::OptionSummary& option : row.option_summary()) {
        if (!isDefaultOption(row, option.option())) {
            return "an option_summary names no option of the variable";
        }
        if (!explained.insert(option.option()).second) {
            return "an option has two summaries";
        }
        if (!isSummary(option.summary())) {
            return "an option's summary" + kSummaryForm;
        }
    }
    return "";
}

/// What is wrong with a row by itself; empty when nothing is, and its default is canonical then.
std::string faultOf(VariableRow& row) {
    if (row.ByteSizeLong() > kMaxRowBytes) {
        return "longer than " + std::to_string(kMaxRowBytes) + " bytes";
    }
    if (row.node().empty() || row.name().empty()) {
        return "a variable needs a node and a name";
    }
    if (!areNames(row.node(), row.name())) {
        return "not a name in lower-case letters, digits, '_' and '-'";
    }
    if (row.node_instances() < 1 || row.node_instances() > kMaxInstances || row.instances() < 1 ||
        row.instances() > kMaxInstances) {
        return "instances go from 1 to " + std::to_string(kMaxInstances);
    }
    if (!pbcommon::Role_IsValid(row.read()) || !pbcommon::Role_IsValid(row.write())) {
        return "an access level is not a role";
    }
    for (const auto faultOfPart : {faultOfKind, faultOfTexts}) {
        std::string sFault = faultOfPart(row);
        if (!sFault.empty()) {
            return sFault;
        }
    }
    return canonicalise(row, row.default_value(), *row.mutable_default_value()) == nullptr
               ? ""
               : "its default is not a value of its kind";
}

/// Reads a schema file. @return why it cannot be read; empty when `text` is its content
std::string readFile(const std::filesystem::path& path, std::string& text) {
    std::error_code error;
    if (!std::filesystem::is_regular_file(path, error)) {
        return error ? error.message() : "not a file";  // nor waited for, as a FIFO would be
    }
    std::ifstream file(path, std::ios::binary);
    std::array<char, 4096> part{};
    text.clear();
    do {
        file.read(part.data(), part.size());  // a failure is in its state; an iterator would throw
        text.append(part.data(), static_cast<std::size_t>(file.gcount()));
    } while (file && text.size() <= kMaxFileBytes);
    if (text.size() > kMaxFileBytes) {
        return "longer than " + std::to_string(kMaxFileBytes) + " bytes";
    }
    return file.eof() ? "" : strerror(errno);
}

std::vector<std::filesystem::path> schemaFilesIn(const std::string& sDirectory) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(sDirectory, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == ".textproto") {
            files.push_back(entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

}  // namespace

eErrorT Schema::add(std::string_view text, const std::string& sFile, std::string& sError) {
    pbcommon::Schema parsed;
    FirstFault fault;
    TextFormat::ParseInfoTree places;
    TextFormat::Parser parser;
    parser.RecordErrorsTo(&fault);
    parser.WriteLocationsTo(&places);
    google::protobuf::io::ArrayInputStream input(text.data(), static_cast<int>(text.size()));
    if (!parser.Parse(&input, &parsed)) {
        sError = report(sFile, fault.line(), fault.message());
        return kFileFormatError;
    }
    Schema extended(*this);
    const auto* const descriptor = pbcommon::Schema::descriptor();
    const auto faultAt = [&](int nField, int i, const std::string& sFault) {
        const auto* const field = descriptor->FindFieldByNumber(nField);
        sError = report(sFile, lineOf(places, field, i), sFault);
        return kFileFormatError;
    };
    for (int i = 0; i < parsed.variable_size(); ++i) {
        const std::string sFault = extended.addRow(*parsed.mutable_variable(i));
        if (!sFault.empty()) {
            return faultAt(pbcommon::Schema::kVariableFieldNumber, i, sFault);
        }
    }
    for (int i = 0; i < parsed.preset_size(); ++i) {
        const std::string sFault = extended.preset(parsed.preset(i));
        if (!sFault.empty()) {
            return faultAt(pbcommon::Schema::kPresetFieldNumber, i, sFault);
        }
    }
    for (int i = 0; i < parsed.message_size(); ++i) {
        const std::string sFault = extended.addMessage(parsed.message(i));
        if (!sFault.empty()) {
            return faultAt(pbcommon::Schema::kMessageFieldNumber, i, sFault);
        }
    }
    *this = std::move(extended);
    return kNoError;
}

/// Adds a row. @return what is wrong with it; empty when it has been added
std::string Schema::addRow(VariableRow& row) {
    row.set_node_instances(row.has_node_instances() ? row.node_instances() : 1);
    row.set_instances(row.has_instances() ? row.instances() : 1);
    const std::string sName = row.node() + "." + row.name();
    const std::string sFault = m_places.contains(sName) ? "listed twice" : faultOf(row);
    if (!sFault.empty()) {
        return sName + ": " + sFault;
    }
    m_places.emplace(sName, m_rows.size());
    m_rows.push_back(std::move(row));
    return "";
}

/// Changes a default. @return what is wrong with it; empty when it has been changed
std::string Schema::preset(const pbcommon::Preset& preset) {
    const std::string sName = preset.node() + "." + preset.name();
    const auto place = m_places.find(sName);
    if (place == m_places.end()) {
        return sName + ": no variable of this name";
    }
    VariableRow& row = m_rows[place->second];
    return canonicalise(row, preset.default_value(), *row.mutable_default_value()) == nullptr
               ? ""
               : sName + ": its preset is not a value of its kind";
}

/// Adds a sentence. @return what is wrong with it; empty when it has been added
std::string Schema::addMessage(const pbcommon::TagText& message) {
    const std::string& sTag = message.tag();
    if (!isTag(sTag)) {
        return "a tag is made of up to " + std::to_string(kMaxTagBytes) +
               " upper-case letters, digits and '_'";
    }
    if (!isSummary(message.text())) {
        return sTag + ": a text" + kSummaryForm;
    }
    if (!sentenceOf(sTag).empty() || !m_sentences.emplace(sTag, message.text()).second) {
        return sTag + ": has a text already";
    }
    return "";
}

std::string Schema::sentenceOf(const std::string& sTag) const {
    const auto found = m_sentences.find(sTag);
    return found == m_sentences.end() ? pbcommon::sentenceOf(sTag) : found->second;
}

Schema loadSchema() {
    Schema schema;
    std::string sError;
    if (schema.add(roomSystemSchema, "roomsystem.textproto", sError) != kNoError) {
        logcrit("cfgCommon", "schema %s\n", sError.c_str());
    }
    std::string text;
    for (const std::filesystem::path& path : schemaFilesIn(pbcommon::configurationDirectory())) {
        const std::string sFault = readFile(path, text);
        sError = path.string() + ": cannot be read: " + sFault;
        if (sFault.empty()) {
            sError.clear();
            (void)schema.add(text, path, sError);  // it says so in sError
        }
        pbcommon::SchemaFile file;
        // names in it are anybody's text
        file.set_path(pbcommon::cleaned(path.string(), kMaxLoggedBytes));
        file.set_fault(pbcommon::cleaned(withoutFile(sError, path.string()), kMaxLoggedBytes));
        if (!sError.empty()) {
            logcrit("cfgCommon", "schema %s; the file is ignored\n",
                    pbcommon::printable(sError, kMaxLoggedBytes).c_str());
        }
        schema.note(std::move(file));
    }
    return schema;
}

}  // namespace AppConfig
