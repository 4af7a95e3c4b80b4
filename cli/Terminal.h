#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace radvex::cli {

bool isTerminal(int descriptor);

/// Columns of the terminal behind a descriptor; 80 when it does not say.
std::size_t terminalWidth(int descriptor);

/// Whether what is written there may be coloured: as --color says, or on a terminal that is not a dumb one (TERM),
/// unless the environment has NO_COLOR with any value but an empty one.
bool allowsColours(int descriptor);

/// How the output of this run looks.
struct Look {
    std::size_t width = 0; ///< columns of the terminal; 0: the output goes to a file or a pipe, and nothing is cut
    bool isColoured = false;

    /// For what is written to a descriptor now.
    static Look of(int descriptor);
};

enum class Tone { Strong, Name, Quiet };

/// The text with the escape sequences of a tone around it; unchanged without colours.
std::string toned(const std::string& text, Tone tone, bool isColoured);

/// Columns that UTF-8 takes on a terminal: two for East Asian wide characters, none for combining ones.
std::size_t columnsOf(std::string_view text);

/// The text if it fits into so many columns; otherwise its start and three dots.
std::string cutToColumns(std::string_view text, std::size_t columns);

/// The text and as many blanks as it lacks to this many columns.
std::string padded(std::string text, std::size_t columns);

} // namespace radvex::cli
