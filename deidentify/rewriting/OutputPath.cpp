#include "deidentify/rewriting/OutputPath.h"

#include <algorithm>
#include <array>

#include "deidentify/rewriting/DatasetText.h"
#include "text/TextDecoder.h"

namespace radvex::deidentify {

namespace {

constexpr std::size_t kFileIdPart = 8;

bool mayBeFileId(const std::string& name) {
    return name.size() <= kFileIdPart && std::ranges::all_of(name, [](char character) {
               return (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9') ||
                      character == '_';
           });
}

/// A new ID that somebody chose, such as "..", must not lead out of the folder, hide a file, or take the name of a
/// directory, which is written later.
bool mayBeName(const std::string& name, const std::string& before) {
    constexpr std::size_t kLongest = 255;
    const bool isTaken = name == "." || name == ".." || (name == "DICOMDIR" && before != name);
    return !name.empty() && name.size() <= kLongest && !isTaken && (name.front() != '.' || before.starts_with('.'));
}

/// The name without an extension of images; any other may be a word of a name: "Anna.Lee".
std::size_t endOfStem(const std::string& name) {
    static constexpr std::array<std::string_view, 8> kExtensions{".dcm", ".dicom", ".ima", ".img",
                                                                 ".DCM", ".DICOM", ".IMA", ".IMG"};
    const auto* const found =
        std::ranges::find_if(kExtensions, [&](std::string_view extension) { return name.ends_with(extension); });
    return found != kExtensions.end() && name.size() > found->size() ? name.size() - found->size() : name.size();
}

} // namespace

std::string pathWithoutIdentifiers(const std::string& path, const IdentifierFinder& finder,
                                   const TextCleaner::NewText& newText,
                                   const std::function<std::string(const std::string& word)>& shortWord) {
    std::string result;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        const std::string readable = text::isUtf8(name) ? name : text::latin1AsUtf8(name);
        const std::string stem = readable.substr(0, endOfStem(readable));
        std::string cleaned;
        std::size_t done = 0;
        for (const Find& find : finder.findAll(stem)) {
            const std::string found = stem.substr(find.begin, find.length);
            cleaned.append(stem, done, find.begin - done).append(newText(*find.identifier, found));
            done = find.begin + find.length;
        }
        cleaned.append(readable, done);
        std::ranges::replace(cleaned, '/', '_');
        const bool isLost = (mayBeFileId(name) && !mayBeFileId(cleaned)) || !mayBeName(cleaned, name);
        result += cleaned == readable ? name : isLost ? shortWord(name) : cleaned;
        result += end < path.size() ? "/" : "";
        begin = end + 1;
    }
    return result;
}

} // namespace radvex::deidentify
