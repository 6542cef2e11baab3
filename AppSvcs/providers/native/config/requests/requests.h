#ifndef CONFIG_REQUESTS_REQUESTS_H
#define CONFIG_REQUESTS_REQUESTS_H

#include <cstdint>
#include <span>
#include <string>

#include "disk/database.h"
#include "messages.pb.h"
#include "requesthandler.h"

namespace AppConfig {

class ConfigStore;
struct Cell;
struct Proposal;
struct Verdict;

/// Puts the messages of the requesters to the store and its answers into messages. Dispatcher's
/// thread.
class ConfigRequests : public PbUtility::RequestHandler {
public:
    explicit ConfigRequests(ConfigStore& store) : m_store(store) {}

    void dispatchingBegins() override;
    [[nodiscard]] PbUtility::Answer handle(const pbcommon::Requester& requester,
                                           const pbcommon::Request& request, pbcommon::Reply& reply,
                                           PbUtility::Client& client) override;
    [[nodiscard]] eErrorT commit(PbUtility::Publisher& publisher,
                                 pbcommon::Reply& failure) override;

private:
    [[nodiscard]] const Cell* find(const pbcommon::Requester& requester,
                                   const pbcommon::Address& address, pbcommon::Reply& reply);
    void refuseSet(const pbcommon::Requester& requester, std::span<const Proposal> proposals,
                   const Verdict& verdict, pbcommon::Reply& reply);
    void showRefused(const pbcommon::Requester& requester, const Proposal& refused,
                     pbcommon::Reply& reply);
    void get(const pbcommon::Requester& requester, const pbcommon::Get& get,
             pbcommon::Reply& reply);
    void describe(const pbcommon::Requester& requester, const pbcommon::Describe& describe,
                  pbcommon::Reply& reply);
    [[nodiscard]] PbUtility::Answer set(const pbcommon::Requester& requester,
                                        const pbcommon::Set& set, pbcommon::Reply& reply);
    void list(const pbcommon::Requester& requester, const pbcommon::List& list,
              pbcommon::Reply& reply) const;
    void watch(const pbcommon::Requester& requester, const pbcommon::Watch& watch,
               pbcommon::Reply& reply, PbUtility::Client& client);
    void history(const pbcommon::Requester& requester, const pbcommon::History& history,
                 pbcommon::Reply& reply);
    void readPage(const pbcommon::Requester& requester, const std::string& sPattern,
                  std::uint32_t nLimit, std::uint64_t nFrom, std::uint64_t nTo,
                  Database::Order order, pbcommon::Reply& reply);
    void why(const pbcommon::Requester& requester, const pbcommon::Why& why,
             pbcommon::Reply& reply);
    void explain(const pbcommon::Requester& requester, const Cell& cell, pbcommon::Aspect aspect,
                 pbcommon::Reason& reason);

    ConfigStore& m_store;
};

}  // namespace AppConfig

#endif
