#include "tests/deidentify/ConfidentialityRows.h"

#include <algorithm>
#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

namespace radvex::test {

namespace {

constexpr const char* kTable = RADVEX_SOURCE_DIR "/deidentify/profile/confidentiality-2024b.tsv";
constexpr const char* kFullDates = "retain_full_dates";
constexpr const char* kModifiedDates = "modified_dates";

std::vector<std::string> cellsOf(const std::string& line) {
    std::vector<std::string> cells(1);
    for (const char letter : line) {
        if (letter == '\t') {
            cells.emplace_back();
        } else if (letter != '\r') {
            cells.back().push_back(letter);
        }
    }
    return cells;
}

ConfidentialityRow rowOf(const std::vector<std::string>& header, const std::vector<std::string>& cells) {
    ConfidentialityRow row;
    for (std::size_t index = 0; index < header.size(); ++index) {
        const std::string& cell = cells.at(index);
        if (header[index] == "tag") {
            row.tag = cell;
        } else if (header[index] == "basic") {
            row.basic = cell;
        } else if (index > 3 && !cell.empty()) {
            row.options[header[index]] = cell;
        }
    }
    return row;
}

/// The words behind --keep or --clean; empty for a column that belongs to neither.
const std::map<std::string, std::pair<std::string, std::string>> kWords{
    {"retain_uids", {"--keep", "uids"}},
    {"retain_device", {"--keep", "device"}},
    {"retain_institution", {"--keep", "institution"}},
    {"retain_patient_characteristics", {"--keep", "patient"}},
    {kFullDates, {"--keep", "dates"}},
    {kModifiedDates, {"--shift-dates", ""}},
    {"clean_descriptors", {"--clean", "descriptors"}},
    {"clean_structured_content", {"--clean", "structured-content"}},
    {"clean_graphics", {"--clean", "graphics"}},
};

bool isPossible(const Choice& choice) { return !(choice.contains(kFullDates) && choice.contains(kModifiedDates)); }

} // namespace

std::vector<ConfidentialityRow> confidentialityRows() {
    std::ifstream table(kTable);
    std::vector<std::string> header;
    std::vector<ConfidentialityRow> rows;
    for (std::string line; std::getline(table, line);) {
        if (line.empty() || line.starts_with("#")) {
            continue;
        }
        const auto cells = cellsOf(line);
        if (header.empty()) {
            header = cells;
        } else {
            rows.push_back(rowOf(header, cells));
        }
    }
    if (header.size() != 14 || header[0] != "tag" || header[3] != "basic") {
        throw std::runtime_error(std::string("Not the table that is expected: ") + kTable);
    }
    return rows;
}

const std::vector<std::string>& choosableColumns() {
    static const std::vector<std::string> columns = [] {
        std::vector<std::string> names;
        for (const auto& [name, words] : kWords) {
            names.push_back(name);
        }
        return names;
    }();
    return columns;
}

Words wordsOf(const Choice& choice) {
    std::map<std::string, std::string> lists;
    Words words;
    for (const std::string& column : choice) {
        const auto& [option, word] = kWords.at(column);
        if (word.empty()) {
            words.push_back(option);
        } else {
            lists[option] += (lists[option].empty() ? "" : ",") + word;
        }
    }
    for (const auto& [option, list] : lists) {
        words.push_back(option);
        words.push_back(list);
    }
    return words;
}

std::string wantedAction(const ConfidentialityRow& row, const Choice& choice) {
    std::string wanted = row.basic;
    for (const auto& [column, action] : row.options) {
        if (choice.contains(column) && (action == "K" || wanted != "K")) {
            wanted = action;
        }
    }
    return wanted;
}

std::vector<Choice> loneChoices() {
    std::vector<Choice> choices{{}};
    for (const std::string& column : choosableColumns()) {
        choices.push_back({column});
    }
    return choices;
}

std::vector<Choice> pairsOfChoices() {
    std::vector<Choice> choices;
    for (const std::string& first : choosableColumns()) {
        for (const std::string& second : choosableColumns()) {
            if (first < second && isPossible({first, second})) {
                choices.push_back({first, second});
            }
        }
    }
    return choices;
}

std::vector<Choice> fullChoices() {
    std::vector<Choice> choices;
    for (const char* left : {kFullDates, kModifiedDates}) {
        Choice choice(choosableColumns().begin(), choosableColumns().end());
        choice.erase(left);
        choices.push_back(choice);
    }
    return choices;
}

std::vector<Choice> randomChoices(std::size_t count) {
    std::mt19937 random(15); // its numbers are the same everywhere
    std::vector<Choice> choices;
    while (choices.size() < count) {
        Choice choice;
        for (const std::string& column : choosableColumns()) {
            if (random() % 2 == 0) {
                choice.insert(column);
            }
        }
        if (isPossible(choice) && choice.size() > 2) {
            choices.push_back(choice);
        }
    }
    return choices;
}

std::string nameOf(const Choice& choice) {
    std::string name;
    for (const std::string& word : wordsOf(choice)) {
        name += (name.empty() ? "" : " ") + word;
    }
    return name.empty() ? "no option" : name;
}

} // namespace radvex::test
