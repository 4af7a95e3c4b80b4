#include "cli/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>

#include "cli/arguments/Messages.h"

namespace radvex::cli {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};

/// What terminals show in two columns, by blocks of Unicode.
constexpr std::array kWide{Range{0x1100, 0x115F},   Range{0x2E80, 0x303E},  Range{0x3041, 0xA4CF},
                           Range{0xAC00, 0xD7A3},   Range{0xF900, 0xFAFF},  Range{0xFE30, 0xFE6F},
                           Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},  Range{0x1F300, 0x1F64F},
                           Range{0x1F900, 0x1F9FF}, Range{0x20000, 0x3FFFD}};
/// Marks that stand on the character in front of them.
constexpr std::array kCombining{Range{0x0300, 0x036F}, Range{0x200B, 0x200F}, Range{0x20D0, 0x20FF},
                                Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F}};

template <typename Ranges>
bool isIn(const Ranges& ranges, char32_t character) {
    return std::ranges::any_of(ranges,
                               [&](const Range& range) { return character >= range.first && character <= range.last; });
}

std::size_t widthOf(char32_t character) { return isIn(kCombining, character) ? 0 : isIn(kWide, character) ? 2 : 1; }

bool continues(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Takes the first character from the text. Bytes that are not UTF-8 count as one character each.
char32_t takeCharacter(std::string_view& text) {
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = first < 0xC0 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    char32_t character = length == 1 ? first : first & (0x7FU >> length);
    std::size_t taken = 1;
    for (; taken < length && taken < text.size() && continues(text[taken]); ++taken) {
        character = character << 6 | (static_cast<unsigned char>(text[taken]) & 0x3FU);
    }
    text.remove_prefix(taken);
    return character;
}

const char* startOf(Tone tone) {
    switch (tone) {
    case Tone::Strong: return "\x1B[1m";
    case Tone::Name: return "\x1B[36m";
    default: return "\x1B[2m";
    }
}

} // namespace

bool isTerminal(int descriptor) { return isatty(descriptor) == 1; }

std::size_t terminalWidth(int descriptor) {
    winsize size{};
    return ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool allowsColours(int descriptor) {
    const std::string& rule = Messages::ofThisRun().colour;
    if (rule != "auto") {
        return rule == "always";
    }
    const char* const refused = std::getenv("NO_COLOR");
    const char* const kind = std::getenv("TERM");
    const bool isDumb = kind == nullptr || std::string_view(kind) == "dumb" || *kind == '\0';
    return isTerminal(descriptor) && !isDumb && (refused == nullptr || *refused == '\0');
}

Look Look::of(int descriptor) {
    return {isTerminal(descriptor) ? terminalWidth(descriptor) : 0, allowsColours(descriptor)};
}

std::string toned(const std::string& text, Tone tone, bool isColoured) {
    return isColoured && !text.empty() ? startOf(tone) + text + "\x1B[0m" : text;
}

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        columns += widthOf(takeCharacter(text));
    }
    return columns;
}

std::string cutToColumns(std::string_view text, std::size_t columns) {
    constexpr std::string_view kDots = "...";
    const std::size_t room = columns > kDots.size() ? columns - kDots.size() : 0;
    std::size_t used = 0;
    std::size_t cut = 0; // bytes that leave room for the dots
    std::string_view rest = text;
    while (!rest.empty()) {
        used += widthOf(takeCharacter(rest));
        if (used > columns) {
            return std::string(text.substr(0, cut)).append(kDots.substr(0, columns));
        }
        cut = used <= room ? text.size() - rest.size() : cut;
    }
    return std::string(text);
}

std::string padded(std::string text, std::size_t columns) {
    const std::size_t used = columnsOf(text);
    return text.append(used < columns ? columns - used : 0, ' ');
}

} // namespace radvex::cli
