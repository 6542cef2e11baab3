#ifndef CFGCTL_WHY_H
#define CFGCTL_WHY_H

#include <string>

#include "messages.pb.h"
#include "output.h"

namespace cfgctl {

using ReasonsT = google::protobuf::RepeatedPtrField<pbcommon::Reason>;

/// For each aspect of a variable: what holds, since when, the settings that led to it one by one,
/// back to the one that was set, and by whom. @param variable  described
[[nodiscard]] std::string whyText(const pbcommon::Variable& variable, const ReasonsT& reasons,
                                  const StreamT& stream);

}  // namespace cfgctl

#endif
