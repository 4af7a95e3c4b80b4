#include "deidentify/KeptPrivates.h"

#include <charconv>

#include "files/InputFile.h"
#include "formats/json/LosslessJson.h"
#include "formats/json/Text.h"

namespace radvex::deidentify {

namespace {

bool readHexadecimal(const std::string& text, std::size_t begin, std::size_t count, unsigned& number) {
    const char* const end = text.data() + begin + count;
    const auto [stop, error] = std::from_chars(text.data() + begin, end, number, 16);
    return error == std::errc{} && stop == end;
}

bool isAnyBlock(const std::string& text) { return text == "xx" || text == "XX"; }

/// "0019,xx0C", or "0019,100C" for the same.
bool readTag(const std::string& text, KeptPrivate& kept) {
    constexpr std::size_t kLength = 9;
    unsigned group = 0;
    unsigned element = 0;
    unsigned block = 0;
    const bool isRead = text.size() == kLength && text[4] == ',' && readHexadecimal(text, 0, 4, group) &&
                        (isAnyBlock(text.substr(5, 2)) || readHexadecimal(text, 5, 2, block)) &&
                        readHexadecimal(text, 7, 2, element) && group % 2 == 1;
    kept.group = static_cast<std::uint16_t>(group);
    kept.element = static_cast<std::uint8_t>(element);
    return isRead;
}

} // namespace

std::set<KeptPrivate> readKeptPrivates(const std::string& path) {
    const auto fail = [&](const std::string& what) { throw formats::JsonError(path + ": " + what); };
    formats::Json creators;
    try {
        creators = formats::parseJson(files::readInputText(path));
    } catch (const formats::JsonError& error) {
        fail(error.what());
    }
    if (!creators.is_object()) {
        fail("an object of private creators and lists of tags is expected, such as {\"CREATOR\":[\"0019,xx0C\"]}.");
    }
    std::set<KeptPrivate> all;
    for (const auto& [creator, tags] : creators.items()) {
        if (!tags.is_array()) {
            fail("the tags of " + formats::printable(creator) + " have to be a list.");
        }
        for (const formats::Json& tag : tags) {
            KeptPrivate kept{creator, 0, 0};
            if (!tag.is_string() || !readTag(tag.get<std::string>(), kept)) {
                fail("a tag of " + formats::printable(creator) + " is not of the form 0019,xx0C with an odd group.");
            }
            all.insert(kept);
        }
    }
    return all;
}

} // namespace radvex::deidentify
