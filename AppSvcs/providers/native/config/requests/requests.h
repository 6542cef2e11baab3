#ifndef CONFIG_REQUESTS_REQUESTS_H
#define CONFIG_REQUESTS_REQUESTS_H

#include <cstdint>
#include <span>
#include <string>

#include "disk/database.h"
#include "messages.pb.h"
#include "requesthandler.h"
#include "requests/explainer.h"

namespace AppConfig {

class ConfigStore;
class Page;
class Transaction;
struct Cell;
struct Proposal;
struct Verdict;

/// Puts the messages of the requesters to the store and its answers into messages. Dispatcher's
/// thread.
class ConfigRequests : public PbUtility::RequestHandler {
public:
    explicit ConfigRequests(ConfigStore& store) : m_store(store) {}

    void dispatchingBegins() override;
    [[nodiscard]] bool isChange(const pbcommon::Request& request) const override;
    [[nodiscard]] PbUtility::Answer handle(const pbcommon::Requester& requester,
                                           const pbcommon::Request& request,
                                           pbcommon::Reply& reply) override;
    [[nodiscard]] eErrorT commit(PbUtility::Revisions& revisions,
                                 pbcommon::Reply& failure) override;
    [[nodiscard]] bool tell(std::uint64_t nRevision, const PbUtility::Watcher& watcher,
                            pbcommon::Event& event) override;
    void release() override;

private:
    using Requester = pbcommon::Requester;
    using Request = pbcommon::Request;
    using Reply = pbcommon::Reply;

    /// One kind of request.
    struct RequestParamT {
        Request::BodyCase body;
        bool bChanges;            ///< it may change something, and then waits for the commit
        SecurityRole lowestRole;  ///< that may ask for it
        PbUtility::Answer (ConfigRequests::*serve)(const Requester&, const Request&, Reply&);
    };
    static const RequestParamT requestTable[];
    [[nodiscard]] static const RequestParamT* rowOf(const Request& request);

    [[nodiscard]] PbUtility::Answer get(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer set(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer list(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer describe(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer watch(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer history(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer why(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer explain(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer deps(const Requester&, const Request&, Reply&);
    [[nodiscard]] PbUtility::Answer status(const Requester&, const Request&, Reply&);

    [[nodiscard]] const Cell* find(const Requester& requester, const pbcommon::Address& address,
                                   Reply& reply);
    void fillDescribed(pbcommon::Variable& variable, const Cell& cell) const;
    [[nodiscard]] bool rehearse(const Requester& requester, std::span<const Proposal> proposals,
                                Transaction& change, Reply& reply);
    void refuseSet(const Requester& requester, std::span<const Proposal> proposals,
                   const Verdict& verdict, Transaction& change, Reply& reply);
    [[nodiscard]] bool readPage(Page& page, std::uint64_t nFrom, std::uint64_t nTo,
                                Database::Order order, Reply& reply);
    void explainTag(const std::string& sTag, Reply& reply) const;

    ConfigStore& m_store;
    ToldObstacles m_told;
};

}  // namespace AppConfig

#endif
