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
#include "user.h"

namespace PbUtility {

class PbUtilsImpl;

/// What memory a connection or a message keeps for the next use; more is given back.
inline constexpr std::size_t kKeptBytes = std::size_t{16} << 10;

/// One client's connection: cuts what it sends into frames, has them served in its turns, writes
/// the answers. While answers wait to be written nothing more is read, so a client that does not
/// read holds up itself alone and the memory of a connection stays bounded. A client that breaks
/// the framing, or sends what is no request, loses its connection. Dispatcher's thread.
class Session : public std::enable_shared_from_this<Session> {
public:
    using Socket = asio::local::stream_protocol::socket;
    using Clock = std::chrono::steady_clock;

    /// What comes after a turn.
    enum class Next {
        kServed,      ///< another turn: there is a whole frame
        kIncomplete,  ///< the rest of the frame is to be read
        kWaits,       ///< for the commit
        kUnwritten,   ///< the answers are to be written
        kEnded,       ///< no further frame is served
    };

    Session(PbUtilsImpl& dispatcher, Socket socket, const Peer& peer, std::shared_ptr<User> user);
    ~Session();

    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Begins to read.
    void start();
    /// It is its turn: has the request served that it has, and more while it may go on.
    [[nodiscard]] Next serve() noexcept;
    [[nodiscard]] const Peer& peer() const { return m_peer; }
    [[nodiscard]] const std::shared_ptr<User>& user() const { return m_user; }

    /// Answers the frame that is being served. A held answer waits for releaseAnswers().
    void answer(const pbcommon::Reply& reply, bool bHeld);
    /// Lets the held answers go with sendAnswers(). @param failure  unless null, it takes the place
    ///                                                          of each, but for its id
    void releaseAnswers(pbcommon::Reply* failure);
    /// Writes the answers that wait only for others to be written with them.
    void sendAnswers();

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

    void read();
    void received(const asio::error_code& error, std::size_t nBytes);
    void noteHalfFrame();
    void proceed();
    void goOnAfter(Next next);
    [[nodiscard]] Next serveFrames();
    [[nodiscard]] bool flush();
    void writeRest(std::size_t nWritten);
    void tell(Watch& watch, RequestHandler& handler, std::uint64_t nRevision);
    void flushEvents();
    void addMissedNotices();
    [[nodiscard]] bool makeRoom();
    /// What the input begins with: kServed for a whole frame.
    [[nodiscard]] Next look();
    /// Serves the frame at the start of the input. @return what comes after it
    [[nodiscard]] Next serveFrame();
    void close();

    PbUtilsImpl& m_dispatcher;
    Socket m_socket;
    const Peer m_peer;
    const std::shared_ptr<User> m_user;
    std::string m_input;  ///< bytes from m_nBegin to m_nEnd have come in and are not served
    std::size_t m_nBegin = 0;
    std::size_t m_nEnd = 0;
    std::string m_unsent;                  ///< frames to be written
    std::string m_inFlight;                ///< frames being written
    std::string m_held;                    ///< answers that follow m_unsent once they are released
    std::vector<std::uint64_t> m_heldIds;  ///< of their requests
    std::vector<Watch> m_watches;
    std::optional<Clock::time_point> m_frameBegan;
    bool m_bAwaitsTurn = false;
    bool m_bReading = false;
    bool m_bServing = false;
    bool m_bWriting = false;
    bool m_bFinishing = false;
};

}  // namespace PbUtility

#endif
