#ifndef CONFIG_STORE_REQUESTS_H
#define CONFIG_STORE_REQUESTS_H

#include <vector>

#include "messages.pb.h"
#include "requesthandler.h"

namespace AppConfig {

class ConfigStore;
struct Cell;
struct Proposal;

/// Puts the messages of the requesters to the store and its answers into messages. Dispatcher's
/// thread.
class ConfigRequests : public PbUtility::RequestHandler {
public:
    explicit ConfigRequests(ConfigStore& store) : m_store(store) {}

    void dispatchingBegins() override;
    void handle(const PbUtility::Requester& requester, const pbcommon::Request& request,
                pbcommon::Reply& reply, PbUtility::Publisher& publisher) override;

private:
    [[nodiscard]] const Cell* find(const PbUtility::Requester& requester,
                                   const pbcommon::Address& address, pbcommon::Reply& reply);
    void showRefused(const PbUtility::Requester& requester, const Proposal& refused,
                     pbcommon::Reply& reply);
    void get(const PbUtility::Requester& requester, const pbcommon::Get& get,
             pbcommon::Reply& reply);
    void describe(const PbUtility::Requester& requester, const pbcommon::Describe& describe,
                  pbcommon::Reply& reply);
    void set(const PbUtility::Requester& requester, const pbcommon::Set& set,
             pbcommon::Reply& reply, PbUtility::Publisher& publisher);
    void list(const PbUtility::Requester& requester, const pbcommon::List& list,
              pbcommon::Reply& reply) const;

    ConfigStore& m_store;
};

}  // namespace AppConfig

#endif
