#ifndef PBUTILITY_DISPATCHER_DIRECTORYWATCH_H
#define PBUTILITY_DISPATCHER_DIRECTORYWATCH_H

#include <sys/inotify.h>

#include <array>
#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>
#include <asio/steady_timer.hpp>
#include <climits>
#include <functional>
#include <string>

#include "ErrTypes.h"

namespace PbUtility {

/// Reports when an entry of a directory has been removed or replaced, or the directory itself. The
/// kernel says so: nothing runs meanwhile. The event loop's thread, or before that runs.
class DirectoryWatch {
public:
    /// @param changed  called shortly after a change, so that one of many steps is over
    DirectoryWatch(asio::io_context& io, std::function<void()> changed);

    DirectoryWatch(const DirectoryWatch&) = delete;
    DirectoryWatch& operator=(const DirectoryWatch&) = delete;

    /// Watches this directory from now on, instead of the one before.
    /// @return kNoError; kSystemCallFailed (errno kept; nothing is watched)
    [[nodiscard]] eErrorT start(const std::string& sDirectory);
    void stop();

private:
    void wait();
    void reportSoon();

    const std::function<void()> m_changed;
    asio::posix::stream_descriptor m_inotify;
    asio::steady_timer m_timer;
    bool m_bTimerRuns = false;
    /// Room for one event at least. What they say is not looked at.
    std::array<char, sizeof(inotify_event) + NAME_MAX + 1> m_events{};
};

}  // namespace PbUtility

#endif
