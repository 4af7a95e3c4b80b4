#include "media/scan/FileStart.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <iterator>
#include <string_view>
#include <utility>

namespace radvex::media {

constexpr std::size_t kMarkEnd = 132;

FileStart::FileStart(const std::string& path) {
    constexpr std::size_t kEnough = 4096; // for the first elements of the meta information
    mBytes.resize(kEnough);
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    const ssize_t count = file >= 0 ? read(file, mBytes.data(), mBytes.size()) : -1;
    mReason = count < 0 ? errno : 0;
    mBytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    if (file >= 0) {
        close(file);
    }
}

bool FileStart::hasMark() const {
    const std::string_view text(reinterpret_cast<const char*>(mBytes.data()), mBytes.size());
    return text.size() >= kMarkEnd && text.substr(kMarkEnd - 4, 4) == "DICM";
}

bool FileStart::mayBeBareDataset() const {
    constexpr std::size_t kElementHeader = 8;
    const auto isFirst = [](unsigned number) { return number == 2 || number == 8; };
    return mBytes.size() >= kElementHeader &&
           (isFirst(mBytes[0] + 256U * mBytes[1]) || isFirst(256U * mBytes[0] + mBytes[1]));
}

std::string FileStart::brokenPromise(std::string_view name) const {
    std::string ending(name.substr(name.find_last_of('.') == std::string_view::npos ? name.size() : name.rfind('.')));
    std::ranges::transform(ending, ending.begin(), [](unsigned char letter) { return std::tolower(letter); });
    constexpr std::string_view kEndings[] = {".dcm", ".ima", ".dicom"};
    if (std::string_view(reinterpret_cast<const char*>(mBytes.data()), mBytes.size()).starts_with("DICM")) {
        return "it lacks the 128 bytes in front of \"DICM\"";
    }
    if (std::ranges::find(kEndings, ending) == std::end(kEndings)) {
        return "";
    }
    return mBytes.empty() ? "it is empty" : "it is named like a DICOM file and is none";
}

bool FileStart::isDirectory() const {
    return uidOf(std::string_view("\x02\x00\x02\x00UI", 6)).starts_with("1.2.840.10008.1.3.10");
}

std::string FileStart::transferSyntax() const { return uidOf(std::string_view("\x02\x00\x10\x00UI", 6)); }

bool FileStart::isCompressed() const {
    const std::string syntax = transferSyntax();
    return syntax.starts_with("1.2.840.10008.1.2.4.") || syntax == "1.2.840.10008.1.2.5"; // JPEG and the like, RLE
}

std::string FileStart::uidOf(std::string_view element) const {
    // The meta information is Explicit VR Little Endian (PS3.10 7.1). The length of a UI value has two bytes.
    const std::string_view text(reinterpret_cast<const char*>(mBytes.data()), mBytes.size());
    const std::size_t offset = hasMark() ? text.find(element, kMarkEnd) : std::string_view::npos;
    if (offset == std::string_view::npos || text.size() < offset + element.size() + 2) {
        return "";
    }
    const std::size_t lengthAt = offset + element.size();
    const std::size_t length = mBytes[lengthAt] + 256U * mBytes[lengthAt + 1];
    const std::string_view value = text.substr(lengthAt + 2, length);
    const std::size_t end = value.find_last_not_of(std::string_view(" \0", 2));
    return std::string(value.substr(0, end == std::string_view::npos ? 0 : end + 1));
}

std::string undecodedSyntaxName(std::string_view uid) {
    constexpr std::string_view kEncapsulated = "1.2.840.10008.1.2.4.";
    constexpr std::pair<int, const char*> kNames[] = {{92, "JPEG 2000 Part 2"},
                                                      {93, "JPEG 2000 Part 2"},
                                                      {94, "JPIP"},
                                                      {95, "JPIP"},
                                                      {100, "MPEG-2"},
                                                      {101, "MPEG-2"},
                                                      {102, "MPEG-4 AVC"},
                                                      {103, "MPEG-4 AVC"},
                                                      {104, "MPEG-4 AVC"},
                                                      {105, "MPEG-4 AVC"},
                                                      {106, "MPEG-4 AVC"},
                                                      {107, "HEVC"},
                                                      {108, "HEVC"},
                                                      {110, "JPEG XL"},
                                                      {111, "JPEG XL"},
                                                      {112, "JPEG XL"},
                                                      {204, "HTJ2K"},
                                                      {205, "HTJ2K"}};
    if (!uid.starts_with(kEncapsulated)) {
        return "";
    }
    const std::string number(uid.substr(kEncapsulated.size()));
    const auto* const found =
        std::ranges::find_if(kNames, [&](const auto& entry) { return std::to_string(entry.first) == number; });
    return found == std::end(kNames) ? "" : found->second;
}

} // namespace radvex::media
