#include "session.h"

#include <asio/buffer.hpp>
#include <asio/error.hpp>
#include <asio/write.hpp>
#include <cstring>
#include <string_view>
#include <utility>

#include "clientlimits.h"
#include "dispatcher.h"
#include "frame.h"
#include "logmsg.h"
#include "messages.pb.h"
#include "tags.h"

namespace PbUtility {

namespace {

constexpr std::size_t kReadBytes = std::size_t{4} << 10;  ///< room for one read

/// Gives the memory back that one long message took.
void reclaim(std::string& frames) {
    if (frames.capacity() > kKeptBytes) {
        std::string().swap(frames);
    }
}

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

void Session::resume() {
    m_bAwaitingResume = false;
    if (m_socket.is_open()) {
        guarded([this] { serveFrames(); });
    }
}

void Session::finish() {
    m_bFinishing = true;
    if (!m_bServing && !m_bWriting && m_nHeld == 0) {
        close();
    }
}

void Session::read() {
    if (m_bReading) {
        return;
    }
    m_bReading = true;
    noteHalfFrame();
    reclaimInput();
    const auto room = asio::buffer(m_input) + m_nEnd;
    m_socket.async_read_some(
        room, [self = shared_from_this()](const asio::error_code& error, std::size_t nBytes) {
            self->guarded([&] { self->received(error, nBytes); });
        });
}

void Session::received(const asio::error_code& error, std::size_t nBytes) {
    m_bReading = false;
    m_nEnd += nBytes;
    if (!error) {
        serveFrames();
    } else if (error != asio::error::eof) {
        close();
    } else if (m_nEnd > m_nBegin) {
        dropFor("it ended in the middle of a frame");
    } else {
        finish();
    }
}

void Session::noteHalfFrame() {
    if (m_nEnd > m_nBegin && !m_frameBegan) {
        m_frameBegan = Clock::now();
        m_dispatcher.expectFrameEnd();
    }
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
        m_frameBegan.reset();  // it is not read meanwhile: it is not the client who is late
        return;
    }
    m_bServing = true;
    bool bWritten = true;
    Next next = Next::kServed;
    while (bWritten && next == Next::kServed) {
        next = serveNextFrame();
        bWritten = m_unsent.size() < pbcommon::kMaxUnwrittenBytes || flush();
    }
    m_bServing = false;
    if (!bWritten || !flush()) {
        return;
    }
    if (m_bFinishing) {
        finish();
    } else if (next == Next::kIncomplete) {
        read();
    }
}

Session::Next Session::serveNextFrame() {
    if (m_bFinishing) {
        return Next::kEnded;
    }
    const std::string_view input(m_input.data() + m_nBegin, m_nEnd - m_nBegin);
    if (input.size() < pbcommon::kFrameHeaderBytes) {
        return Next::kIncomplete;
    }
    const std::size_t nLength = pbcommon::frameLength(input.data());
    if (nLength > pbcommon::kMaxMessageBytes) {
        dropFor("it announced a frame of " + std::to_string(nLength) + " bytes");
        return Next::kEnded;
    }
    if (input.size() - pbcommon::kFrameHeaderBytes < nLength) {
        return Next::kIncomplete;
    }
    m_frameBegan.reset();
    const std::string_view message = input.substr(pbcommon::kFrameHeaderBytes, nLength);
    const bool bRoom = m_held.size() < pbcommon::kMaxUnwrittenBytes;
    switch (bRoom ? m_dispatcher.serve(*this, message) : Served::kNotYet) {
        case Served::kNotYet:
            awaitResume();
            return Next::kWaits;
        case Served::kNoRequest:
            dropFor("it sent a frame that is no request");
            return Next::kEnded;
        case Served::kAnswered:
            m_nBegin += pbcommon::kFrameHeaderBytes + nLength;
    }
    return Next::kServed;
}

void Session::awaitResume() {
    if (!m_bAwaitingResume) {
        m_bAwaitingResume = true;
        m_dispatcher.resumeLater(shared_from_this());
    }
}

void Session::answer(const pbcommon::Reply& reply, bool bHeld) {
    std::string& answers = bHeld ? m_held : m_unsent;
    if (pbcommon::appendFrame(reply, answers) != kNoError) {
        pbcommon::Reply tooLong;
        refuse(tooLong, pbcommon::ERR_ANSWER_TOO_LONG);
        (void)pbcommon::appendFrame(tooLong, answers);  // a few bytes: it fits
    }
    if (bHeld) {
        ++m_nHeld;
        awaitResume();
    }
}

void Session::releaseAnswers(const std::string& sFailure) {
    if (sFailure.empty() && m_unsent.empty()) {
        std::swap(m_unsent, m_held);
    } else if (sFailure.empty()) {
        m_unsent += m_held;
    }
    for (; m_nHeld > 0; --m_nHeld) {
        m_unsent += sFailure;
    }
    m_held.clear();
    reclaim(m_held);
}

/// Writes at once what the socket takes, which is nearly always all, and leaves the rest to the
/// event loop.
/// @return false when something is left, or the connection has ended over it
bool Session::flush() {
    addMissedNotice();
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
        reclaim(m_inFlight);
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
                          reclaim(self->m_inFlight);
                          if (error) {
                              self->close();
                          } else {
                              self->guarded([&] { self->serveFrames(); });
                          }
                      });
}

eErrorT Session::watch(Watcher watcher) {
    const eErrorT result = m_dispatcher.addWatcher(shared_from_this());
    if (result == kNoError) {
        m_watcher = std::move(watcher);
    }
    return result;
}

void Session::tell(const std::string& sFrame) {
    // once one is missed the notice comes first, so that the client knows where the gap is
    if (sFrame.empty() || m_nMissed > 0 || m_unsent.size() > pbcommon::kMaxUnreadNewsBytes) {
        ++m_nMissed;
    } else {
        m_unsent += sFrame;
    }
    // else it goes out with the answers
    if (!m_bServing && !m_bWriting && m_nHeld == 0) {
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
    if (!m_bFinishing) {
        logwarn("pbUtility", "connection of uid %u, process %d closed: %s\n", m_peer.uid,
                m_peer.pid, sReason.c_str());
    }
    finish();
}

void Session::hangUp() {
    asio::error_code ignored;
    m_socket.close(ignored);
}

void Session::close() {
    hangUp();
    m_dispatcher.forget(shared_from_this());
}

}  // namespace PbUtility
