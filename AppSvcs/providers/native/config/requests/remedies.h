#ifndef CONFIG_REQUESTS_REMEDIES_H
#define CONFIG_REQUESTS_REMEDIES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "messages.pb.h"
#include "requester.h"
#include "store/transaction.h"

namespace AppConfig {

class ConfigStore;

/// Looks for what would make a refused change acceptable: other values of the settings that its
/// refusal names, rehearsed together with it, of one setting first and then of two.
class Remedies {
public:
    /// @param store      borrowed, as the requester and the proposals of the refused change
    /// @param refusal    of it
    Remedies(ConfigStore& store, const pbcommon::Requester& requester,
             std::span<const Proposal> proposals, const pbcommon::Refusal& refusal);

    /// Tries a page of them, from reply.next() on, and says in the reply what it found and where
    /// to go on. A page has nothing but single settings, or pairs.
    void search(std::uint32_t nStart, pbcommon::ExplainReply& reply);

private:
    /// A setting and another value for it.
    struct Candidate {
        const Cell* cell;
        std::string sValue;
    };
    using TrialT = std::vector<const Candidate*>;

    void addCandidates(const std::string& sName);
    void addTrials();
    void add(TrialT trial);
    [[nodiscard]] bool isAssigned(const Cell& cell) const;
    void rehearse(const TrialT& trial, pbcommon::ExplainReply& reply) const;

    ConfigStore& m_store;
    const pbcommon::Requester& m_requester;
    const std::span<const Proposal> m_proposals;
    std::vector<const Cell*> m_settings;
    std::vector<Candidate> m_candidates;
    std::vector<TrialT> m_trials;  ///< the shorter ones first
};

}  // namespace AppConfig

#endif
