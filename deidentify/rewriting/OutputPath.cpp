#include "deidentify/rewriting/OutputPath.h"

#include <algorithm>

#include <utf8.h>

namespace radvex::deidentify {

namespace {

constexpr std::size_t kFileIdPart = 8;

bool mayBeFileId(const std::string& name) {
    return name.size() <= kFileIdPart && std::ranges::all_of(name, [](char character) {
               return (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9') ||
                      character == '_';
           });
}

/// A new ID that somebody chose, such as "..", must not lead out of the folder, or hide a file.
bool mayBeName(const std::string& name, const std::string& before) {
    constexpr std::size_t kLongest = 255;
    const bool isOfFolders = name == "." || name == "..";
    return !name.empty() && name.size() <= kLongest && !isOfFolders && (name.front() != '.' || before.starts_with('.'));
}

std::string asUtf8(const std::string& name) {
    if (utf8::is_valid(name.begin(), name.end())) {
        return name;
    }
    std::string text;
    for (const char byte : name) {
        utf8::append(static_cast<char32_t>(static_cast<unsigned char>(byte)), std::back_inserter(text));
    }
    return text;
}

/// The name without its extension: a dot, a letter, and three more characters at most.
std::size_t endOfStem(const std::string& name) {
    constexpr std::size_t kLongest = 5;
    const std::size_t dot = name.rfind('.');
    const bool isExtension = dot != std::string::npos && dot > 0 && name.size() - dot <= kLongest &&
                             name.size() - dot >= 2 && std::isalpha(static_cast<unsigned char>(name[dot + 1])) != 0;
    return isExtension ? dot : name.size();
}

} // namespace

std::string pathWithoutIdentifiers(const std::string& path, const IdentifierFinder& finder,
                                   const TextCleaner::NewText& newText,
                                   const std::function<std::string(const std::string& word)>& shortWord) {
    std::string result;
    for (std::size_t begin = 0; begin <= path.size();) {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        const std::string readable = asUtf8(name);
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
