#ifndef CONFIG_REQUESTS_EXPLAINER_H
#define CONFIG_REQUESTS_EXPLAINER_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>

#include "SecurityRole.h"
#include "messages.pb.h"
#include "requests/audience.h"

namespace AppConfig {

class ConfigStore;
class Transaction;
struct Cell;
struct Record;
struct Verdict;

/// Obstacles that have been told since the last commit: the same refusal again costs no look into
/// the history.
class ToldObstacles {
public:
    /// What has been told of an aspect to a role; empty when nothing has been told yet.
    [[nodiscard]] pbcommon::Reason& of(const Cell& cell, pbcommon::Aspect aspect, SecurityRole role,
                                       std::uint64_t nNewest) {
        constexpr std::size_t kMaxTold = 64;
        if (nNewest != m_nNewest || m_told.size() >= kMaxTold) {
            m_told.clear();
            m_nNewest = nNewest;
        }
        return m_told[{&cell, aspect, role}];
    }

private:
    std::map<std::tuple<const Cell*, pbcommon::Aspect, SecurityRole>, pbcommon::Reason> m_told;
    std::uint64_t m_nNewest = 0;
};

/// Tells a role why something is as it is, and why it cannot be changed.
class Explainer {
public:
    /// @param store  borrowed, as `told`
    Explainer(ConfigStore& store, SecurityRole role, ToldObstacles& told)
        : m_store(store),
          m_role(role),
          m_audience(store, role, Audience::Moment::kHistory),
          m_told(told) {}

    /// Which durable change made an aspect what it is.
    void tellReason(const Cell& cell, pbcommon::Aspect aspect, pbcommon::Reason& reason) const;
    /// What the refusal of a value rests on. @param change  that was refused, and still is under
    /// way
    void tellRefusal(const Cell& cell, const Verdict& verdict, Transaction& change,
                     pbcommon::Refusal& refusal) const;

private:
    void tellReads(const Cell& cell, const Verdict& verdict, pbcommon::Refusal& refusal) const;
    void tellDurable(const Cell& cell, pbcommon::Aspect aspect, pbcommon::Reason& obstacle) const;
    void tellObstacle(const Cell& cell, pbcommon::Aspect aspect, Transaction& change,
                      pbcommon::Reason& obstacle) const;

    ConfigStore& m_store;
    const SecurityRole m_role;
    const Audience m_audience;
    ToldObstacles& m_told;
};

}  // namespace AppConfig

#endif
