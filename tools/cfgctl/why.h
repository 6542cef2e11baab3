#ifndef CFGCTL_WHY_H
#define CFGCTL_WHY_H

#include <cstddef>
#include <string>

#include "messages.pb.h"
#include "render.h"

namespace cfgctl {

/// For each aspect of a variable: what holds, since when, the settings that led to it one by one,
/// back to the one that was set, and by whom.
[[nodiscard]] std::string whyText(const pbcommon::WhyReply& reply, const StreamT& stream);

/// The same for one aspect of a variable. @param nIndent  of the first line
[[nodiscard]] std::string reasonText(const std::string& sVariable, const pbcommon::Reason& reason,
                                     std::size_t nIndent, const StreamT& stream);

}  // namespace cfgctl

#endif
