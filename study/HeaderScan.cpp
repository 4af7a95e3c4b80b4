#include "HeaderScan.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcistrmf.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "dcmtk/dcmdata/dcvr.h"

namespace radvex::study {

namespace {

constexpr std::size_t kDeepest = 100;
constexpr std::uint64_t kMostInflated = std::uint64_t{1} << 30;
constexpr std::uint64_t kMarkEnd = 132;
constexpr std::uint32_t kUndefined = 0xFFFFFFFF;
constexpr std::uint64_t kNoEnd = std::numeric_limits<std::uint64_t>::max();

struct Header {
    unsigned group = 0;
    unsigned element = 0;
    std::string vr{}; ///< empty where the encoding has none
    std::uint32_t length = 0;
};

/// Forward through the elements of a file from an offset.
class HeaderStream {
  public:
    HeaderStream(const std::string& path, std::uint64_t offset, bool isBigEndian, bool isDeflated)
        : mStream(path.c_str(), static_cast<offile_off_t>(offset)), mAt(offset), mIsBigEndian(isBigEndian) {
        if (isDeflated) {
            mStream.installCompressionFilter(ESC_zlib);
        }
    }

    std::uint64_t at() const { return mAt; }

    bool read(void* target, std::size_t count) {
        auto* bytes = static_cast<char*>(target);
        while (count > 0) { // inflated bytes come in pieces
            const auto got = mStream.read(bytes, static_cast<offile_off_t>(count));
            if (got <= 0) {
                return false;
            }
            mAt += static_cast<std::uint64_t>(got);
            bytes += got;
            count -= static_cast<std::size_t>(got);
        }
        return true;
    }

    bool skip(std::uint64_t count) {
        while (count > 0) {
            const auto got = mStream.skip(static_cast<offile_off_t>(count));
            if (got <= 0) {
                return false;
            }
            mAt += static_cast<std::uint64_t>(got);
            count -= static_cast<std::uint64_t>(got);
        }
        return true;
    }

    std::optional<Header> next(bool isExplicit) {
        std::array<unsigned char, 8> bytes{};
        if (!read(bytes.data(), bytes.size())) {
            return std::nullopt;
        }
        Header header{number(bytes.data(), 2), number(bytes.data() + 2, 2), "", 0};
        if (header.group == 0xFFFE || !isExplicit) {
            header.length = number(bytes.data() + 4, 4);
            return header;
        }
        header.vr = {static_cast<char>(bytes[4]), static_cast<char>(bytes[5])};
        if (!DcmVR(header.vr.c_str()).usesExtendedLengthEncoding()) {
            header.length = number(bytes.data() + 6, 2);
            return header;
        }
        if (!read(bytes.data(), 4)) {
            return std::nullopt;
        }
        header.length = number(bytes.data(), 4);
        return header;
    }

    /// Whether an item comes next; stays where it is.
    bool isBeforeItem() {
        std::array<unsigned char, 4> bytes{};
        mStream.mark();
        const auto got = mStream.read(bytes.data(), 4);
        mStream.putback();
        return got == 4 && number(bytes.data(), 2) == 0xFFFE && number(bytes.data() + 2, 2) == 0xE000;
    }

  private:
    std::uint32_t number(const unsigned char* bytes, std::size_t count) const {
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < count; ++index) {
            value = value << 8 | bytes[mIsBigEndian ? index : count - 1 - index];
        }
        return value;
    }

    DcmInputFileStream mStream;
    std::uint64_t mAt;
    bool mIsBigEndian;
};

/// How a dataset is written and where it begins.
struct Encoding {
    std::uint64_t offset = 0;
    bool isExplicit = true;
    bool isBigEndian = false;
    bool isDeflated = false;
};

/// Without a transfer syntax the first element tells, as it tells DCMTK: by its byte order and by letters for a type.
void guess(const std::string& path, Encoding& encoding) {
    std::array<unsigned char, 6> first{};
    if (!HeaderStream(path, encoding.offset, false, false).read(first.data(), first.size())) {
        return;
    }
    const auto isLetter = [](unsigned char byte) { return byte >= 'A' && byte <= 'Z'; };
    encoding.isExplicit = isLetter(first[4]) && isLetter(first[5]);
    encoding.isBigEndian = first[0] == 0 && first[1] != 0;
}

Encoding encodingOf(const std::string& path, bool hasMark) {
    Encoding encoding{hasMark ? kMarkEnd : 0};
    HeaderStream meta(path, encoding.offset, false, false);
    std::string syntax;
    for (auto header = meta.next(true); header && header->group == 2; header = meta.next(true)) {
        if (header->element == 0x10 && header->length <= 64) {
            syntax.resize(header->length);
            if (!meta.read(syntax.data(), syntax.size())) {
                break;
            }
        } else if (!meta.skip(header->length)) {
            break;
        }
        encoding.offset = meta.at();
    }
    syntax = syntax.c_str(); // up to the padding
    if (syntax.empty()) {
        guess(path, encoding);
    }
    encoding.isExplicit = encoding.isExplicit && syntax != UID_LittleEndianImplicitTransferSyntax;
    encoding.isBigEndian = encoding.isBigEndian || syntax == UID_BigEndianExplicitTransferSyntax;
    encoding.isDeflated =
        syntax == UID_DeflatedExplicitVRLittleEndianTransferSyntax || syntax == UID_JPIPReferencedDeflateTransferSyntax;
    return encoding;
}

class HeaderScan {
  public:
    HeaderScan(const std::string& path, const Encoding& encoding)
        : mStream(path, encoding.offset, encoding.isBigEndian, encoding.isDeflated), mEncoding(encoding) {}

    std::optional<std::string> run() {
        while (step()) {
            if (mLevels.size() > 2 * kDeepest) {
                return "its sequences nest more than " + std::to_string(kDeepest) + " levels deep";
            }
            if (mEncoding.isDeflated && mStream.at() > kMostInflated) {
                return "it inflates to more than 1 GiB";
            }
        }
        return std::nullopt;
    }

  private:
    /// A sequence, an item of one, or the fragments of compressed pixels.
    struct Level {
        bool holdsFragments = false;
        bool isExplicit = true;
        std::uint64_t end = kNoEnd;
    };

    bool step() {
        while (!mLevels.empty() && mStream.at() >= mLevels.back().end) {
            mLevels.pop_back();
        }
        const bool isExplicit = mLevels.empty() ? mEncoding.isExplicit : mLevels.back().isExplicit;
        const auto header = mStream.next(isExplicit);
        if (!header) {
            return false;
        }
        return header->group == 0xFFFE ? delimiter(*header, isExplicit) : element(*header, isExplicit);
    }

    bool delimiter(const Header& header, bool isExplicit) {
        if (header.element == 0xE000 && !mLevels.empty() && mLevels.back().holdsFragments) {
            return mStream.skip(header.length);
        }
        if (header.element == 0xE000) {
            enter(header.length, isExplicit, false);
        } else if (!mLevels.empty()) {
            mLevels.pop_back();
        }
        return true;
    }

    bool element(const Header& header, bool isExplicit) {
        // A sequence may hide in a value of unknown type; inside it nothing says its types.
        const bool hasType = !header.vr.empty() && header.vr != "UN";
        if (header.vr == "SQ") {
            enter(header.length, isExplicit, false);
        } else if (header.length == kUndefined) {
            const bool isPixels = header.vr == "OB" || header.vr == "OW" || header.group == 0x7FE0;
            enter(header.length, hasType && isExplicit, isPixels);
        } else if (!hasType && header.length >= 8 && mStream.isBeforeItem()) {
            enter(header.length, false, false);
        } else {
            return mStream.skip(header.length);
        }
        return true;
    }

    void enter(std::uint32_t length, bool isExplicit, bool holdsFragments) {
        mLevels.push_back({holdsFragments, isExplicit, length == kUndefined ? kNoEnd : mStream.at() + length});
    }

    HeaderStream mStream;
    Encoding mEncoding;
    std::vector<Level> mLevels{};
};

} // namespace

std::optional<std::string> whyNotToParse(const std::string& path, bool hasMark) {
    return HeaderScan(path, encodingOf(path, hasMark)).run();
}

} // namespace radvex::study
