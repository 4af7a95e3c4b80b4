#include "deidentify/profile/ConfidentialityTable.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

#include "deidentify/profile/TableTexts.h"

namespace radvex::deidentify {

namespace {

std::vector<std::string_view> split(std::string_view text, char separator) {
    std::vector<std::string_view> parts;
    for (;;) {
        const std::size_t end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos) {
            return parts;
        }
        text.remove_prefix(end + 1);
    }
}

Action actionOf(std::string_view letter) {
    switch (letter.empty() ? '?' : letter.front()) {
    case 'X': return Action::Remove;
    case 'Z': return Action::Empty;
    case 'D': return Action::Dummy;
    case 'U': return Action::NewUid;
    default: throw std::logic_error("The table of confidentiality has an unknown action.");
    }
}

std::uint16_t hexadecimal(std::string_view digits) {
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
    if (error != std::errc{} || end != digits.data() + digits.size()) {
        throw std::logic_error("The table of confidentiality has an unknown tag.");
    }
    return number;
}

std::uint32_t keyOf(std::uint16_t group, std::uint16_t element) { return std::uint32_t{group} << 16 | element; }

ConfidentialityRow rowOf(const std::vector<std::string_view>& cells) {
    constexpr std::size_t kBasic = 3;
    if (cells.size() != kBasic + 1 + kProfileOptionCount) {
        throw std::logic_error("The table of confidentiality has a line with other columns.");
    }
    ConfidentialityRow row;
    row.basicLetters = cells[kBasic];
    for (const std::string_view letter : split(row.basicLetters, '/')) {
        row.basic.push_back(actionOf(letter));
    }
    std::copy(cells.begin() + kBasic + 1, cells.end(), row.optional.begin());
    return row;
}

bool has(const ConfidentialityRow& row, Action action) { return std::ranges::count(row.basic, action) > 0; }

/// Of several letters, the one for the type; a type that is not known may be 1, which wants a value.
Action chooseBasic(const ConfidentialityRow& row, int type) {
    if (has(row, Action::NewUid)) {
        return Action::NewUid; // in items new UIDs serve every type
    }
    if (row.basicLetters == "X" && type != 0 && type != 3) {
        return type == 1 ? Action::Dummy : Action::Empty; // a file without the attribute would not be valid
    }
    if (type == 3 && has(row, Action::Remove)) {
        return Action::Remove;
    }
    if (type == 2 && has(row, Action::Empty)) {
        return Action::Empty;
    }
    return row.basic.back(); // the letters stand in the order of what they leave
}

} // namespace

std::vector<std::vector<std::string_view>> tableRows(std::string_view table) {
    std::vector<std::vector<std::string_view>> rows;
    for (const std::string_view line : split(table, '\n')) {
        if (!line.empty() && !line.starts_with('#') && !line.starts_with("tag\t")) {
            rows.push_back(split(line, '\t'));
        }
    }
    return rows;
}

const ConfidentialityTable& ConfidentialityTable::instance() {
    static const ConfidentialityTable table;
    return table;
}

ConfidentialityTable::ConfidentialityTable() {
    for (const auto& cells : tableRows(kConfidentialityTable)) {
        const std::string_view tag = cells.front();
        ConfidentialityRow row = rowOf(cells);
        if (tag == "50XX,XXXX") {
            mCurves = std::move(row);
        } else if (tag == "60XX,3000") {
            mOverlayData = std::move(row);
        } else if (tag == "60XX,4000") {
            mOverlayComments = std::move(row);
        } else if (tag == "GGGG,EEEE") {
            mPrivate = std::move(row);
        } else {
            mRows.emplace(keyOf(hexadecimal(tag.substr(0, 4)), hexadecimal(tag.substr(5))), std::move(row));
        }
    }
}

const ConfidentialityRow* ConfidentialityTable::find(std::uint16_t group, std::uint16_t element) const {
    if (group % 2 == 1) {
        return &mPrivate;
    }
    const auto row = mRows.find(keyOf(group, element));
    if (row != mRows.end()) {
        return &row->second;
    }
    const unsigned repeating = group & 0xFF00U;
    const bool isOverlay = repeating == 0x6000;
    return repeating == 0x5000              ? &mCurves
           : isOverlay && element == 0x3000 ? &mOverlayData
           : isOverlay && element == 0x4000 ? &mOverlayComments
                                            : nullptr;
}

std::vector<std::pair<std::uint16_t, std::uint16_t>> ConfidentialityTable::tags() const {
    std::vector<std::pair<std::uint16_t, std::uint16_t>> tags;
    for (const auto& [key, row] : mRows) {
        tags.emplace_back(static_cast<std::uint16_t>(key >> 16), static_cast<std::uint16_t>(key & 0xFFFF));
    }
    return tags;
}

Decision decide(const ConfidentialityRow& row, const ProfileOptions& options, int type) {
    for (const auto& [letter, action] : {std::pair{"K", Action::Keep}, std::pair{"C", Action::Clean}}) {
        for (const ProfileOptionNames& names : profileOptionNames()) {
            if (options.has(names.option) && row.optional[static_cast<std::size_t>(names.option)] == letter) {
                return {action, std::string(names.column) + ' ' + letter};
            }
        }
    }
    return {chooseBasic(row, type), "basic " + std::string(row.basicLetters)};
}

} // namespace radvex::deidentify
