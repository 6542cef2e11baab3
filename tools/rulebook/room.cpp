#include "room.h"

#include <cstdlib>
#include <span>
#include <stdexcept>

#include "service.h"

namespace rulebook {

namespace {

std::filesystem::path makeDirectory() {
    std::string sPattern = std::filesystem::temp_directory_path() / "rulebookXXXXXX";
    if (mkdtemp(sPattern.data()) == nullptr) {
        throw std::runtime_error("cannot make " + sPattern);
    }
    for (const char* const name :
         {"RUNTIME_DIRECTORY", "STATE_DIRECTORY", "CONFIGURATION_DIRECTORY"}) {
        setenv(name, sPattern.c_str(), 1);
    }
    return sPattern;
}

const pbcommon::Requester& requesterIn(AppConfig::SecurityRole role) {
    static pbcommon::Requester requester{.sClient = "rulebook"};
    requester.role = role;
    return requester;
}

}  // namespace

Room::Room()
    : m_directory(makeDirectory()),
      m_provider(AppConfigProvider::AppConfigServiceProvider::getInstance()) {
    m_provider->initialize();
    m_store = &AppConfig::Service::process().store();
    m_store->commitServiceWrites();
}

Room::~Room() {
    m_provider.reset();
    AppConfig::Service::discardProcess();
    std::error_code ignored;
    std::filesystem::remove_all(m_directory, ignored);
}

StateT Room::state() const {
    StateT state;
    for (const Cell& cell : cells()) {
        state.push_back({.sValue = cell.sValue, .offered = cell.offered, .access = cell.access});
    }
    return state;
}

void Room::put(const StateT& state) {
    for (std::size_t i = 0; i < state.size(); ++i) {
        Cell& cell = *m_store->find(cells()[i].sAddress);
        cell.sValue = state[i].sValue;
        cell.offered = state[i].offered;
        cell.access = state[i].access;
    }
}

void Room::putValue(const Cell& cell, const std::string& sValue) {
    m_store->find(cell.sAddress)->sValue = sValue;
}

void Room::note(OutcomeT& outcome, const AppConfig::Record& record) const {
    const auto reads = m_store->reads().ofEffects();
    outcome.bAccepted = true;
    outcome.effects = record.effects;
    outcome.effectReads.assign(reads.begin(), reads.end());
    outcome.after = state();
}

OutcomeT Room::rehearse(const Cell& cell, const std::string& sValue, AppConfig::SecurityRole role) {
    AppConfig::Transaction change = m_store->begin(requesterIn(role), AppConfig::Mode::kTry);
    const AppConfig::Proposal proposal{.address = {.sNode = cell.row->node(),
                                                   .nNodeInstance = cell.nNodeInstance,
                                                   .sVariable = cell.row->name(),
                                                   .nVarInstance = cell.nVarInstance},
                                       .sValue = sValue};
    const AppConfig::Verdict verdict = change.apply({&proposal, 1});
    const auto reads = m_store->reads().ofVerdict();
    OutcomeT outcome{.bByHandler = !verdict.reads.empty(),
                     .tags = verdict.tags,
                     .verdictReads = {reads.begin(), reads.end()}};
    if (verdict.code == kNoError) {
        note(outcome, change.record());
    }
    return outcome;
}

OutcomeT Room::restart() {
    AppConfig::Transaction writes =
        m_store->begin(requesterIn(AppConfig::kStartup), AppConfig::Mode::kTry);
    OutcomeT outcome;
    m_touchPanel.ValidateVantorTouchOptions();
    m_userInterface.ValidateUIControlOptions();
    if (writes.adopt().code == kNoError) {
        note(outcome, writes.record());
    }
    return outcome;
}

bool Room::isValid(const Cell& cell, const std::string& sValue) {
    ProviderConfigHandler* const provider = m_store->handlersOf(cell).provider;
    ConfigResult result;
    return provider == nullptr ||
           provider->isValid(cell.row->node(), cell.nNodeInstance, cell.row->name(),
                             cell.nVarInstance, {sValue}, AppConfig::kSystem, result);
}

}  // namespace rulebook
