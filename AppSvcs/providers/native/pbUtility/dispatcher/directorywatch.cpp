#include "directorywatch.h"

#include <unistd.h>

#include <asio/buffer.hpp>
#include <cerrno>
#include <chrono>
#include <utility>

namespace PbUtility {

namespace {

constexpr std::chrono::milliseconds kSettleTime{100};
constexpr std::uint32_t kEvents =
    IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;

}  // namespace

DirectoryWatch::DirectoryWatch(asio::io_context& io, std::function<void()> changed)
    : m_changed(std::move(changed)), m_inotify(io), m_timer(io) {}

eErrorT DirectoryWatch::start(const std::string& sDirectory) {
    stop();
    const int fd = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    asio::error_code error;
    if (fd >= 0 && inotify_add_watch(fd, sDirectory.c_str(), kEvents) >= 0) {
        m_inotify.assign(fd, error);
    } else {
        error.assign(errno, asio::system_category());
    }
    if (error) {
        close(fd);
        errno = error.value();
        return kSystemCallFailed;
    }
    wait();
    return kNoError;
}

void DirectoryWatch::stop() {
    asio::error_code ignored;
    m_inotify.close(ignored);
    m_timer.cancel();
}

void DirectoryWatch::wait() {
    m_inotify.async_read_some(asio::buffer(m_events),
                              [this](const asio::error_code& error, std::size_t) {
                                  if (!error) {
                                      reportSoon();
                                      wait();
                                  }
                              });
}

void DirectoryWatch::reportSoon() {
    if (m_bTimerRuns) {
        return;
    }
    m_bTimerRuns = true;
    m_timer.expires_after(kSettleTime);
    m_timer.async_wait([this](const asio::error_code& cancelled) {
        m_bTimerRuns = false;
        if (!cancelled) {
            m_changed();
        }
    });
}

}  // namespace PbUtility
