#ifndef CONFIG_MODEL_STATE_H
#define CONFIG_MODEL_STATE_H

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <variant>
#include <vector>

#include "ErrTypes.h"
#include "SecurityRole.h"
#include "address.h"
#include "messages.pb.h"
#include "model/schema.h"

namespace AppConfig {

using pbcommon::AddressView;

/// Lowest roles that may see and change a variable.
struct AccessLevel {
    SecurityRole read = kUser;
    SecurityRole write = kUser;

    bool operator==(const AccessLevel&) const = default;
};

/// One variable: a row of the schema at one pair of instances, and what it is now.
struct Cell {
    const pbcommon::VariableRow* row = nullptr;
    std::size_t nRow = 0;
    int nNodeInstance = 0;
    int nVarInstance = 0;
    std::string sAddress;  ///< "node.variable", with instances other than 0
    std::string sValue;
    std::vector<std::string> offered;  ///< of an enumeration, a part of its default options
    AccessLevel access;

    [[nodiscard]] bool mayRead(SecurityRole role) const { return role >= access.read; }
    [[nodiscard]] bool mayWrite(SecurityRole role) const { return role >= access.write; }
};

/// What is part of a variable's state, and is reported as it was: value, offered options, access
/// level, in the order of the aspects on the wire.
using AspectState = std::variant<std::string, std::vector<std::string>, AccessLevel>;

[[nodiscard]] inline pbcommon::Aspect aspectOf(const AspectState& state) {
    return static_cast<pbcommon::Aspect>(state.index());
}

/// An aspect as it is now.
[[nodiscard]] AspectState present(const Cell& cell, pbcommon::Aspect aspect);

/// Who made something different: the service when it started, the request itself, or a handler that
/// was notified of a variable.
struct Cause {
    pbcommon::Cause call = pbcommon::START_UP;
    const Cell* trigger = nullptr;  ///< of a handler's call
};

/// An aspect of a variable that is different after a transaction.
struct Effect {
    const Cell* cell;
    AspectState before;
    AspectState after;
    Cause cause;                          ///< of the last of its changes
    SecurityRole lowestReader = kSystem;  ///< lowest role that may be shown it
};

/// Every variable's value, offered options and access level, in the order of the schema. Changes
/// are kept in an undo log until they are committed or rolled back.
class State {
public:
    /// Every variable starts with its defaults. @param schema  borrowed
    explicit State(const Schema& schema);

    State(const State&) = delete;
    State& operator=(const State&) = delete;

    /// A variable by its address, letter case of the names ignored; null without one. Cells keep
    /// their address.
    [[nodiscard]] Cell* find(const AddressView& address);
    /// Number of the schema row that names a variable, whatever the instance.
    [[nodiscard]] bool findRow(std::string_view sNode, std::string_view sVariable,
                               std::size_t& nRow) const;
    [[nodiscard]] const std::vector<Cell>& cells() const { return m_cells; }

    // @return whether it is different now
    bool setValue(Cell& cell, std::string sValue);
    bool setOffered(Cell& cell, std::vector<std::string> offered);
    bool setAccess(Cell& cell, AccessLevel access);

    /// What the changes from now on are put down to.
    void setCause(const Cause& cause) { m_cause = cause; }
    [[nodiscard]] const Cause& cause() const { return m_cause; }
    /// Where the changes from now on begin. Valid until the next commit or the roll-back beyond it.
    [[nodiscard]] std::size_t mark() const { return m_undoLog.size(); }
    /// All that is different since the mark, in the order in which it was first touched.
    [[nodiscard]] std::vector<Effect> effects(std::size_t mark) const;
    /// Takes back all changes since the mark.
    void rollBack(std::size_t mark);
    /// Makes all changes permanent.
    void commit();

private:
    template <typename Content>
    bool set(Cell& cell, Content& content, Content wanted);

    struct Name {
        std::string_view sNode;
        std::string_view sVariable;
    };
    struct NameHash {
        std::size_t operator()(const Name& name) const;
    };
    struct NameEqual {
        bool operator()(const Name& a, const Name& b) const;
    };
    struct Row {
        std::size_t nRow;
        std::size_t nFirstCell;
    };
    struct OldState {
        OldState(Cell& changed, const Cause& by, AspectState old)
            : cell(&changed), cause(by), was(std::move(old)) {}

        Cell* cell;
        Cause cause;
        AspectState was;
    };

    std::vector<Cell> m_cells;
    std::unordered_map<Name, Row, NameHash, NameEqual> m_rowsByName;  ///< views into the schema
    std::vector<OldState> m_undoLog;
    Cause m_cause;
};

}  // namespace AppConfig

#endif
