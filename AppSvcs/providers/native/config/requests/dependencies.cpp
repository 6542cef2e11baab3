#include "requests/dependencies.h"

#include <sstream>

namespace AppConfig {

namespace {

struct DependencyParamT {
    const char* from;
    const char* to;
    pbcommon::Link link;
    const char* conditions;  ///< names, a blank between them
};
constexpr DependencyParamT dependencyTable[] = {
#include "requests/dependencies.inc"
};

}  // namespace

void tellDependencies(std::string_view sSetting,
                      const std::function<bool(const std::string&)>& mayRead,
                      pbcommon::DepsReply& reply) {
    for (const DependencyParamT& row : dependencyTable) {
        const bool bWanted = sSetting.empty() || sSetting == row.from || sSetting == row.to;
        if (!bWanted || !mayRead(row.from) || !mayRead(row.to)) {
            continue;
        }
        pbcommon::Dependency& dependency = *reply.add_dependency();
        dependency.set_from(row.from);
        dependency.set_to(row.to);
        dependency.set_link(row.link);
        std::istringstream conditions(row.conditions);
        for (std::string sName; conditions >> sName;) {
            if (mayRead(sName)) {
                dependency.add_condition(sName);
            }
        }
    }
}

}  // namespace AppConfig
