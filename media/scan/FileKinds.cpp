#include "media/scan/FileKinds.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <string_view>

namespace radvex::media {

namespace {

struct Signature {
    std::size_t offset;
    std::string_view bytes;
    const char* kind;
};

using namespace std::string_view_literals;

constexpr Signature kSignatures[] = {
    {0, "\xFF\xD8\xFF"sv, "a JPEG picture"},
    {0, "\x89PNG\r\n\x1A\n"sv, "a PNG picture"},
    {0, "\0\0\0\x0CjP  "sv, "a JPEG 2000 picture"},
    {0, "\xFF\x4F\xFF\x51"sv, "a JPEG 2000 picture"},
    {0, "GIF8"sv, "a GIF picture"},
    {0, "II*\0"sv, "a TIFF picture"},
    {0, "MM\0*"sv, "a TIFF picture"},
    {0, "PK\x03\x04"sv, "a zip archive"},
    {0, "PK\x05\x06"sv, "a zip archive"},
    {0, "\x1F\x8B\x08"sv, "a gzip archive"},
    {0, "BZh"sv, "a bzip2 archive"},
    {0, "\xFD\x37zXZ\0"sv, "an xz archive"},
    {0, "7z\xBC\xAF\x27\x1C"sv, "a 7z archive"},
    {0, "Rar!\x1A\x07"sv, "a RAR archive"},
    {257, "ustar"sv, "a tar archive"},
    {0, "%PDF-"sv, "a PDF"},
    {0, "NRRD000"sv, "an NRRD volume"},
    {344, "n+1\0"sv, "a NIfTI volume"},
    {344, "ni1\0"sv, "a NIfTI header"},
    {4, "n+2\0"sv, "a NIfTI volume"},
    {4, "ni2\0"sv, "a NIfTI header"},
    {0, "ObjectType ="sv, "a MetaImage volume"},
    {0, "\x93NUMPY"sv, "a NumPy array"},
    {0, "\x89HDF\r\n\x1A\n"sv, "an HDF5 file"},
    {0, "SQLite format 3\0"sv, "an SQLite database"},
    {0, "\0\x05\x16\x07"sv, "a companion file of macOS (AppleDouble)"},
    {4, "ftyp"sv, "an MP4 video"},
    {8, "AVI LIST"sv, "an AVI video"},
    {0,
     "\x7F"
     "ELF"sv,
     "a program"},
    {0, "MZ"sv, "a Windows program"},
    {0, "<?xml"sv, "an XML text"},
};

bool startsWithWord(std::string_view text, std::string_view word) {
    return text.size() >= word.size() &&
           std::ranges::equal(text.substr(0, word.size()), word, [](char one, char other) {
               return std::tolower(static_cast<unsigned char>(one)) == other;
           });
}

bool isHtml(std::string_view text) {
    if (text.starts_with("\xEF\xBB\xBF")) { // the mark of UTF-8
        text.remove_prefix(3);
    }
    const std::size_t first = text.find_first_not_of(" \t\r\n");
    const std::string_view begin = text.substr(first == std::string_view::npos ? text.size() : first);
    return startsWithWord(begin, "<!doctype html") || startsWithWord(begin, "<html");
}

/// No character that controls a device, whatever the character set.
bool isText(std::string_view text) {
    return !text.empty() && std::ranges::all_of(text, [](char character) {
        const auto byte = static_cast<unsigned char>(character);
        return (byte >= 0x20 && byte != 0x7F) || (byte >= 0x09 && byte <= 0x0D) || byte == 0x1B;
    });
}

/// Half or more of the bytes of a text are letters, digits and blanks; compressed bytes are seldom.
bool isMostlyAscii(std::string_view text) {
    const auto count = std::ranges::count_if(text, [](char character) {
        return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == ' ';
    });
    return static_cast<std::size_t>(count) * 2 >= text.size();
}

} // namespace

std::string kindOfFile(std::span<const unsigned char> start) {
    const std::string_view text(reinterpret_cast<const char*>(start.data()), start.size());
    if (text.empty()) {
        return "";
    }
    for (const Signature& each : kSignatures) {
        if (text.size() >= each.offset && text.substr(each.offset).starts_with(each.bytes)) {
            return each.kind;
        }
    }
    if (isHtml(text)) {
        return "an HTML page";
    }
    const bool isWide = text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF"); // UTF-16
    return isWide || (isText(text) && isMostlyAscii(text)) ? "a text" : "";
}

} // namespace radvex::media
