#ifndef CFGCTL_TERMINAL_H
#define CFGCTL_TERMINAL_H

#include <cstddef>
#include <string>
#include <string_view>

namespace cfgctl {

/// What a stream leads to.
struct StreamT {
    bool bTerminal = false;
    bool bColour = false;      ///< false also where the user or the terminal wants none
    std::size_t nColumns = 0;  ///< width of the terminal
    bool bUtf8 = true;         ///< false: the locale may have nothing but ASCII

    /// Between what was and what is.
    [[nodiscard]] const char* arrow() const { return bUtf8 ? " → " : " -> "; }
    /// In place of what was left out.
    [[nodiscard]] const char* ellipsis() const { return bUtf8 ? "…" : "..."; }
};
[[nodiscard]] StreamT streamOf(int fd);

enum class Colour { kBold, kRed, kGreen, kDim };
[[nodiscard]] std::string painted(const std::string& text, Colour colour, const StreamT& stream);

/// Writes to standard output. Throws nothing: finishOutput() reports what went wrong.
void print(std::string_view text);
/// Writes to standard error.
void printError(std::string_view text);
/// One line on standard error, with the program's name before it.
void complain(std::string_view text);
/// @throws Failure  kOutputLost (something that was printed has not arrived)
void finishOutput();

}  // namespace cfgctl

#endif
