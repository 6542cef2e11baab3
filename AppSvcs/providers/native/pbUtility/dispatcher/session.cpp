#include "session.h"

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <asio/write.hpp>
#include <cstring>
#include <string_view>
#include <utility>

#include "dispatcher.h"
#include "frame.h"
#include "logmsg.h"
#include "messages.pb.h"

namespace PbUtility {

namespace {

constexpr std::size_t kReadBytes = std::size_t{4} << 10;  ///< room for one read
/// Answers collected before they are written; the frames behind wait.
constexpr std::size_t kMaxUnwrittenBytes = std::size_t{64} << 10;
/// News that wait for a client to read; what comes on top is missed.
constexpr std::size_t kMaxUnreadNewsBytes = std::size_t{256} << 10;

}  // namespace

Session::Session(PbUtilsImpl& dispatcher, Socket socket, const Peer& peer)
    : m_dispatcher(dispatcher), m_socket(std::move(socket)), m_peer(peer) {}

void Session::start() {
    asio::error_code error;
    m_socket.non_blocking(true, error);
    if (error) {
        close();
    } else {
        read();
    }
}

void Session::resume() { serveFrames(); }

void Session::finish() {
    m_bFinishing = true;
    if (!m_bServing && !m_bWriting) {
        close();
    }
}

void Session::read() {
    if (m_bReading) {
        return;
    }
    m_bReading = true;
    reclaimInput();
    const auto room = asio::buffer(m_input) + m_nEnd;
    m_socket.async_read_some(
        room, [self = shared_from_this()](const asio::error_code& error, std::size_t nBytes) {
            self->m_bReading = false;
            self->m_nEnd += nBytes;
            if (!error) {
                self->serveFrames();
            } else if (error != asio::error::eof) {
                self->close();
            } else if (self->m_nEnd > self->m_nBegin) {
                self->dropFor("it ended in the middle of a frame");
            } else {
                self->finish();
            }
        });
}

/// Moves what is not served to the front and makes room behind it, for the rest of the frame that
/// it begins and a read more; gives the memory of a long frame back.
void Session::reclaimInput() {
    m_nEnd -= m_nBegin;
    std::memmove(m_input.data(), m_input.data() + m_nBegin, m_nEnd);
    m_nBegin = 0;
    std::size_t nWanted = kReadBytes;
    if (m_nEnd >= pbcommon::kFrameHeaderBytes) {
        nWanted += pbcommon::frameLength(m_input.data());
    }
    m_input.resize(nWanted);
    if (m_input.capacity() > 4 * nWanted) {
        m_input.shrink_to_fit();
    }
}

void Session::serveFrames() {
    if (m_bWriting) {
        return;
    }
    m_bServing = true;
    bool bWritten = true;
    while (bWritten && !m_bFinishing && serveNextFrame()) {
        bWritten = m_unsent.size() < kMaxUnwrittenBytes || flush();
    }
    m_bServing = false;
    if (!bWritten || !flush()) {
        return;
    }
    if (m_bFinishing) {
        close();
    } else if (m_dispatcher.isReady() || m_nEnd - m_nBegin < pbcommon::kFrameHeaderBytes) {
        read();
    }
}

bool Session::serveNextFrame() {
    const std::string_view input(m_input.data() + m_nBegin, m_nEnd - m_nBegin);
    if (input.size() < pbcommon::kFrameHeaderBytes) {
        return false;
    }
    const std::size_t nLength = pbcommon::frameLength(input.data());
    if (nLength > pbcommon::kMaxMessageBytes) {
        dropFor("it announced a frame of " + std::to_string(nLength) + " bytes");
        return false;
    }
    if (!m_dispatcher.isReady() || input.size() - pbcommon::kFrameHeaderBytes < nLength) {
        return false;
    }
    m_nBegin += pbcommon::kFrameHeaderBytes + nLength;
    if (!m_dispatcher.serve(*this, input.substr(pbcommon::kFrameHeaderBytes, nLength), m_unsent)) {
        dropFor("it sent a frame that is no request");
        return false;
    }
    return true;
}

/// Writes at once what the socket takes, which is nearly always all, and leaves the rest to the
/// event loop.
/// @return false when something is left, or the connection has ended over it
bool Session::flush() {
    if (m_unsent.empty()) {
        return true;
    }
    std::swap(m_inFlight, m_unsent);
    asio::error_code error;
    const std::size_t nWritten = m_socket.write_some(asio::buffer(m_inFlight), error);
    if (error && error != asio::error::would_block) {
        close();
        return false;
    }
    if (nWritten == m_inFlight.size()) {
        m_inFlight.clear();
        return true;
    }
    writeRest(nWritten);
    return false;
}

void Session::writeRest(std::size_t nWritten) {
    m_bWriting = true;
    asio::async_write(m_socket, asio::buffer(m_inFlight) + nWritten,
                      [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                          self->m_bWriting = false;
                          self->m_inFlight.clear();
                          self->addMissedNotice();
                          if (error) {
                              self->close();
                          } else {
                              self->serveFrames();
                          }
                      });
}

void Session::tell(const std::string& sFrame) {
    // once one is missed the notice comes first, so that the client knows where the gap is
    if (sFrame.empty() || m_nMissed > 0 || m_unsent.size() > kMaxUnreadNewsBytes) {
        ++m_nMissed;
    } else {
        m_unsent += sFrame;
    }
    if (!m_bServing && !m_bWriting) {
        addMissedNotice();
        (void)flush();
    }
}

void Session::addMissedNotice() {
    if (m_nMissed > 0) {
        pbcommon::Reply notice;
        notice.set_missed(std::exchange(m_nMissed, 0));
        // a few bytes: it fits
        (void)pbcommon::appendFrame(notice, m_unsent);
    }
}

void Session::dropFor(const std::string& sReason) {
    logwarn("pbUtility", "connection of uid %u, process %d closed: %s\n", m_peer.uid, m_peer.pid,
            sReason.c_str());
    finish();
}

void Session::close() {
    asio::error_code ignored;
    m_socket.close(ignored);
    m_dispatcher.forget(shared_from_this());
}

}  // namespace PbUtility
