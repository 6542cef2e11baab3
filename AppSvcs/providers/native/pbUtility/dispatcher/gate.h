#ifndef PBUTILITY_DISPATCHER_GATE_H
#define PBUTILITY_DISPATCHER_GATE_H

#include <string>

#include "audit.h"
#include "messages.pb.h"
#include "peer.h"
#include "requesthandler.h"

namespace PbUtility {

/// Where every request comes in: grants the role, answers itself what is about the requester or
/// the process, hands the rest over to the request handler. Dispatcher's thread.
class Gate {
public:
    /// @param audit  borrowed
    Gate(std::string sEndpointName, pbcommon::Audit& audit)
        : m_sEndpointName(std::move(sEndpointName)), m_audit(audit) {}

    /// @param handler  borrowed
    void setHandler(RequestHandler& handler) { m_handler = &handler; }
    [[nodiscard]] RequestHandler* handler() const { return m_handler; }

    [[nodiscard]] bool isChange(const pbcommon::Request& request) const {
        return m_handler != nullptr && m_handler->isChange(request);
    }
    /// @param reply      as RequestHandler::handle() takes it
    /// @param bShutdown  set when the service is to end
    [[nodiscard]] Answer answer(const Peer& peer, const pbcommon::Request& request,
                                pbcommon::Reply& reply, bool& bShutdown);

    void fillService(pbcommon::Service& service) const;

private:
    [[nodiscard]] bool admits(const Peer& peer, const pbcommon::Request& request);
    void fillWhoAmI(const Peer& peer, pbcommon::WhoAmIReply& reply) const;
    void logRefusal(const std::string& sWhat);

    const std::string m_sEndpointName;
    pbcommon::Audit& m_audit;
    RequestHandler* m_handler = nullptr;
    pbcommon::Requester m_requester;  ///< its memory is used again
};

}  // namespace PbUtility

#endif
