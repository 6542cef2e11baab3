#include "input.h"

#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>

#include "display.h"
#include "failure.h"
#include "frame.h"
#include "terminal.h"

namespace cfgctl {

namespace {

volatile std::sig_atomic_t gSignal = 0;

void noteSignal(int nSignal) { gSignal = nSignal; }

/// Standard input, a terminal, shows nothing of what is typed while this lives. Signals that would
/// leave it so are noted in gSignal instead and make a read return.
class HiddenTyping {
public:
    HiddenTyping() {
        gSignal = 0;
        struct sigaction note {};
        note.sa_handler = noteSignal;  // without SA_RESTART: read() shall return
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            sigaction(kSignals[i], &note, &m_actions[i]);
        }
        tcgetattr(STDIN_FILENO, &m_modes);
        termios hidden = m_modes;
        hidden.c_lflag = (hidden.c_lflag & ~static_cast<tcflag_t>(ECHO)) | ECHONL;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &hidden);
    }
    ~HiddenTyping() {
        tcsetattr(STDIN_FILENO, TCSADRAIN, &m_modes);
        for (std::size_t i = 0; i < kSignals.size(); ++i) {
            sigaction(kSignals[i], &m_actions[i], nullptr);
        }
    }

    HiddenTyping(const HiddenTyping&) = delete;
    HiddenTyping& operator=(const HiddenTyping&) = delete;

private:
    static constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP};

    std::array<struct sigaction, kSignals.size()> m_actions{};
    termios m_modes{};
};

/// Reads to the end of the input or, with bLine, of the line, or until a signal was noted.
std::string readInput(bool bLine) {
    std::string text;
    std::array<char, 4096> part{};
    while (gSignal == 0 && text.size() <= pbcommon::kMaxMessageBytes &&
           !(bLine && text.ends_with('\n'))) {
        const ssize_t nResult = read(STDIN_FILENO, part.data(), part.size());
        if (nResult == 0) {
            break;
        }
        if (nResult > 0) {
            text.append(part.data(), static_cast<std::size_t>(nResult));
        } else if (errno != EINTR) {
            throw Failure(kUsage,
                          std::string("cannot read standard input: ") + std::strerror(errno));
        }
    }
    return text;
}

/// Asks, and reads a line; an empty one at the end of input.
std::string typedLine(const std::string& sPrompt, bool bHidden) {
    for (;;) {
        std::string text;
        {
            std::optional<HiddenTyping> hidden;
            if (bHidden) {
                hidden.emplace();
            }
            printError(sPrompt);
            text = readInput(true);
        }
        if (text.ends_with('\n')) {
            text.pop_back();
        } else {
            printError("\n");
            text.clear();  // whoever ends the input without the return key gives up
        }
        if (gSignal == 0) {
            return text;
        }
        (void)std::raise(gSignal);  // returns when it only stopped the program: ask again
    }
}

/// @throws Failure  kUsage (the value is empty: what left it out is seldom meant so)
std::string notEmpty(std::string text, const std::string& sName) {
    if (text.empty()) {
        throw Failure(kUsage, "no value was given for " + sName +
                                  "; nothing was sent ('NAME=' sets an empty value)");
    }
    return text;
}

}  // namespace

bool canAsk() { return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1; }

std::string pipedValue(const std::string& sName) {
    std::string text = readInput(false);
    if (text.ends_with('\n')) {
        text.pop_back();
    }
    return notEmpty(text, sName);
}

std::string typedValue(const std::string& sName, const std::string& sHint, bool bHidden) {
    const std::string sShown = bHidden ? "; not shown): " : "): ";
    return notEmpty(typedLine("Value for " + shown(sName) + " (" + shown(sHint) + sShown, bHidden),
                    sName);
}

bool isConfirmed(const std::string& sQuestion) {
    const std::string sAnswer = typedLine(sQuestion + " [y/N] ", false);
    return sAnswer == "y" || sAnswer == "Y" || sAnswer == "yes";
}

void fillAssignments(std::vector<AssignmentT>& assignments,
                     google::protobuf::RepeatedPtrField<pbcommon::Assignment>& request) {
    for (AssignmentT& assignment : assignments) {
        if (assignment.from == AssignmentT::From::kStandardInput) {
            assignment.value = pipedValue(assignment.sName);
        }
        pbcommon::Assignment& added = *request.Add();
        added.mutable_address()->set_name(assignment.sName);
        added.set_value(assignment.value);
    }
}

}  // namespace cfgctl
