#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vdictl {

/// What a piece of output means, which decides its colour.
enum class Style { Plain, Heading, Good, Warning, Bad, Faint };

/// Where output goes: how wide it is and whether it shows colours. Immutable.
class Terminal {
public:
    /// One without limit and without colour: a file or a pipe.
    Terminal() = default;
    Terminal(std::size_t width, bool colour) : isTerminal_(true), width_(width), colour_(colour) {}

    /// What standard output is now. Colour only on a terminal that has it, and not when NO_COLOR is set to anything.
    static Terminal ofStandardOutput();

    bool isTerminal() const { return isTerminal_; }

    /// Columns; 0 without limit.
    std::size_t width() const { return width_; }

    bool hasColour() const { return colour_; }

    /// The text with its colour, if there is any.
    std::string paint(Style style, std::string_view text) const;

private:
    bool isTerminal_ = false;
    std::size_t width_ = 0;
    bool colour_ = false;
};

/// How many columns a printable UTF-8 text takes.
std::size_t columnsOf(std::string_view text);

/// The text cut to so many columns, the last one "…" when something is missing.
std::string cutToColumns(std::string_view text, std::size_t columns);

/// The text with everything that would not print, or would do something to a terminal, as "\x1b": bytes that are no
/// UTF-8 and control characters. A backslash is doubled, so that the bytes can be told.
std::string printable(std::string_view bytes);

/// As `printable`, but with backslashes as they are: for texts whose backslashes mean something.
std::string visible(std::string_view bytes);

/// Writes to standard output, whole, at once; throws `Failure` when that is not possible.
void print(std::string_view text);

}  // namespace vdictl
