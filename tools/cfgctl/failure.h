#ifndef CFGCTL_FAILURE_H
#define CFGCTL_FAILURE_H

#include <stdexcept>
#include <string>

namespace cfgctl {

/// What the program's exit status tells a script.
enum ExitStatus : int {
    kAccepted = 0,    ///< done; all of it, where there was more than one thing to do
    kRefused = 1,     ///< the service said no, or a listing is empty
    kUsage = 2,       ///< the request was never sent: the command line or a value is at fault
    kNoService = 3,   ///< nothing was changed: there is no service, or its answer was lost
    kNoAnswer = 4,    ///< none in time; or it was lost, and what was asked may have been done
    kOutputLost = 5,  ///< done, but what there was to print could not be written
};

/// Ends the program: one line for standard error, without the program's name, and the status.
class Failure : public std::runtime_error {
public:
    Failure(ExitStatus status, const std::string& message)
        : std::runtime_error(message), m_status(status) {}

    [[nodiscard]] ExitStatus status() const { return m_status; }

private:
    ExitStatus m_status;
};

}  // namespace cfgctl

#endif
