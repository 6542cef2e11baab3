#ifndef CFGCTL_WHY_H
#define CFGCTL_WHY_H

#include <string>

#include "messages.pb.h"
#include "render.h"

namespace cfgctl {

/// For each aspect of a variable: what holds, since when, the settings that led to it one by one,
/// back to the one that was set, and by whom.
[[nodiscard]] std::string whyText(const pbcommon::WhyReply& reply, const StreamT& stream);

}  // namespace cfgctl

#endif
