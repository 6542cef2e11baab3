#ifndef CONFIG_STORE_TRANSACTION_H
#define CONFIG_STORE_TRANSACTION_H

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "audit.h"
#include "model/record.h"
#include "model/state.h"
#include "requester.h"
#include "store/cascade.h"
#include "store/handlers.h"
#include "store/pending.h"
#include "store/reads.h"

namespace AppConfig {

/// A proposed value, as it came in.
struct Proposal {
    AddressView address;
    std::string_view sValue;
};

/// Outcome of a request to change variables.
struct Verdict {
    eErrorT code = kNoError;
    std::list<std::string> tags{};
    bool bRebootNeeded = false;
    std::optional<std::size_t> failed{};    ///< the proposal that was refused, when one alone was
    std::vector<const Cell*> reads{};       ///< what its provider looked at, if that refused it
    std::vector<Assignment> assignments{};  ///< of an accepted change, in the order proposed
};

enum class Mode {
    kCommit,
    kRehearse,  ///< everything runs as for a change, and is never kept
    kTry,       ///< as kRehearse, and the platform logs nothing: one of many in a Rehearsal
};

/// Marks in the log what the handlers say of changes that are not made.
class Rehearsal {
public:
    /// @param sRequester  as log records have him
    explicit Rehearsal(std::string sRequester);
    ~Rehearsal();

    Rehearsal(const Rehearsal&) = delete;
    Rehearsal& operator=(const Rehearsal&) = delete;

private:
    const std::string m_sRequester;
};

/// Writes a refusal into the log: of what, of which variable, by whom, and why.
/// @param what  "change" or "read"
void logRefusal(const char* what, const pbcommon::Requester& requester, const AddressView& address,
                const Verdict& verdict, pbcommon::Audit& audit);

/// A change under way: what it does holds in memory while this lives, and is undone with it unless
/// it is kept; also when an exception passes through. One at a time. Threads as AppCfgManager.
class Transaction {
public:
    /// What it works on; borrowed.
    struct Ground {
        State& state;
        const HandlerTable& handlers;
        Cascade& cascade;
        Pending& pending;
        Reads& reads;
        pbcommon::Audit& audit;
    };

    /// @param requester  borrowed
    /// @param mark       of the state: what has been done since then belongs to it
    Transaction(const Ground& ground, const pbcommon::Requester& requester, Mode mode,
                std::size_t mark);
    ~Transaction();

    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

    /// Applies the proposals in order until one is refused, each with all that follows from it:
    ///
    /// 1. the variable exists and the requester may see it, and may change it;
    /// 2. the proposal can be a value at all;
    /// 3. the provider, if there is one, finds it valid: its reasons come before the store's;
    /// 4. it is a value of the variable's kind, and offered now;
    /// 5. it is stored in canonical form, and the cascade runs.
    ///
    /// Called once. A refusal has been logged when it returns.
    [[nodiscard]] Verdict apply(std::span<const Proposal> proposals);
    /// Makes what the service has written by itself a change, with all that follows from it.
    [[nodiscard]] Verdict adopt();

    /// Of an accepted change: complete but for its revision. Valid until keep(), or this ends.
    [[nodiscard]] const Record& record() const { return *m_record; }
    /// Of a refused one: what it had done until then, in the same form.
    [[nodiscard]] const Record& refusedRecord();
    /// Refuses it after all, since its answer does not fit into a message. Logged.
    [[nodiscard]] Verdict refuseAnswer(const Proposal& first);
    /// Lets an accepted change wait for the commit.
    /// @return its revision; 0: it has made nothing different, or is a rehearsal
    std::uint64_t keep();

private:
    void logRefused(const AddressView& address, const Verdict& verdict);
    [[nodiscard]] Verdict applyAll(std::span<const Proposal> proposals);
    [[nodiscard]] Verdict apply(const Proposal& proposal, std::vector<Assignment>& assignments);
    [[nodiscard]] bool isValid(const Cell& cell, const std::string& sValue, ConfigResult& result);
    [[nodiscard]] Verdict proposeAndStore(Cell& cell, std::string sValue, ConfigResult& result,
                                          std::vector<Assignment>& assignments);
    [[nodiscard]] eErrorT endSubmission(std::span<const Assignment> assignments);
    /// The requester as log records have it; made when it is first needed.
    [[nodiscard]] const std::string& requesterText();
    /// @return whether all that tells of it later has room for it
    [[nodiscard]] bool fillAndMeasure(std::span<const Assignment> assignments);

    const Ground m_ground;
    const pbcommon::Requester& m_requester;
    const Mode m_mode;
    const std::size_t m_mark;
    std::string m_sRequesterText;
    std::vector<Effect> m_effects;
    Record* m_record = nullptr;
    std::optional<Rehearsal> m_rehearsal;
    bool m_bKept = false;
};

}  // namespace AppConfig

#endif
