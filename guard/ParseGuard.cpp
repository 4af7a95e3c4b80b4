#include "guard/ParseGuard.h"

#include <algorithm>
#include <cstring>
#include <span>
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

/// DCMTK's own guess at the transfer syntax of the next bytes.
class SyntaxGuess : DcmItem {
  public:
    static E_TransferSyntax at(ByteSource& source) {
        const auto bytes = source.peek(6);
        if (bytes.size() == 6 && std::memcmp(bytes.data(), kUsualStart.data(), 6) == 0) {
            return EXS_LittleEndianExplicit;
        }
        return SyntaxGuess().ofBytes(bytes);
    }

  private:
    /// Spares the work for almost every file.
    static constexpr std::string_view kUsualStart{"\x02\0\0\0UL", 6};

    E_TransferSyntax ofBytes(std::span<const std::uint8_t> bytes) {
        DcmInputBufferStream stream;
        stream.setBuffer(bytes.data(), static_cast<offile_off_t>(bytes.size()));
        return checkTransferSyntax(stream);
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

/// The way from a file's first byte to a reason to refuse it.
class Guard {
  public:
    Guard(OpenFile& file, const ParseLimits& limits) : mFile(file), mLimits(limits) {}

    std::optional<std::string> reason();

  private:
    std::optional<std::string> reasonInDataset(ByteSource& source, E_TransferSyntax stated);
    std::optional<std::string> reasonInPlain(ByteSource& source, const DcmXfer& syntax);
    std::optional<std::string> reasonInDeflated(ByteSource& source, const DcmXfer& syntax);

    OpenFile& mFile;
    const ParseLimits& mLimits;
};

std::optional<std::string> Guard::reasonInPlain(ByteSource& source, const DcmXfer& syntax) {
    ElementWalk walk(source, mLimits);
    walk.walkDataset(encodingOf(syntax));
    return walk.refusal();
}

std::optional<std::string> Guard::reasonInDeflated(ByteSource& source, const DcmXfer& syntax) {
    InflatingSource inflating(source, mLimits.inflatedBytes);
    const auto refusal = reasonInPlain(inflating, syntax);
    return inflating.isOverLimit() ? "inflated data over " + std::to_string(mLimits.inflatedBytes) + " bytes" : refusal;
}

std::optional<std::string> Guard::reasonInDataset(ByteSource& source, E_TransferSyntax stated) {
    const DcmXfer syntax(stated == EXS_Unknown ? SyntaxGuess::at(source) : stated);
    switch (syntax.getStreamCompression()) {
    case ESC_none: return reasonInPlain(source, syntax);
    case ESC_zlib: return reasonInDeflated(source, syntax);
    default: return std::nullopt; // DCMTK cannot read it
    }
}

/// What the dataset may be written in, each once.
std::vector<E_TransferSyntax> choices(std::vector<E_TransferSyntax> stated) {
    if (stated.empty()) {
        return {EXS_Unknown};
    }
    std::sort(stated.begin(), stated.end());
    stated.erase(std::unique(stated.begin(), stated.end()), stated.end());
    return stated;
}

std::optional<std::string> Guard::reason() {
    FileSource source(mFile);
    skipPreamble(source);
    ElementWalk meta(source, mLimits);
    if (!meta.walkMetaInformation(encodingOf(DcmXfer(SyntaxGuess::at(source))))) {
        return meta.refusal();
    }
    const std::uint64_t start = source.position();
    const auto syntaxes = choices(meta.syntaxes());
    auto refusal = reasonInDataset(source, syntaxes.front());
    for (std::size_t place = 1; place < syntaxes.size() && !refusal; ++place) {
        FileSource again(mFile);
        again.skip(start);
        refusal = reasonInDataset(again, syntaxes[place]);
    }
    return refusal;
}

} // namespace

std::optional<std::string> reasonNotToParse(OpenFile& file, const ParseLimits& limits) {
    return Guard(file, limits).reason();
}

std::optional<std::string> reasonNotToParse(const std::string& path, const ParseLimits& limits) {
    OpenFile file(path);
    return reasonNotToParse(file, limits);
}

} // namespace radvex
