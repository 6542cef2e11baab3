#ifndef CFGCTL_DEPENDENCIES_H
#define CFGCTL_DEPENDENCIES_H

#include <string>

#include "messages.pb.h"
#include "terminal.h"

namespace cfgctl {

/// What the rules do with one setting, as lines. @param sSetting  without instances
[[nodiscard]] std::string dependenciesText(const pbcommon::DepsReply& reply,
                                           const std::string& sSetting, const StreamT& stream);

/// All of it as a picture, in the language of Graphviz' dot: a node for each setting; solid arrows
/// for what it moves, dashed ones for what it decides about, dotted ones for what it moves when the
/// service starts. Settings to which the same happens share a box, to which one arrow leads.
[[nodiscard]] std::string dotText(const pbcommon::DepsReply& reply);

}  // namespace cfgctl

#endif
