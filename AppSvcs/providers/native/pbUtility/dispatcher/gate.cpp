#include "gate.h"

#include <unistd.h>

#include <algorithm>

#include "debugname.h"
#include "login.h"
#include "logmsg.h"
#include "names.h"
#include "tags.h"
#include "text.h"

namespace PbUtility {

namespace {

constexpr std::uint32_t kProtocolVersion = 1;
constexpr std::size_t kMaxClientNameBytes = 32;

}  // namespace

Answer Gate::answer(const Peer& peer, const pbcommon::Request& request, pbcommon::Reply& reply,
                    bool& bShutdown) {
    if (!admits(peer, request)) {
        refuse(reply, pbcommon::ERR_ROLE_NOT_ALLOWED);
        return {};
    }
    switch (request.body_case()) {
        case pbcommon::Request::kPing:
            fillService(*reply.mutable_ping());
            return {};
        case pbcommon::Request::kWhoami:
            fillWhoAmI(peer, *reply.mutable_whoami());
            return {};
        case pbcommon::Request::kShutdown:
            loginfo("pbUtility", "shutdown by %s\n", m_audit.describe(m_requester).c_str());
            bShutdown = true;
            return {};
        case pbcommon::Request::BODY_NOT_SET:
            refuse(reply, pbcommon::ERR_UNKNOWN_REQUEST);
            return {};
        default:
            break;
    }
    if (m_handler == nullptr) {
        refuse(reply, pbcommon::ERR_NO_STORE);
        return {};
    }
    return m_handler->handle(m_requester, request, reply);
}

/// Completes m_requester. A refusal has been logged.
bool Gate::admits(const Peer& peer, const pbcommon::Request& request) {
    m_requester = {.role = std::min(peer.highestRole, AppConfig::kAdmin),
                   .uid = peer.uid,
                   .pid = peer.pid,
                   .sClient = pbcommon::cleaned(request.client(), kMaxClientNameBytes)};
    if (request.has_role()) {
        const AppConfig::SecurityRole role = pbcommon::roleOf(request.role());
        if (!pbcommon::Role_IsValid(request.role()) || role > peer.highestRole) {
            logRefusal("role " + pbcommon::roleName(role));
            return false;
        }
        m_requester.role = role;
    }
    if (request.has_shutdown() && m_requester.role < AppConfig::kSystem) {
        logRefusal("shutdown");
        return false;
    }
    return true;
}

void Gate::logRefusal(const std::string& sWhat) {
    if (m_audit.admits(m_requester.uid)) {
        logwarn("pbUtility", "refused %s to %s\n", sWhat.c_str(),
                m_audit.describe(m_requester).c_str());
    }
}

void Gate::fillWhoAmI(const Peer& peer, pbcommon::WhoAmIReply& reply) const {
    reply.set_uid(peer.uid);
    reply.set_login(pbcommon::loginOf(peer.uid));
    reply.set_role(pbcommon::toMessage(m_requester.role));
    reply.set_highest(pbcommon::toMessage(peer.highestRole));
    for (const RoleGroupT& group : roleGroups) {
        if (group.role > peer.highestRole) {  // the lowest of these is the last
            reply.set_next_group(group.name);
            reply.set_next_role(pbcommon::toMessage(group.role));
        }
    }
}

void Gate::fillService(pbcommon::Service& service) const {
    service.set_name(msgDebugName().empty() ? m_sEndpointName : msgDebugName());
    service.set_version(APPCONFIG_VERSION);
    service.set_pid(getpid());
    service.set_protocol(kProtocolVersion);
}

}  // namespace PbUtility
