// Schema texts, as a configuration directory holds them, added to nothing and, for their presets,
// to the room system's own schema: what is accepted has to be whole, what is refused must leave no
// trace.

#include "model/schema.h"

#include <cctype>
#include <cstdint>

#include "address.h"
#include "model/aspects.h"
#include "model/state.h"
#include "model/value.h"
#include "require.h"
#include "text.h"

namespace {

using AppConfig::Cell;
using AppConfig::Schema;

constexpr std::size_t kMaxCells = 5000;  ///< more take longer, and show nothing else
constexpr std::uint32_t kMaxInstances = 1000;

const Schema& roomSystem() {
    static const Schema schema = [] {
        Schema added;
        std::string sError;
        require(added.add(AppConfig::roomSystemSchema, "", sError) == kNoError,
                "the room system's schema is accepted");
        return added;
    }();
    return schema;
}

std::string textOf(const Schema& schema) {
    std::string sText;
    for (const pbcommon::VariableRow& row : schema.rows()) {
        sText += row.SerializeAsString();
    }
    return sText;
}

/// @return number of its variables
std::size_t checkRow(const pbcommon::VariableRow& row) {
    const std::string sAddress =
        pbcommon::formatAddress({row.node(), 1, row.name(), static_cast<int>(row.instances())});
    const auto address = pbcommon::parseAddress(sAddress);
    require(address && address->sNode == row.node() && address->sVariable == row.name(),
            "a row has an address");
    require(row.node_instances() >= 1 && row.node_instances() <= kMaxInstances &&
                row.instances() >= 1 && row.instances() <= kMaxInstances,
            "a row has its instances");
    require(pbcommon::Role_IsValid(row.read()) && pbcommon::Role_IsValid(row.write()),
            "access levels are roles");
    std::string sValue;
    require(AppConfig::canonicalise(row, row.default_value(), sValue) == nullptr &&
                sValue == row.default_value(),
            "a default is a value of its kind, in canonical form");
    for (const std::string& sOption : row.option()) {
        require(AppConfig::canonicalise(row, sOption, sValue) == nullptr && sValue == sOption,
                "an option is a value");
        require(pbcommon::isCleanText(sOption), "an option goes into a message");
    }
    require(pbcommon::isCleanText(row.summary()) && pbcommon::isCleanText(row.unit()),
            "what explains a row goes into a message");
    for (const pbcommon::OptionSummary& option : row.option_summary()) {
        require(AppConfig::isDefaultOption(row, option.option()) &&
                    pbcommon::isCleanText(option.summary()),
                "an option that is explained is one of the row's");
    }
    return std::size_t{row.node_instances()} * row.instances();
}

/// What the database keeps of a narrowed list is what it gives back.
void checkOptionsKept(AppConfig::State& state, Cell& cell) {
    for (std::vector<std::string> left = cell.offered; !left.empty();) {
        left.erase(left.begin());
        state.setOffered(cell, left);
        const AppConfig::Setting kept = settingOf(cell, pbcommon::OPTIONS);
        state.setOffered(cell, {cell.row->option().begin(), cell.row->option().end()});
        require(restore(state, cell, kept) && cell.offered == left, "narrowed options are kept");
    }
}

void checkState(const Schema& schema, std::size_t nCells) {
    AppConfig::State state(schema);
    require(state.cells().size() == nCells, "every instance is a cell");
    for (const Cell& cell : state.cells()) {
        std::string sNode = cell.row->node();
        for (char& c : sNode) {
            c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
        }
        Cell* const found =
            state.find({sNode, cell.nNodeInstance, cell.row->name(), cell.nVarInstance});
        require(found == &cell, "a cell is found by its address");
        require(pbcommon::parseAddress(cell.sAddress).has_value(), "a cell's address can be read");
        checkOptionsKept(state, *found);
    }
}

void checkAddedTo(Schema schema, std::string_view text) {
    const std::string sBefore = textOf(schema);
    const std::size_t nRowsBefore = schema.rows().size();
    std::string sError;
    if (schema.add(text, "f", sError) != kNoError) {
        require(sError.starts_with("f:") &&
                    (sError[2] == ' ' || (sError[2] >= '1' && sError[2] <= '9')),
                "a refusal names the file, and the line when it is known");
        require(textOf(schema) == sBefore, "a refused text leaves no trace");
        return;
    }
    require(sError.empty(), "nothing is said of an accepted text");
    std::size_t nCells = 0;
    for (const pbcommon::VariableRow& row : schema.rows()) {
        nCells += checkRow(row);
    }
    if (nCells <= kMaxCells) {
        checkState(schema, nCells);
    }
    const std::string sOnce = textOf(schema);
    const bool bAgain = schema.add(text, "f", sError) == kNoError;
    require(textOf(schema) == sOnce, "a text added twice changes nothing more");
    require(!bAgain || schema.rows().size() == nRowsBefore,
            "a variable is refused the second time");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkAddedTo({}, text);
    if (text.find("preset") != std::string_view::npos) {
        checkAddedTo(roomSystem(), text);
    }
    return 0;
}
