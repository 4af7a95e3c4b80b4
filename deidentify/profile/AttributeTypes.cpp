#include "deidentify/profile/AttributeTypes.h"

#include <charconv>
#include <map>
#include <string>

#include "deidentify/profile/TableTexts.h"

namespace radvex::deidentify {

namespace {

struct Types {
    int usual = 0;
    std::map<std::string_view, int> ofClass{};
};

int typeOf(std::string_view cell) {
    const bool isType = cell.size() == 1 && cell[0] >= '1' && cell[0] <= '3';
    return isType ? cell[0] - '0' : 0;
}

/// Exceptions are "SOPClassUID=type", with spaces between them.
std::map<std::string_view, int> exceptionsIn(std::string_view cell) {
    std::map<std::string_view, int> types;
    while (!cell.empty()) {
        const std::string_view word = cell.substr(0, cell.find(' '));
        const std::size_t equals = word.find('=');
        if (equals != std::string_view::npos) {
            types[word.substr(0, equals)] = typeOf(word.substr(equals + 1));
        }
        cell.remove_prefix(std::min(cell.size(), word.size() + 1));
    }
    return types;
}

std::map<std::string, Types, std::less<>> readTypes() {
    std::map<std::string, Types, std::less<>> types;
    for (const auto& cells : tableRows(kAttributeTypes)) {
        if (cells.size() >= 3) {
            types[std::string(cells[0])] = {typeOf(cells[2]), exceptionsIn(cells.size() > 3 ? cells[3] : "")};
        }
    }
    return types;
}

} // namespace

int attributeType(std::uint16_t group, std::uint16_t element, std::string_view sopClass) {
    static const auto types = readTypes();
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string tag;
    for (const std::uint16_t number : {group, element}) {
        for (int shift = 12; shift >= 0; shift -= 4) {
            tag += kDigits[(number >> shift) & 0xF];
        }
        tag += ',';
    }
    tag.pop_back();
    const auto found = types.find(tag);
    if (found == types.end()) {
        return 0;
    }
    const auto exception = found->second.ofClass.find(sopClass);
    return exception != found->second.ofClass.end() ? exception->second : found->second.usual;
}

} // namespace radvex::deidentify
