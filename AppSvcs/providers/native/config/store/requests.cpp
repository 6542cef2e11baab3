#include "requests.h"

#include <cxxabi.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <typeinfo>
#include <variant>

#include "address.h"
#include "configstore.h"
#include "frame.h"
#include "logmsg.h"
#include "names.h"

namespace AppConfig {

namespace {

/// A page of a listing ends behind this; the longest variable still fits into the frame.
constexpr std::size_t kPageBytes = pbcommon::kMaxMessageBytes / 4;
constexpr std::size_t kMaxShownBytes = 200;  ///< of a refused value

enum class Secrets { kShown, kMasked };

AddressView viewOf(const pbcommon::Address& address) {
    return {.sNode = address.node(),
            .nNodeInstance = address.node_instance(),
            .sVariable = address.variable(),
            .nVarInstance = address.instance()};
}

/// Text of a value that may be shown to whoever may see the variable.
std::string shown(const Cell& cell, const std::string& sValue) {
    const bool bMasked = cell.row->kind() == pbcommon::SECRET && !sValue.empty();
    return bMasked ? std::string(pbcommon::kMaskedSecret) : sValue;
}

void fill(pbcommon::Variable& variable, const Cell& cell, Secrets secrets) {
    const pbcommon::VariableRow& row = *cell.row;
    variable.set_name(cell.sAddress);
    variable.set_value(secrets == Secrets::kMasked ? shown(cell, cell.sValue) : cell.sValue);
    variable.set_kind(row.kind());
    variable.mutable_offered()->Assign(cell.offered.begin(), cell.offered.end());
    variable.set_minimum(row.minimum());
    variable.set_maximum(row.maximum());
    variable.set_max_length(row.max_length());
    variable.set_read(static_cast<pbcommon::Role>(cell.access.read));
    variable.set_write(static_cast<pbcommon::Role>(cell.access.write));
}

/// A handler's class, as the sources call it, without its namespace.
template <typename Handler>
std::string className(const Handler& handler) {
    const char* const mangled = typeid(handler).name();
    int nStatus = 0;
    char* const demangled = abi::__cxa_demangle(mangled, nullptr, nullptr, &nStatus);
    const std::string sName = demangled == nullptr ? mangled : demangled;
    std::free(demangled);
    const std::size_t colon = sName.rfind(':');
    return colon == std::string::npos ? sName : sName.substr(colon + 1);
}

void fill(pbcommon::Description& description, const Cell& cell, const Handlers& handlers) {
    description.set_default_value(shown(cell, cell.row->default_value()));
    *description.mutable_option() = cell.row->option();
    if (handlers.provider != nullptr) {
        description.set_provider(className(*handlers.provider));
    }
    for (const ConsumerConfigHandler* const consumer : handlers.consumers) {
        description.add_consumer(className(*consumer));
    }
}

using TextsT = google::protobuf::RepeatedPtrField<std::string>;

void fill(TextsT& texts, const Cell& cell, const AspectState& state) {
    if (const auto* const sValue = std::get_if<std::string>(&state)) {
        *texts.Add() = shown(cell, *sValue);
    } else if (const auto* const access = std::get_if<AccessLevel>(&state)) {
        *texts.Add() = pbcommon::roleName(access->read);
        *texts.Add() = pbcommon::roleName(access->write);
    } else if (const auto* const offered = std::get_if<std::vector<std::string>>(&state)) {
        texts.Assign(offered->begin(), offered->end());
    }
}

std::string causeText(const Cause& cause) {
    switch (cause.call) {
        case Cause::kOnSet:
            return "onSet " + cause.trigger->sAddress;
        case Cause::kChange:
            return "change " + cause.trigger->sAddress;
        default:
            return "request";
    }
}

void fill(pbcommon::Effect& message, const Effect& effect) {
    // the aspects on the wire are in the order of the alternatives
    message.set_aspect(static_cast<pbcommon::Aspect>(effect.before.index()));
    message.set_variable(effect.cell->sAddress);
    fill(*message.mutable_before(), *effect.cell, effect.before);
    fill(*message.mutable_after(), *effect.cell, effect.after);
    message.set_cause(causeText(effect.cause));
}

/// The effects that a role may be told of.
void fill(google::protobuf::RepeatedPtrField<pbcommon::Effect>& messages,
          const std::vector<Effect>& effects, SecurityRole role) {
    for (const Effect& effect : effects) {
        if (role >= effect.lowestReader) {
            fill(*messages.Add(), effect);
        }
    }
}

std::uint64_t nowMicroseconds() {
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count());
}

/// A variable and the value that it was given, as it may be shown: a later assignment of the same
/// request may have given it another.
struct AssignedT {
    const Cell* cell;
    std::string sValue;
};

/// What a watcher is told of a change; false when it touches nothing that the watcher may see and
/// wants to.
bool fill(pbcommon::Change& message, const PbUtility::Watcher& watcher,
          const PbUtility::Requester& requester, std::span<const AssignedT> assigned,
          const std::vector<Effect>& effects) {
    bool bWanted = false;
    for (const auto& [cell, sValue] : assigned) {
        if (watcher.role >= cell->access.read) {
            pbcommon::Variable& variable = *message.add_assignment();
            variable.set_name(cell->sAddress);
            variable.set_value(sValue);
            bWanted |= pbcommon::matchesPattern(watcher.sPattern, cell->sAddress);
        }
    }
    fill(*message.mutable_effect(), effects, watcher.role);
    for (const pbcommon::Effect& effect : message.effect()) {
        bWanted |= pbcommon::matchesPattern(watcher.sPattern, effect.variable());
    }
    message.set_time_us(nowMicroseconds());
    message.set_client(requester.sClient);
    message.set_uid(requester.uid);
    message.set_pid(requester.pid);
    message.set_role(static_cast<pbcommon::Role>(requester.role));
    return bWanted;
}

}  // namespace

void ConfigRequests::dispatchingBegins() { m_store.settle(); }

void ConfigRequests::handle(const PbUtility::Requester& requester, const pbcommon::Request& request,
                            pbcommon::Reply& reply, PbUtility::Publisher& publisher) {
    switch (request.body_case()) {
        case pbcommon::Request::kGet:
            get(requester, request.get(), reply);
            break;
        case pbcommon::Request::kDescribe:
            describe(requester, request.describe(), reply);
            break;
        case pbcommon::Request::kSet:
            set(requester, request.set(), reply, publisher);
            break;
        case pbcommon::Request::kList:
            list(requester, request.list(), reply);
            break;
        default:
            reply.set_code(pbcommon::kNotImplemented);
            reply.add_tag("ERR_UNKNOWN_REQUEST");
    }
}

/// The variable that is asked for, if the requester may see it; else the reply is a refusal.
const Cell* ConfigRequests::find(const PbUtility::Requester& requester,
                                 const pbcommon::Address& address, pbcommon::Reply& reply) {
    const Cell* const cell = m_store.read(requester, viewOf(address));
    if (cell == nullptr) {
        reply.set_code(pbcommon::kItemNotFound);
        reply.add_tag(ERR_UNKNOWN_VARIABLE);
    }
    return cell;
}

void ConfigRequests::get(const PbUtility::Requester& requester, const pbcommon::Get& get,
                         pbcommon::Reply& reply) {
    if (const Cell* const cell = find(requester, get.address(), reply)) {
        fill(*reply.add_variable(), *cell, Secrets::kShown);
    }
}

void ConfigRequests::describe(const PbUtility::Requester& requester,
                              const pbcommon::Describe& describe, pbcommon::Reply& reply) {
    if (const Cell* const cell = find(requester, describe.address(), reply)) {
        pbcommon::Variable& variable = *reply.add_variable();
        fill(variable, *cell, Secrets::kMasked);
        fill(*variable.mutable_description(), *cell, m_store.handlersOf(*cell));
    }
}

void ConfigRequests::set(const PbUtility::Requester& requester, const pbcommon::Set& set,
                         pbcommon::Reply& reply, PbUtility::Publisher& publisher) {
    std::vector<Proposal> proposals;
    for (const pbcommon::Assignment& assignment : set.assignment()) {
        proposals.push_back(
            {.address = viewOf(assignment.address()), .sValue = assignment.value()});
    }
    std::vector<AssignedT> assigned;
    const auto whileApplied = [&](const Verdict& accepted) {
        for (const Proposal& proposal : proposals) {
            const Cell& cell = *m_store.find(proposal.address);
            assigned.push_back({&cell, shown(cell, std::string(proposal.sValue))});
            pbcommon::Variable& variable = *reply.add_variable();
            fill(variable, cell, Secrets::kMasked);
            variable.set_value(assigned.back().sValue);
        }
        fill(*reply.mutable_effect(), accepted.effects, requester.role);
    };
    const Mode mode = set.dry_run() ? Mode::kRehearse : Mode::kCommit;
    const Verdict verdict = m_store.change(requester, proposals, mode, whileApplied);
    reply.set_code(static_cast<pbcommon::ErrorCode>(verdict.code));
    reply.mutable_tag()->Assign(verdict.tags.begin(), verdict.tags.end());
    reply.set_reboot_needed(verdict.bRebootNeeded);
    if (verdict.code != kNoError) {
        reply.set_failed(static_cast<std::uint32_t>(verdict.nFailed));
        showRefused(requester, proposals[verdict.nFailed], reply);
    } else if (!set.dry_run() && !verdict.effects.empty()) {
        publisher.publish([&](const PbUtility::Watcher& watcher, pbcommon::Reply& message) {
            return fill(*message.mutable_change(), watcher, requester, assigned, verdict.effects);
        });
    }
}

void ConfigRequests::showRefused(const PbUtility::Requester& requester, const Proposal& refused,
                                 pbcommon::Reply& reply) {
    const Cell* const cell = m_store.find(refused.address);
    if (cell != nullptr && requester.role >= cell->access.read) {
        pbcommon::Variable& variable = *reply.add_variable();
        fill(variable, *cell, Secrets::kMasked);
        variable.set_value(
            pbcommon::printable(shown(*cell, std::string(refused.sValue)), kMaxShownBytes));
    }
}

void ConfigRequests::list(const PbUtility::Requester& requester, const pbcommon::List& list,
                          pbcommon::Reply& reply) const {
    const std::vector<Cell>& cells = m_store.cells();
    std::size_t nBytes = 0;
    for (std::size_t i = list.start(); i < cells.size(); ++i) {
        const Cell& cell = cells[i];
        if (requester.role < cell.access.read ||
            !pbcommon::matchesPattern(list.pattern(), cell.sAddress)) {
            continue;
        }
        if (nBytes > kPageBytes) {
            reply.set_next(static_cast<std::uint32_t>(i));
            return;
        }
        pbcommon::Variable& variable = *reply.add_variable();
        fill(variable, cell, Secrets::kMasked);
        nBytes += variable.ByteSizeLong();
    }
}

}  // namespace AppConfig
