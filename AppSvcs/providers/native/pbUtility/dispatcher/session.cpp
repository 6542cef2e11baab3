#include "session.h"

#include <algorithm>
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
/// Most that is read at once: others want to be heard, too.
constexpr std::size_t kMaxReadBytes = std::size_t{64} << 10;
/// So much of answers is collected while more requests of the connection wait for their turns.
constexpr std::size_t kCollectedBytes = std::size_t{4} << 10;

/// Gives the memory back that one long message took.
void reclaim(std::string& frames) {
    if (frames.capacity() > kKeptBytes) {
        std::string().swap(frames);
    }
}

}  // namespace

Session::Session(PbUtilsImpl& dispatcher, Socket socket, const Peer& peer,
                 std::shared_ptr<User> user)
    : m_dispatcher(dispatcher),
      m_socket(std::move(socket)),
      m_peer(peer),
      m_user(std::move(user)) {}

Session::~Session() { m_user->nInputBytes -= m_input.size(); }

void Session::start() {
    asio::error_code error;
    m_socket.non_blocking(true, error);
    if (error) {
        close();
    } else {
        read();
    }
}

void Session::finish() {
    m_bFinishing = true;
    if (!m_bServing && !m_bWriting && m_heldIds.empty() && flush()) {
        close();
    }
}

void Session::read() {
    if (m_bReading) {
        return;
    }
    noteHalfFrame();
    if (!makeRoom()) {
        dropFor("its user has too many bytes in unfinished requests");
        return;
    }
    m_bReading = true;
    const auto room = asio::buffer(asio::buffer(m_input) + m_nEnd, kMaxReadBytes);
    m_socket.async_read_some(
        room, [self = shared_from_this()](const asio::error_code& error, std::size_t nBytes) {
            self->guarded([&] { self->received(error, nBytes); });
        });
}

void Session::received(const asio::error_code& error, std::size_t nBytes) {
    m_bReading = false;
    m_nEnd += nBytes;
    if (!error) {
        proceed();
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

/// Moves what is not served to the front and makes room after it, for the rest of the frame that
/// it begins and a read more; gives the memory of a long frame back.
/// @return false where that is more than all connections of a user may take
bool Session::makeRoom() {
    m_nEnd -= m_nBegin;
    std::memmove(m_input.data(), m_input.data() + m_nBegin, m_nEnd);
    m_nBegin = 0;
    std::size_t nWanted = kReadBytes;
    if (m_nEnd >= pbcommon::kFrameHeaderBytes) {
        nWanted += pbcommon::frameLength(m_input.data());
    }
    const std::size_t nOfUser = m_user->nInputBytes - m_input.size() + nWanted;
    if (nOfUser > pbcommon::kMaxInputBytesPerUser) {
        return false;
    }
    m_user->nInputBytes = nOfUser;
    m_input.resize(nWanted);
    if (m_input.capacity() > 4 * nWanted) {
        m_input.shrink_to_fit();
    }
    return true;
}

/// Goes on with what has come in, as far as it can.
void Session::proceed() {
    if (m_bWriting) {
        m_frameBegan.reset();  // it is not read meanwhile: it is not the client who is late
    } else if (flush()) {
        goOnAfter(look());
    }
}

/// @param next  what comes after the last frame that was served, whose answer is written
void Session::goOnAfter(Next next) {
    if (m_bFinishing) {
        finish();
    } else if (next == Next::kIncomplete) {
        read();
    } else if (next == Next::kServed && !m_bAwaitsTurn) {
        m_bAwaitsTurn = true;
        m_dispatcher.turns().await(shared_from_this());
    }
}

Session::Next Session::look() {
    if (m_bFinishing) {
        return Next::kEnded;
    }
    const std::size_t nBytes = m_nEnd - m_nBegin;
    if (nBytes < pbcommon::kFrameHeaderBytes) {
        return Next::kIncomplete;
    }
    const std::size_t nLength = pbcommon::frameLength(m_input.data() + m_nBegin);
    if (nLength > pbcommon::kMaxMessageBytes) {
        dropFor("it announced a frame of " + std::to_string(nLength) + " bytes");
        return Next::kEnded;
    }
    if (nBytes - pbcommon::kFrameHeaderBytes < nLength) {
        return Next::kIncomplete;
    }
    m_frameBegan.reset();
    return Next::kServed;
}

Session::Next Session::serve() noexcept {
    Next next = Next::kEnded;
    m_bAwaitsTurn = true;
    if (m_bWriting) {
        next = Next::kUnwritten;
    } else if (m_socket.is_open()) {
        guarded([&] { next = serveFrames(); });
    }
    m_bAwaitsTurn = next == Next::kServed || next == Next::kWaits;
    return next;
}

Session::Next Session::serveFrames() {
    m_bServing = true;
    bool bWritten = true;
    Next next = Next::kServed;
    do {
        next = serveFrame();
        bWritten = m_unsent.size() < pbcommon::kMaxUnwrittenBytes || flush();
    } while (bWritten && next == Next::kServed && m_dispatcher.turns().mayGoOn());
    m_bServing = false;
    const bool bMoreToCome = next == Next::kServed && m_unsent.size() < kCollectedBytes;
    if (!bWritten || (!bMoreToCome && !flush())) {
        return Next::kUnwritten;
    }
    goOnAfter(next);
    return next;
}

Session::Next Session::serveFrame() {
    const Next next = look();
    if (next != Next::kServed) {
        return next;
    }
    const std::size_t nLength = pbcommon::frameLength(m_input.data() + m_nBegin);
    const std::string_view message(m_input.data() + m_nBegin + pbcommon::kFrameHeaderBytes,
                                   nLength);
    const bool bRoom = m_held.size() < pbcommon::kMaxUnwrittenBytes;
    switch (bRoom ? m_dispatcher.serve(*this, message) : Served::kNotYet) {
        case Served::kNotYet:
            return Next::kWaits;
        case Served::kNoRequest:
            dropFor("it sent a frame that is no request");
            return Next::kEnded;
        case Served::kAnswered:
            m_nBegin += pbcommon::kFrameHeaderBytes + nLength;
    }
    return look();
}

void Session::answer(const pbcommon::Reply& reply, bool bHeld) {
    std::string& answers = bHeld ? m_held : m_unsent;
    if (pbcommon::appendFrame(reply, answers) != kNoError) {
        pbcommon::Reply tooLong;
        tooLong.set_id(reply.id());
        refuse(tooLong, pbcommon::ERR_ANSWER_TOO_LONG);
        (void)pbcommon::appendFrame(tooLong, answers);  // a few bytes: it fits
    }
    if (bHeld) {
        m_heldIds.push_back(reply.id());
    }
}

void Session::releaseAnswers(pbcommon::Reply* failure) {
    if (failure != nullptr) {
        for (const std::uint64_t nId : m_heldIds) {
            failure->set_id(nId);
            (void)pbcommon::appendFrame(*failure, m_unsent);  // a few bytes: it fits
        }
    } else if (m_unsent.empty()) {
        std::swap(m_unsent, m_held);
    } else {
        m_unsent += m_held;
    }
    m_heldIds.clear();
    m_held.clear();
    reclaim(m_held);
}

void Session::sendAnswers() {
    if (!m_bWriting && m_socket.is_open() && flush() && m_bFinishing) {
        finish();
    }
}

/// Writes at once what the socket takes, which is nearly always all, and leaves the rest to the
/// event loop.
/// @return false when something is left, or the connection has ended over it
bool Session::flush() {
    addMissedNotices();
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
                              self->guarded([&] { self->proceed(); });
                          }
                      });
}

eErrorT Session::watch(std::uint64_t nId, Watcher watcher) {
    const auto same = std::find_if(m_watches.begin(), m_watches.end(),
                                   [nId](const Watch& watch) { return watch.nId == nId; });
    if (same != m_watches.end()) {
        addMissedNotices();  // before the reply: the new watch has not missed them
        same->watcher = std::move(watcher);
        return kNoError;
    }
    const eErrorT result = m_dispatcher.connections().addWatch(shared_from_this());
    if (result == kNoError) {
        m_watches.push_back({.nId = nId, .watcher = std::move(watcher)});
    }
    return result;
}

void Session::tell(RequestHandler& handler, const Revisions& revisions) {
    for (std::uint64_t nRevision = revisions.nFirst; nRevision <= revisions.nLast; ++nRevision) {
        for (Watch& watch : m_watches) {
            tell(watch, handler, nRevision);
        }
        if (m_unsent.size() >= pbcommon::kMaxUnwrittenBytes) {
            flushEvents();
        }
    }
    flushEvents();
}

/// Where answers are to follow, events go out with them.
void Session::flushEvents() {
    if (!m_bServing && !m_bWriting && m_heldIds.empty() && m_socket.is_open()) {
        (void)flush();
    }
}

/// What does not fit into a frame is missed, as is what the client does not read. Once something is
/// missed the notice comes first, so that the client knows where the gap is.
void Session::tell(Watch& watch, RequestHandler& handler, std::uint64_t nRevision) {
    pbcommon::Reply news;
    if (!handler.tell(nRevision, watch.watcher, *news.mutable_event())) {
        return;
    }
    news.set_id(watch.nId);
    if (watch.nMissed > 0 || m_unsent.size() > pbcommon::kMaxUnreadEventBytes ||
        pbcommon::appendFrame(news, m_unsent) != kNoError) {
        ++watch.nMissed;
    }
}

void Session::addMissedNotices() {
    for (Watch& watch : m_watches) {
        if (watch.nMissed > 0) {
            pbcommon::Reply notice;
            notice.set_id(watch.nId);
            notice.mutable_event()->set_missed(std::exchange(watch.nMissed, 0));
            (void)pbcommon::appendFrame(notice, m_unsent);  // a few bytes: it fits
        }
    }
}

void Session::dropFor(const std::string& sReason) {
    if (!m_bFinishing && m_dispatcher.audit().admits(m_peer.uid)) {
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
