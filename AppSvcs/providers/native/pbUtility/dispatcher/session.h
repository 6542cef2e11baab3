#ifndef PBUTILITY_DISPATCHER_SESSION_H
#define PBUTILITY_DISPATCHER_SESSION_H

#include <asio/local/stream_protocol.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "peer.h"
#include "requesthandler.h"

namespace PbUtility {

class PbUtilsImpl;

/// One client's connection: cuts what it sends into frames, has them served in order, writes the
/// answers. While answers wait to be written nothing more is read, so a client that does not read
/// holds up itself alone and the memory of a connection stays bounded. A client that breaks the
/// framing, or sends what is no request, loses its connection. Dispatcher's thread.
class Session : public std::enable_shared_from_this<Session> {
public:
    using Socket = asio::local::stream_protocol::socket;

    Session(PbUtilsImpl& dispatcher, Socket socket, const Peer& peer);

    /// Begins to read.
    void start();
    /// Serves what has come in while the dispatcher was not ready.
    void resume();
    [[nodiscard]] const Peer& peer() const { return m_peer; }

    /// From now on the client wants to be told of changes.
    void watch(Watcher watcher) { m_watcher = std::move(watcher); }
    [[nodiscard]] const std::optional<Watcher>& watcher() const { return m_watcher; }
    /// Sends a frame that is no answer. A client that does not read misses it and is told how many
    /// it has missed when it reads again; so does one for which the frame is empty.
    void tell(const std::string& sFrame);

    /// Closes the connection once the answers given so far are written.
    void finish();

private:
    void read();
    void serveFrames();
    [[nodiscard]] bool flush();
    void writeRest(std::size_t nWritten);
    void addMissedNotice();
    void reclaimInput();
    /// Takes the frame at the start of the input; false when there is none, or none yet.
    bool serveNextFrame();
    void dropFor(const std::string& sReason);
    void close();

    PbUtilsImpl& m_dispatcher;
    Socket m_socket;
    Peer m_peer;
    std::string m_input;  ///< bytes from m_nBegin to m_nEnd have come in and are not served
    std::size_t m_nBegin = 0;
    std::size_t m_nEnd = 0;
    std::string m_unsent;    ///< frames to be written
    std::string m_inFlight;  ///< frames being written
    std::optional<Watcher> m_watcher;
    std::uint64_t m_nMissed = 0;
    bool m_bReading = false;
    bool m_bServing = false;
    bool m_bWriting = false;
    bool m_bFinishing = false;
};

}  // namespace PbUtility

#endif
