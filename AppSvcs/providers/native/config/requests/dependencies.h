#ifndef CONFIG_REQUESTS_DEPENDENCIES_H
#define CONFIG_REQUESTS_DEPENDENCIES_H

#include <functional>
#include <string>
#include <string_view>

#include "messages.pb.h"

namespace AppConfig {

/// Tells what the built-in rules do, from the table that the rule book's tool has written.
/// @param sSetting  without instances; empty: all
/// @param mayRead   whether a setting may be named
void tellDependencies(std::string_view sSetting,
                      const std::function<bool(const std::string&)>& mayRead,
                      pbcommon::DepsReply& reply);

}  // namespace AppConfig

#endif
