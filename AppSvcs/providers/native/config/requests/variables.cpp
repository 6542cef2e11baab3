#include "requests/variables.h"

#include <cxxabi.h>

#include <cstdlib>
#include <string>
#include <typeinfo>

#include "model/aspects.h"
#include "names.h"

namespace AppConfig {

namespace {

/// A handler's class, as the sources call it, without its namespace.
template <typename Handler>
std::string className(const Handler& handler) {
    const char* const mangled = typeid(handler).name();
    int nStatus = 0;
    char* const demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &nStatus);
    const std::string sName = demangled == nullptr ? mangled : demangled;
    std::free(demangled);
    const std::size_t colon = sName.rfind(':');
    return colon == std::string::npos ? sName : sName.substr(colon + 1);
}

}  // namespace

void fill(pbcommon::Variable& variable, const Cell& cell, Secrets secrets) {
    const pbcommon::VariableRow& row = *cell.row;
    variable.set_name(cell.sAddress);
    variable.set_value(secrets == Secrets::kMasked ? shown(cell, cell.sValue) : cell.sValue);
    variable.set_kind(row.kind());
    variable.mutable_offered()->Assign(cell.offered.begin(), cell.offered.end());
    variable.set_minimum(row.minimum());
    variable.set_maximum(row.maximum());
    variable.set_max_length(row.max_length());
    variable.set_read(pbcommon::toMessage(cell.access.read));
    variable.set_write(pbcommon::toMessage(cell.access.write));
}

void fill(pbcommon::Description& description, const Cell& cell, const Handlers& handlers) {
    description.set_default_value(shown(cell, cell.row->default_value()));
    *description.mutable_option() = cell.row->option();
    description.set_summary(cell.row->summary());
    description.set_unit(cell.row->unit());
    *description.mutable_option_summary() = cell.row->option_summary();
    if (handlers.provider != nullptr) {
        description.set_provider(className(*handlers.provider));
    }
    for (const ConsumerConfigHandler* const consumer : handlers.consumers) {
        description.add_consumer(className(*consumer));
    }
}

}  // namespace AppConfig
