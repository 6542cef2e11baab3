#include "store/transaction.h"

#include <algorithm>
#include <utility>

#include "clientlimits.h"
#include "logmsg.h"
#include "model/value.h"
#include "names.h"
#include "tags.h"
#include "text.h"

namespace AppConfig {

namespace {

Verdict refusal(const char* tag) { return {.code = pbcommon::codeOf(tag), .tags = {tag}}; }

Verdict refusalOfCascade(eErrorT code) {
    return code == kServerError ? refusal(pbcommon::ERR_CASCADE_TOO_LONG) : Verdict{.code = code};
}

bool isOffered(const Cell& cell, std::string_view sValue) {
    return cell.row->kind() != pbcommon::ENUMERATION ||
           std::find(cell.offered.begin(), cell.offered.end(), sValue) != cell.offered.end();
}

}  // namespace

void logRefusal(const char* what, const pbcommon::Requester& requester, const AddressView& address,
                const Verdict& verdict, pbcommon::Audit& audit) {
    if (!audit.admits(requester.uid)) {
        return;
    }
    std::string sReason = pbcommon::describeCode(verdict.code);
    for (const std::string& sTag : verdict.tags) {
        sReason += " " + sTag;
    }
    logwarn("cfgCommon", "refused %s of %s by %s: %s\n", what, printable(address).c_str(),
            audit.describe(requester).c_str(), sReason.c_str());
}

Rehearsal::Rehearsal(std::string sRequester) : m_sRequester(std::move(sRequester)) {
    loginfo("cfgCommon", "rehearsal begins for %s: nothing of it is kept\n", m_sRequester.c_str());
}

Rehearsal::~Rehearsal() { loginfo("cfgCommon", "rehearsal ends for %s\n", m_sRequester.c_str()); }

Transaction::Transaction(const Ground& ground, const pbcommon::Requester& requester, Mode mode,
                         std::size_t mark)
    : m_ground(ground), m_requester(requester), m_mode(mode), m_mark(mark) {
    if (m_mode == Mode::kRehearse) {
        m_rehearsal.emplace(requesterText());
    }
}

Transaction::~Transaction() {
    if (!m_bKept) {
        m_ground.cascade.clear();
        m_ground.state.rollBack(m_mark);
        m_ground.pending.drop();
    }
}

Verdict Transaction::apply(std::span<const Proposal> proposals) {
    Verdict verdict = applyAll(proposals);
    if (verdict.code == kNoError && !fillAndMeasure(verdict.assignments)) {
        return refuseAnswer(proposals.front());
    }
    if (verdict.code != kNoError) {
        logRefused(proposals[*verdict.failed].address, verdict);
    }
    return verdict;
}

void Transaction::logRefused(const AddressView& address, const Verdict& verdict) {
    if (m_mode != Mode::kTry) {
        logRefusal("change", m_requester, address, verdict, m_ground.audit);
    }
}

Verdict Transaction::adopt() {
    const eErrorT code = m_ground.cascade.run();
    if (code != kNoError) {
        return refusalOfCascade(code);
    }
    if (!fillAndMeasure({})) {
        logcrit("cfgCommon", "what the service writes by itself is too long to be kept\n");
        return refusal(pbcommon::ERR_ANSWER_TOO_LONG);
    }
    return {};
}

Verdict Transaction::applyAll(std::span<const Proposal> proposals) {
    Verdict all;
    for (const Proposal& proposal : proposals) {
        Verdict verdict = apply(proposal, all.assignments);
        if (verdict.code != kNoError) {
            verdict.failed = static_cast<std::size_t>(&proposal - proposals.data());
            return verdict;
        }
        all.bRebootNeeded |= verdict.bRebootNeeded;
    }
    const eErrorT code = endSubmission(all.assignments);
    if (code != kNoError) {
        Verdict verdict = refusalOfCascade(code);
        verdict.failed = proposals.size() - 1;
        return verdict;
    }
    return all;
}

eErrorT Transaction::endSubmission(std::span<const Assignment> assignments) {
    for (const Assignment& assignment : assignments) {
        m_ground.cascade.submit(*assignment.cell, AppCfgManager::kSubmitEnd, m_requester.sClient);
    }
    return m_ground.cascade.run();
}

Verdict Transaction::apply(const Proposal& proposal, std::vector<Assignment>& assignments) {
    Cell* const cell = m_ground.state.find(proposal.address);
    if (cell == nullptr || !cell->mayRead(m_requester.role)) {
        return refusal(pbcommon::ERR_UNKNOWN_VARIABLE);
    }
    if (!cell->mayWrite(m_requester.role)) {
        return refusal(pbcommon::ERR_READ_ONLY);
    }
    if (const char* const tag = proposalRefusal(*cell->row, proposal.sValue)) {
        return refusal(tag);
    }
    ConfigResult result;
    if (m_ground.handlers.of(*cell).provider != nullptr) {  // nobody else is lent it
        result.setServerContext(requesterText());
        result.setClientName(m_requester.sClient);
    }
    return proposeAndStore(*cell, std::string(proposal.sValue), result, assignments);
}

/// Asks the provider, if there is one.
bool Transaction::isValid(const Cell& cell, const std::string& sValue, ConfigResult& result) {
    ProviderConfigHandler* const provider = m_ground.handlers.of(cell).provider;
    m_ground.reads.begin();
    m_ground.state.setCause({.call = pbcommon::REQUEST});
    const bool bValid = provider == nullptr ||
                        provider->isValid(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                                          cell.nVarInstance, {sValue}, m_requester.role, result);
    m_ground.reads.endVerdict();
    return bValid;
}

/// A proposal that is not a value of its kind reaches the provider as it came in.
Verdict Transaction::proposeAndStore(Cell& cell, std::string sValue, ConfigResult& result,
                                     std::vector<Assignment>& assignments) {
    const char* const tag = canonicalise(*cell.row, sValue, sValue);
    if (!isValid(cell, sValue, result)) {
        // a provider that names no reason still refuses
        const eErrorT code = result.getErrorCode() == kNoError ? kRejected : result.getErrorCode();
        Verdict verdict{.code = code, .tags = result.getErrorTags()};
        for (const Reads::Read& read : m_ground.reads.ofVerdict()) {
            verdict.reads.push_back(read.cell);
        }
        return verdict;
    }
    if (tag != nullptr) {
        return refusal(tag);
    }
    m_ground.cascade.submit(cell, AppCfgManager::kSubmitStart, m_requester.sClient);
    if (!isOffered(cell, sValue)) {
        return refusal(pbcommon::ERR_NOT_OFFERED);
    }
    const bool bRebootNeeded = result.getIsRebootNeeded();
    m_ground.state.setCause({.call = pbcommon::REQUEST});
    m_ground.state.setValue(cell, sValue);
    assignments.push_back({.cell = &cell, .sValue = sValue});
    m_ground.cascade.add({.cell = &cell,
                          .stored = std::move(sValue),
                          .role = m_requester.role,
                          .sContext = m_requester.sClient,
                          .result = std::move(result)});
    const eErrorT code = m_ground.cascade.run();
    if (code != kNoError) {
        return refusalOfCascade(code);
    }
    return {.bRebootNeeded = bRebootNeeded};
}

bool Transaction::fillAndMeasure(std::span<const Assignment> assignments) {
    m_effects = m_ground.state.effects(m_mark);
    m_record = &m_ground.pending.next();
    fillRecord(*m_record, m_requester, assignments, m_effects);
    return m_record->nMaxBytes <= pbcommon::kMaxChangeBytes;
}

const Record& Transaction::refusedRecord() {
    (void)fillAndMeasure({});
    m_record->nRevision = 0;
    return *m_record;
}

const std::string& Transaction::requesterText() {
    if (m_sRequesterText.empty()) {
        m_sRequesterText = describe(m_requester);
    }
    return m_sRequesterText;
}

Verdict Transaction::refuseAnswer(const Proposal& first) {
    Verdict verdict = refusal(pbcommon::ERR_ANSWER_TOO_LONG);
    logRefused(first.address, verdict);
    return verdict;
}

std::uint64_t Transaction::keep() {
    if (m_mode != Mode::kCommit || m_effects.empty()) {
        return 0;
    }
    const std::uint64_t nRevision = m_ground.pending.add(m_effects);
    m_bKept = true;
    return nRevision;
}

}  // namespace AppConfig
