#ifndef PBUTILITY_DISPATCHER_SESSION_H
#define PBUTILITY_DISPATCHER_SESSION_H

#include <asio/local/stream_protocol.hpp>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "exceptions.h"
#include "peer.h"
#include "requesthandler.h"

namespace PbUtility {

class PbUtilsImpl;

/// What memory a connection or a message keeps for the next use; more is given back.
inline constexpr std::size_t kKeptBytes = std::size_t{16} << 10;

/// One client's connection: cuts what it sends into frames, has them served in order, writes the
/// answers. While answers wait to be written nothing more is read, so a client that does not read
/// holds up itself alone and the memory of a connection stays bounded. A client that breaks the
/// framing, or sends what is no request, loses its connection. Dispatcher's thread.
class Session : public std::enable_shared_from_this<Session> {
public:
    using Socket = asio::local::stream_protocol::socket;
    using Clock = std::chrono::steady_clock;

    Session(PbUtilsImpl& dispatcher, Socket socket, const Peer& peer);

    /// Begins to read.
    void start();
    /// Serves what had to wait.
    void resume();
    [[nodiscard]] const Peer& peer() const { return m_peer; }

    /// Answers the frame that is being served. A held answer waits for releaseAnswers().
    void answer(const pbcommon::Reply& reply, bool bHeld);
    /// Lets the held answers go with the next resume(). @param failure  unless null, it takes the
    ///                                                              place of each, but for its id
    void releaseAnswers(pbcommon::Reply* failure);

    /// Begins a watch; one with the same id ends.
    /// @return kNoError; kOutOfResources (there are too many)
    [[nodiscard]] eErrorT watch(std::uint64_t nId, Watcher watcher);
    [[nodiscard]] std::size_t watchCount() const { return m_watches.size(); }
    /// Sends the events of changes to each watch. A client that does not read misses some; an event
    /// with their number precedes the next one.
    void tell(RequestHandler& handler, const Revisions& revisions);

    /// Runs work on this connection; what it throws ends the connection, and nobody else's.
    template <typename Work>
    void guarded(Work work) noexcept {
        try {
            work();
        } catch (...) {
            (void)pbcommon::logException("pbUtility", "go on with a connection", kServerError);
            close();
        }
    }

    /// When the frame began whose rest is being waited for; nothing when there is none.
    [[nodiscard]] std::optional<Clock::time_point> frameBegan() const { return m_frameBegan; }
    /// Closes the connection as finish() does, and logs the reason.
    void dropFor(const std::string& sReason);
    /// Closes the connection once the answers given so far are written.
    void finish();
    /// Closes the connection at once, when the event loop that would do it has ended.
    void hangUp();

private:
    struct Watch {
        std::uint64_t nId;
        Watcher watcher;
        std::uint64_t nMissed = 0;  ///< changes whose number has not been reported yet
    };
    enum class Next {
        kServed,
        kIncomplete,  ///< the rest of the frame is to be read
        kWaits,       ///< resume() will be called
        kEnded,       ///< no further frame is served
    };

    void read();
    void received(const asio::error_code& error, std::size_t nBytes);
    void noteHalfFrame();
    void serveFrames();
    [[nodiscard]] bool flush();
    void writeRest(std::size_t nWritten);
    void tell(Watch& watch, RequestHandler& handler, std::uint64_t nRevision);
    void flushEvents();
    void addMissedNotices();
    void reclaimInput();
    /// Takes the frame at the start of the input.
    [[nodiscard]] Next serveNextFrame();
    void awaitResume();
    void close();

    PbUtilsImpl& m_dispatcher;
    Socket m_socket;
    Peer m_peer;
    std::string m_input;  ///< bytes from m_nBegin to m_nEnd have come in and are not served
    std::size_t m_nBegin = 0;
    std::size_t m_nEnd = 0;
    std::string m_unsent;                  ///< frames to be written
    std::string m_inFlight;                ///< frames being written
    std::string m_held;                    ///< answers that follow m_unsent once they are released
    std::vector<std::uint64_t> m_heldIds;  ///< of their requests
    std::vector<Watch> m_watches;
    std::optional<Clock::time_point> m_frameBegan;
    bool m_bAwaitingResume = false;
    bool m_bReading = false;
    bool m_bServing = false;
    bool m_bWriting = false;
    bool m_bFinishing = false;
};

}  // namespace PbUtility

#endif
