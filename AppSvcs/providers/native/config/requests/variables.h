#ifndef CONFIG_REQUESTS_VARIABLES_H
#define CONFIG_REQUESTS_VARIABLES_H

#include "messages.pb.h"
#include "model/state.h"
#include "store/handlers.h"

namespace AppConfig {

enum class Secrets { kShown, kMasked };

/// Writes a variable as it is now into a message.
void fill(pbcommon::Variable& variable, const Cell& cell, Secrets secrets);

/// Writes what a variable is whatever its state: the schema's row, and who handles it.
void fill(pbcommon::Description& description, const Cell& cell, const Handlers& handlers);

}  // namespace AppConfig

#endif
