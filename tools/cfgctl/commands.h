#ifndef CFGCTL_COMMANDS_H
#define CFGCTL_COMMANDS_H

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "address.h"
#include "connection.h"
#include "failure.h"
#include "messages.pb.h"

namespace cfgctl {

using OperandsT = std::vector<std::string>;

/// What the commands of one run share: the options and the connection, which is made when the first
/// request needs it.
class Session {
public:
    Session(std::optional<pbcommon::Role> role, bool bJson, bool bDryRun)
        : m_role(role), m_bJson(bJson), m_bDryRun(bDryRun) {}

    [[nodiscard]] bool isJson() const { return m_bJson; }
    [[nodiscard]] bool isDryRun() const { return m_bDryRun; }

    /// Completes the request and has it answered. @throws Failure  as Connection does
    [[nodiscard]] pbcommon::Reply ask(pbcommon::Request request);

    /// The variables that match a pattern, all pages in one reply; when a page is refused, its code
    /// and tags, and the variables before it. @throws Failure  as Connection does
    [[nodiscard]] pbcommon::Reply list(const std::string& pattern);

    /// After an ask(): a further reply. @throws Failure  as Connection does
    [[nodiscard]] pbcommon::Reply next();

private:
    std::optional<pbcommon::Role> m_role;
    bool m_bJson;
    bool m_bDryRun;
    std::optional<Connection> m_connection;
};

enum class OperandCount { kNone, kOne, kAtMostOne, kAny };  ///< kAny: at least one

/// One command. Its function prints what there is to say, refusals too.
struct CommandT {
    const char* name;
    const char* operand;  ///< as help names it; null with kNone, as the next one
    OperandCount operands;
    const char* operandHelp;
    const char* summary;  ///< null: for programs, and left out of help and completion
    const char* help;     ///< what stands below the options: details and an example
    ExitStatus (*run)(Session& session, const OperandsT& operands);
    bool bDryRun = false;  ///< takes --dry-run

    [[nodiscard]] bool isHidden() const { return summary == nullptr; }
};

/// All commands, in the order that help shows.
[[nodiscard]] std::span<const CommandT> commands();

/// @throws Failure  kUsage (the text is no address)
[[nodiscard]] pbcommon::VariableAddress addressOf(const std::string& text);

/// An operand of `set`.
struct AssignmentT {
    pbcommon::VariableAddress address;
    std::optional<std::string> value;  ///< nothing: to be read from standard input
};

/// Reads NAME=VALUE..., or one NAME alone. A failure never shows what may be a value, except in the
/// correction of "NAME VALUE". @throws Failure  kUsage
[[nodiscard]] std::vector<AssignmentT> parseAssignments(const OperandsT& operands);

}  // namespace cfgctl

#endif
