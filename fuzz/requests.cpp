// What comes over connections, served by all of the service but its main(): dispatcher, store,
// database, and the handlers on the room system's schema. An input is the bytes that clients send
// to a service that has started for the first time; the second half of its requests comes over a
// second connection, at the same time. One that begins with '#', which no frame of a bearable
// length does, is text, with a request in each of its other lines. Nothing waits for the disk.

#include <google/protobuf/reflection.h>
#include <google/protobuf/text_format.h>

#include <algorithm>
#include <csignal>
#include <random>
#include <sstream>

#include "AppConfigServiceProvider.h"
#include "control.h"
#include "logmsg.h"
#include "model/value.h"
#include "ospaths.h"
#include "pbUtils.h"
#include "rawclient.h"
#include "require.h"
#include "service.h"
#include "temporarydirectory.h"
#include "text.h"

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t maxSize);

extern "C" int fsync(int /*fd*/) { return 0; }
extern "C" int fdatasync(int /*fd*/) { return 0; }

namespace {

using AppConfig::Cell;
using google::protobuf::DynamicCastToGenerated;
using google::protobuf::Message;
using pbcommon::Reply;
using pbcommon::Request;
using PbUtility::Answer;
using CellsT = std::vector<Cell>;

constexpr std::size_t kMaxInputBytes = 64 << 10;  // fits into a socket: sending does not wait

// ---- what has to hold ------------------------------------------------------------------------

/// Number of aspects that differ.
int differences(const CellsT& a, const CellsT& b) {
    int nDifferent = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        nDifferent += (a[i].sValue != b[i].sValue) + (a[i].offered != b[i].offered) +
                      (a[i].access != b[i].access);
    }
    return nDifferent;
}

void checkCell(const Cell& cell) {
    const auto isValue = [&cell](const std::string& sText) {
        std::string sValue;
        return AppConfig::canonicalise(*cell.row, sText, sValue) == nullptr && sValue == sText;
    };
    require(isValue(cell.sValue), "a value is one of its kind, in canonical form");
    require(std::all_of(cell.offered.begin(), cell.offered.end(), isValue),
            "what is offered is among the default options");
    require(pbcommon::Role_IsValid(cell.access.read) && pbcommon::Role_IsValid(cell.access.write),
            "an access level is a pair of roles");
}

/// Only who gets a secret is shown it.
void checkMasked(const std::string& sVariable, const std::string& sText) {
    const Cell* const cell = AppConfig::Service::process().store().find(sVariable);
    require(cell != nullptr, "what is shown exists");
    require(
        cell->row->kind() != pbcommon::SECRET || sText.empty() || sText == pbcommon::kMaskedSecret,
        "a secret is masked");
}

void checkMasked(const pbcommon::Effect& effect) {
    if (effect.aspect() == pbcommon::VALUE) {
        checkMasked(effect.variable(), effect.before(0));
        checkMasked(effect.variable(), effect.after(0));
    }
}

/// Everything in a reply that may hold a value.
void checkMasked(const Message& message) {
    if (const auto* const variable = DynamicCastToGenerated<pbcommon::Variable>(&message)) {
        checkMasked(variable->name(), variable->value());
    } else if (const auto* const given = DynamicCastToGenerated<pbcommon::Assigned>(&message)) {
        checkMasked(given->name(), given->value());
    } else if (const auto* const read = DynamicCastToGenerated<pbcommon::Read>(&message)) {
        checkMasked(read->name(), read->value());
    } else if (const auto* const effect = DynamicCastToGenerated<pbcommon::Effect>(&message)) {
        checkMasked(*effect);
    }
    const google::protobuf::Reflection& reflection = *message.GetReflection();
    std::vector<const google::protobuf::FieldDescriptor*> fields;
    reflection.ListFields(message, &fields);
    for (const auto* const field : fields) {
        if (field->message_type() == nullptr) {
            continue;
        }
        if (!field->is_repeated()) {
            checkMasked(reflection.GetMessage(message, field));
            continue;
        }
        for (const Message& part : reflection.GetRepeatedFieldRef<Message>(message, field)) {
            checkMasked(part);
        }
    }
}

/// Is before the store and looks at all that it is asked and answers. Dispatcher's thread.
class Witness : public PbUtility::RequestHandler {
public:
    void begin() {
        store().dispatchingBegins();
        m_cells = cells();
        std::for_each(m_cells.begin(), m_cells.end(), checkCell);
        m_bChanged = false;
    }
    /// Whether any change has been made, all of which hold.
    [[nodiscard]] bool isChanged() const {
        require(!m_bUncommitted, "a change that is answered is committed");
        return m_bChanged;
    }
    /// As the last request has left it.
    [[nodiscard]] const CellsT& lastCells() const { return m_cells; }

    void dispatchingBegins() override {}
    [[nodiscard]] bool isChange(const Request& request) const override {
        return store().isChange(request);
    }
    Answer handle(const pbcommon::Requester& requester, const Request& request,
                  Reply& reply) override {
        require(!m_bUncommitted || isChange(request), "nobody sees what may be undone");
        const bool bChange = request.has_set() && !request.set().dry_run();
        Request rehearsal(request);
        Reply foretold;
        foretold.set_id(request.id());
        if (bChange) {
            rehearsal.mutable_set()->set_dry_run(true);
            (void)store().handle(requester, rehearsal, foretold);
            require(differences(cells(), m_cells) == 0, "a rehearsal changes nothing");
        }
        const Answer answer = store().handle(requester, request, reply);
        require(reply.ByteSizeLong() <= pbcommon::kMaxMessageBytes,
                "an answer fits into a message");
        checkAnswer(requester, request, reply, answer);
        if (reply.set().has_revision()) {  // which a rehearsal does not make
            foretold.mutable_set()->set_revision(reply.set().revision());
        }
        require(!bChange || foretold.SerializeAsString() == reply.SerializeAsString(),
                "a change does what was rehearsed");
        return answer;
    }
    eErrorT commit(PbUtility::Revisions& revisions, Reply& failure) override {
        m_bUncommitted = false;
        const eErrorT result = store().commit(revisions, failure);
        require(result == kNoError, "a change can be committed");
        return result;
    }
    bool tell(std::uint64_t nRevision, const PbUtility::Watcher& watcher,
              pbcommon::Event& event) override {
        return store().tell(nRevision, watcher, event);
    }
    void release() override { store().release(); }

private:
    static PbUtility::RequestHandler& store() { return AppConfig::Service::process().requests(); }
    static const CellsT& cells() { return AppConfig::Service::process().store().cells(); }

    void checkAnswer(const pbcommon::Requester& requester, const Request& request,
                     const Reply& reply, const Answer& answer) {
        const int nDifferent = differences(cells(), m_cells);
        require((nDifferent > 0) == (answer.bUncommitted),
                "what is different waits for its commit");
        if (nDifferent > 0) {
            require(request.has_set() && !request.set().dry_run() && reply.code() == 0,
                    "only an accepted change changes anything");
            m_cells = cells();
            std::for_each(m_cells.begin(), m_cells.end(), checkCell);
            m_bChanged = m_bUncommitted = true;
        }
        require(nDifferent == 0 || requester.role < AppConfig::kSystem ||
                    nDifferent == reply.set().effect_size(),
                "the effects are all that is different");
        if (!request.get().reveal() || requester.role < AppConfig::kAdmin) {
            checkMasked(reply);
        }
        if (reply.has_why()) {
            checkMasked(reply.why().variable().name(), reply.why().reason(0).now(0));
        }
    }

    CellsT m_cells;
    bool m_bUncommitted = false;
    bool m_bChanged = false;
};

// ---- the service -----------------------------------------------------------------------------

class Service {
public:
    Service() {
        gLogDevicePath = gVireoIdxPath = "/dev/null";
        logmsg_init(0, "Fuzz");
        setenv("STATE_DIRECTORY", m_home.path("state").c_str(), 1);
        setenv("CONFIGURATION_DIRECTORY", m_home.path("config").c_str(), 1);
        start();
    }

    [[nodiscard]] RawClient connect() const { return RawClient(m_home.path("run/fuzz.sock")); }
    /// As if the input had not been. @param bEnded  whether the dispatcher has been shut down
    void restart(bool bEnded) {
        if (m_witness.isChanged()) {
            m_provider.reset();
            AppConfig::Service::discardProcess();
            require(differences(AppConfig::Service::process().store().cells(),
                                m_witness.lastCells()) == 0,
                    "a restart finds what was committed");
            AppConfig::Service::discardProcess();
            std::filesystem::remove_all(m_home.path("state"));
        }
        if (bEnded) {
            m_dispatcher.reset();
        }
        start();
    }

private:
    void start() {
        if (m_provider == nullptr) {
            // nowhere to listen: the provider's own dispatcher, which cannot be reached, stays away
            setenv("RUNTIME_DIRECTORY", "/dev/null/none", 1);
            m_provider.reset(AppConfigProvider::AppConfigServiceProvider::getInstance());
            m_provider->initialize();
            m_witness.begin();
        }
        if (m_dispatcher == nullptr) {
            setenv("RUNTIME_DIRECTORY", m_home.path("run").c_str(), 1);
            m_dispatcher = std::make_unique<PbUtility::PbUtils>("fuzz", 2);
            require(m_dispatcher->start() == kNoError, "the dispatcher starts");
            require(PbUtility::setRequestHandler(*m_dispatcher, m_witness) == kNoError,
                    "a dispatcher takes a handler");
            m_dispatcher->readyToDispatchMessages(true);
        }
    }

    TemporaryDirectory m_home;
    Witness m_witness;
    std::unique_ptr<AppConfigProvider::AppConfigServiceProvider> m_provider;
    std::unique_ptr<PbUtility::PbUtils> m_dispatcher;
};

/// Reads until the connection ends, as it does once all that was sent is served. It waits ten
/// seconds for an answer, whatever the fuzzer's own alarm, which would interrupt it.
std::size_t readAnswers(const RawClient& client) {
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr);
    client.end(SHUT_WR);
    std::size_t nAnswers = 0;
    for (Reply reply; client.receive(reply);) {
        checkMasked(reply.event());
        nAnswers += reply.has_event() ? 0 : 1;
    }
    require(client.isClosed(), "what was sent is answered, in what can be read");
    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
    return nAnswers;
}

// ---- inputs ----------------------------------------------------------------------------------

bool endsService(const Request& request) {
    return request.has_shutdown() && request.role() == pbcommon::kSystem;
}

/// Takes the first frame off `bytes`. @return false when it is no request, or not whole
bool takeRequest(std::string_view& bytes, Request& request) {
    if (bytes.size() < pbcommon::kFrameHeaderBytes) {
        return false;
    }
    const std::size_t nLength = pbcommon::frameLength(bytes.data());
    const std::string_view message = bytes.substr(pbcommon::kFrameHeaderBytes, nLength);
    bytes.remove_prefix(pbcommon::kFrameHeaderBytes + message.size());
    return message.size() == nLength &&
           request.ParseFromArray(message.data(), static_cast<int>(nLength));
}

/// The requests that are answered: up to a fault, or to the one that ends the service.
std::vector<Request> requestsOf(std::string_view bytes) {
    std::vector<Request> requests;
    for (Request request;
         (requests.empty() || !endsService(requests.back())) && takeRequest(bytes, request);) {
        requests.push_back(request);
    }
    return requests;
}

std::string bytesOf(const std::vector<Request>& requests) {
    std::string sBytes;
    for (const Request& request : requests) {
        (void)pbcommon::appendFrame(request, sBytes);
    }
    return sBytes;
}

std::string bytesOf(const std::uint8_t* data, std::size_t size) {
    std::string sInput(reinterpret_cast<const char*>(data), size);
    if (!sInput.starts_with('#')) {
        return sInput;
    }
    std::vector<Request> requests;
    std::istringstream lines(sInput);
    for (std::string sLine; std::getline(lines, sLine);) {
        if (!sLine.starts_with('#')) {
            (void)google::protobuf::TextFormat::ParseFromString(sLine, &requests.emplace_back());
        }
    }
    return bytesOf(requests);
}

/// Makes requests that come through the first checks, and alters them.
class Composer {
public:
    explicit Composer(unsigned seed) : m_random(seed) {}

    std::size_t below(std::size_t n) { return m_random() % n; }
    bool onceIn(std::size_t n) { return below(n) == 0; }

    /// Puts one in, takes one out or alters one.
    void alter(std::vector<Request>& requests) {
        const auto at = requests.begin() + static_cast<std::ptrdiff_t>(below(requests.size() + 1));
        if (at == requests.end() || onceIn(4)) {
            fill(*requests.emplace(at));
        } else if (onceIn(4)) {
            requests.erase(at);
        } else if (at->has_set() && !onceIn(4)) {
            alter(*at->mutable_set());
        } else {
            fill(*at);
        }
    }

private:
    void fill(Request& request) {
        if (onceIn(4)) {
            request.set_role(static_cast<pbcommon::Role>(below(6)));
        }
        switch (below(16)) {
            case 0:
                request.mutable_get()->set_reveal(onceIn(2));
                return (void)fill(*request.mutable_get()->mutable_address());
            case 1:
                return (void)fill(*request.mutable_describe()->mutable_address());
            case 2:
                return (void)fill(*request.mutable_why()->mutable_address());
            case 3:
                request.mutable_list()->set_start(static_cast<std::uint32_t>(below(90)));
                request.mutable_list()->set_changed(onceIn(4));
                return request.mutable_list()->set_pattern(pattern());
            case 4:
                request.mutable_history()->set_before(below(8));
                request.mutable_history()->set_limit(static_cast<std::uint32_t>(below(4)));
                return request.mutable_history()->set_pattern(pattern());
            case 5:
                request.mutable_watch()->set_since(below(8));
                return request.mutable_watch()->set_pattern(pattern());
            case 6:
                return request.mutable_watch()->set_pattern(pattern());
            case 7:
                if (onceIn(4)) {
                    request.set_role(pbcommon::kSystem);
                    return (void)request.mutable_shutdown();
                }
                return (void)request.mutable_ping();
            case 8:
                request.mutable_explain()->set_start(static_cast<std::uint32_t>(below(3)));
                return alter(*request.mutable_explain());
            case 9:
                return onceIn(2) ? (void)request.mutable_status() : (void)request.mutable_whoami();
            case 10:
                return (void)fill(*request.mutable_deps()->mutable_address());
            default:
                request.mutable_set()->set_dry_run(onceIn(8));
                alter(*request.mutable_set());
        }
    }
    /// @param set  a message with assignments
    template <typename Changing>
    void alter(Changing& set) {
        const auto nSize = static_cast<std::size_t>(set.assignment_size());
        pbcommon::Assignment& assignment =
            nSize == 0 || onceIn(3) ? *set.add_assignment()
                                    : *set.mutable_assignment(static_cast<int>(below(nSize)));
        if (onceIn(8)) {
            return assignment.set_value(mutated(assignment.value()));
        }
        const Cell& cell = fill(*assignment.mutable_address());
        assignment.set_value(value(cell));
    }
    const Cell& fill(pbcommon::Address& address) {
        const Cell& cell = anyCell();
        address.set_node(onceIn(32) ? mutated(cell.row->node()) : cell.row->node());
        address.set_node_instance(onceIn(32) ? -1 : cell.nNodeInstance);
        address.set_variable(cell.row->name());
        address.set_instance(onceIn(32) ? 3 : cell.nVarInstance);
        return cell;
    }
    std::string value(const Cell& cell) {
        const auto& options = cell.row->option();
        switch (cell.row->kind()) {
            case pbcommon::BOOLEAN:
                return any({"true", "false", "FALSE", "on"});
            case pbcommon::INTEGER:
                return any({"0", "1", "161", "5060", "8080", "30000"});
            case pbcommon::ENUMERATION:
                return options[static_cast<int>(below(static_cast<std::size_t>(options.size())))];
            default:
                return mutated(cell.sValue);
        }
    }
    std::string pattern() {
        return any({"*", "", "management.*", "*homescreen*", "*password", anyCell().sAddress});
    }
    std::string any(const std::vector<std::string>& texts) { return texts[below(texts.size())]; }
    const Cell& anyCell() {
        const CellsT& cells = AppConfig::Service::process().store().cells();
        return cells[below(cells.size())];
    }
    static std::string mutated(std::string sText) {
        const std::size_t nSize = sText.size();
        sText.resize(nSize + 64);
        sText.resize(
            LLVMFuzzerMutate(reinterpret_cast<std::uint8_t*>(sText.data()), nSize, sText.size()));
        return sText;
    }

    std::minstd_rand m_random;
};

Service& service() {
    static Service instance;
    return instance;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) { return (void)service(), 0; }

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t maxSize, unsigned seed) {
    Composer composer(seed);
    std::vector<Request> requests = requestsOf(bytesOf(data, size));
    for (std::size_t n = 1 + composer.below(3); n > 0; --n) {
        composer.alter(requests);
    }
    const std::string sBytes = bytesOf(requests);
    return composer.onceIn(8) || sBytes.size() > maxSize
               ? LLVMFuzzerMutate(data, size, maxSize)
               : sBytes.copy(reinterpret_cast<char*>(data), maxSize);
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > kMaxInputBytes) {
        return -1;
    }
    const std::string sBytes = bytesOf(data, size);
    const std::vector<Request> requests = requestsOf(sBytes);
    const bool bEnds = !requests.empty() && endsService(requests.back());
    std::string_view rest = sBytes;
    Request passed;
    for (std::size_t n = requests.size() / 2; n > 0; --n) {
        (void)takeRequest(rest, passed);
    }
    const RawClient first = service().connect();
    const RawClient second = service().connect();
    first.send(sBytes.substr(0, sBytes.size() - rest.size()));
    second.send(std::string(rest));
    const std::size_t nAnswers = readAnswers(first) + readAnswers(second);
    require(nAnswers == requests.size() || (bEnds && nAnswers < requests.size()),
            "every request has its answer");
    service().restart(bEnds);
    return 0;
}
