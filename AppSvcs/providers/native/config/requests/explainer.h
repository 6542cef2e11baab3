#ifndef CONFIG_REQUESTS_EXPLAINER_H
#define CONFIG_REQUESTS_EXPLAINER_H

#include <string>

#include "SecurityRole.h"
#include "messages.pb.h"
#include "requests/audience.h"

namespace AppConfig {

class ConfigStore;
class Transaction;
struct Cell;
struct Record;
struct Verdict;

/// Tells a role why something is as it is, and why it cannot be changed.
class Explainer {
public:
    /// @param store  borrowed
    Explainer(ConfigStore& store, SecurityRole role)
        : m_store(store), m_role(role), m_audience(store, role, Audience::Moment::kHistory) {}

    /// Which durable change made an aspect what it is.
    void tellReason(const Cell& cell, pbcommon::Aspect aspect, pbcommon::Reason& reason) const;
    /// What the refusal of a value rests on. @param change  that was refused, and still is under
    /// way
    void tellRefusal(const Cell& cell, const Verdict& verdict, Transaction& change,
                     pbcommon::Refusal& refusal) const;

private:
    void tellReads(const Cell& cell, const Verdict& verdict, pbcommon::Refusal& refusal) const;
    void tellObstacle(const Cell& cell, pbcommon::Aspect aspect, Transaction& change,
                      pbcommon::Reason& obstacle) const;

    ConfigStore& m_store;
    const SecurityRole m_role;
    const Audience m_audience;
};

}  // namespace AppConfig

#endif
