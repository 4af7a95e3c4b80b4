#include "guard/ParseGuard.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "guard/ElementWalk.h"

#include "dcmtk/dcmdata/dcistrmb.h"
#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex {

namespace {

constexpr std::size_t kPreamble = 128;
constexpr std::string_view kPrefix = "DICM";

/// DCMTK's guess at the transfer syntax of a dataset, which only its own classes can ask for.
class SyntaxGuess : DcmItem {
  public:
    static E_TransferSyntax at(ByteSource& source) {
        // Almost every file begins with these bytes, for which DCMTK guesses explicit VR, little endian.
        constexpr std::string_view kUsualStart{"\x02\0\0\0UL", 6};
        const auto bytes = source.peek(kUsualStart.size());
        if (bytes.size() == kUsualStart.size() &&
            std::memcmp(bytes.data(), kUsualStart.data(), kUsualStart.size()) == 0) {
            return EXS_LittleEndianExplicit;
        }
        DcmInputBufferStream stream;
        stream.setBuffer(bytes.data(), static_cast<offile_off_t>(bytes.size()));
        return SyntaxGuess().checkTransferSyntax(stream);
    }
};

Encoding encodingOf(const DcmXfer& syntax) {
    return {syntax.isExplicitVR() == OFTrue, syntax.getByteOrder() == EBO_BigEndian};
}

void skipPreamble(ByteSource& source) {
    const auto bytes = source.peek(kPreamble + kPrefix.size());
    if (bytes.size() == kPreamble + kPrefix.size() &&
        std::memcmp(&bytes[kPreamble], kPrefix.data(), kPrefix.size()) == 0) {
        source.consume(bytes.size());
    }
}

std::optional<std::string> reasonInPlain(ByteSource& source, const DcmXfer& syntax, const ParseLimits& limits) {
    ElementWalk walk(source, limits);
    walk.walkDataset(encodingOf(syntax));
    return walk.refusal();
}

std::optional<std::string> reasonInDeflated(ByteSource& source, const DcmXfer& syntax, const ParseLimits& limits) {
    InflatingSource inflating(source, limits.inflatedBytes);
    const auto refusal = reasonInPlain(inflating, syntax, limits);
    return inflating.isOverLimit() ? "inflated data over " + std::to_string(limits.inflatedBytes) + " bytes" : refusal;
}

/// @param stated  the transfer syntax of the meta information, EXS_Unknown for none
std::optional<std::string> reasonInDataset(ByteSource& source, E_TransferSyntax stated, const ParseLimits& limits) {
    const DcmXfer syntax(stated == EXS_Unknown ? SyntaxGuess::at(source) : stated);
    switch (syntax.getStreamCompression()) {
    case ESC_none: return reasonInPlain(source, syntax, limits);
    case ESC_zlib: return reasonInDeflated(source, syntax, limits);
    default: return std::nullopt; // DCMTK cannot read it
    }
}

/// The transfer syntaxes that the dataset may have, each once.
std::vector<E_TransferSyntax> choices(std::vector<E_TransferSyntax> stated) {
    if (stated.empty()) {
        return {EXS_Unknown};
    }
    std::sort(stated.begin(), stated.end());
    stated.erase(std::unique(stated.begin(), stated.end()), stated.end());
    return stated;
}

} // namespace

std::optional<std::string> reasonNotToParse(OpenFile& file, const ParseLimits& limits, bool* statesHtj2k) {
    FileSource source(file);
    skipPreamble(source);
    ElementWalk meta(source, limits);
    if (!meta.walkMetaInformation(encodingOf(DcmXfer(SyntaxGuess::at(source))))) {
        return meta.refusal();
    }
    if (statesHtj2k != nullptr) {
        *statesHtj2k = meta.statesHtj2k();
    }
    const std::uint64_t start = source.offset();
    const auto syntaxes = choices(meta.syntaxes());
    auto refusal = reasonInDataset(source, syntaxes.front(), limits);
    for (std::size_t index = 1; index < syntaxes.size() && !refusal; ++index) {
        FileSource again(file);
        again.skip(start);
        refusal = reasonInDataset(again, syntaxes[index], limits);
    }
    return refusal;
}

std::optional<std::string> reasonNotToParse(const std::string& path, const ParseLimits& limits) {
    OpenFile file(path);
    return reasonNotToParse(file, limits);
}

} // namespace radvex
