#include "tests/support/HostileFiles.h"

#include <stdexcept>

#include <zlib.h>

namespace radvex::test {

namespace {

constexpr std::uint32_t kItem = 0xFFFEE000;
constexpr std::uint32_t kItemEnd = 0xFFFEE00D;
constexpr std::uint32_t kSequenceEnd = 0xFFFEE0DD;

bool hasLongHeader(const std::string& vr) {
    static const std::string shortOnes = "AEASATCSDADSDTFLFDISLOLTPNSHSLSSSTTMUIULUS";
    for (std::size_t index = 0; index < shortOnes.size(); index += 2) {
        if (shortOnes.compare(index, 2, vr) == 0) {
            return false;
        }
    }
    return vr[0] >= 'A' && vr[0] <= 'Z' && vr[1] >= 'A' && vr[1] <= 'Z';
}

std::string definedNesting(const Nesting& nesting, std::size_t levels, std::string content) {
    for (std::size_t level = levels; level > 0; --level) {
        const Form& form = level == 1 ? nesting.outer : nesting.inner;
        const auto size = static_cast<std::uint32_t>(content.size() + nesting.before.size());
        content = nesting.inner.item(kItem, nesting.isDefinedItem ? size : kUndefined) + nesting.before + content +
                  (nesting.isDefinedItem ? "" : nesting.inner.item(kItemEnd, 0));
        const auto length = nesting.isDefinedSequence ? static_cast<std::uint32_t>(content.size()) : kUndefined;
        content = form.header(nesting.tag, nesting.vr, length) + content +
                  (nesting.isDefinedSequence ? "" : nesting.inner.item(kSequenceEnd, 0));
    }
    return nesting.before + content;
}

} // namespace

std::string Form::number16(std::uint32_t number) const {
    const auto low = static_cast<char>(number & 0xFF);
    const auto high = static_cast<char>(number >> 8 & 0xFF);
    return isBigEndian ? std::string{high, low} : std::string{low, high};
}

std::string Form::number32(std::uint32_t number) const {
    return isBigEndian ? number16(number >> 16) + number16(number) : number16(number) + number16(number >> 16);
}

std::string Form::tag(std::uint32_t number) const { return number16(number >> 16) + number16(number); }

std::string Form::header(std::uint32_t tagNumber, const std::string& vr, std::uint32_t length) const {
    if (!isExplicit) {
        return tag(tagNumber) + number32(length);
    }
    return tag(tagNumber) + vr + (hasLongHeader(vr) ? std::string(2, '\0') + number32(length) : number16(length));
}

std::string Form::element(std::uint32_t tagNumber, const std::string& vr, const std::string& value) const {
    return header(tagNumber, vr, static_cast<std::uint32_t>(value.size())) + value;
}

std::string Form::item(std::uint32_t tagNumber, std::uint32_t length) const {
    return tag(tagNumber) + number32(length);
}

std::string nested(const Nesting& nesting, std::size_t levels, const std::string& innermost) {
    if (nesting.isDefinedSequence || nesting.isDefinedItem) {
        return definedNesting(nesting, levels, innermost);
    }
    std::string bytes = nesting.before;
    for (std::size_t level = 0; level < levels; ++level) {
        const Form& form = level == 0 ? nesting.outer : nesting.inner;
        bytes += form.header(nesting.tag, nesting.vr, kUndefined) + nesting.inner.item(kItem, kUndefined);
        bytes += nesting.before;
    }
    bytes += innermost;
    for (std::size_t level = 0; level < (nesting.isUnclosed ? 0 : levels); ++level) {
        bytes += nesting.inner.item(kItemEnd, 0) + nesting.inner.item(kSequenceEnd, 0);
    }
    return bytes;
}

std::string withMeta(const std::string& syntax, const std::string& dataset, const std::string& moreMeta) {
    const std::string uid = syntax.size() % 2 == 0 ? syntax : syntax + '\0';
    const std::string meta = kExplicitForm.element(0x00020010, "UI", uid) + moreMeta;
    const std::string length =
        kExplicitForm.element(0x00020000, "UL", kExplicitForm.number32(static_cast<std::uint32_t>(meta.size())));
    return std::string(128, '\0') + "DICM" + length + meta + dataset;
}

std::string deflated(const std::string& bytes) {
    z_stream stream{};
    if (deflateInit2(&stream, 6, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK) {
        throw std::runtime_error("zlib cannot be used");
    }
    std::string input = bytes;
    std::string output(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(input.data());
    stream.avail_in = static_cast<uInt>(input.size());
    stream.next_out = reinterpret_cast<Bytef*>(output.data());
    stream.avail_out = static_cast<uInt>(output.size());
    const bool isComplete = deflate(&stream, Z_FINISH) == Z_STREAM_END;
    output.resize(output.size() - stream.avail_out);
    (void)deflateEnd(&stream);
    if (!isComplete) {
        throw std::runtime_error("zlib did not finish");
    }
    return output;
}

std::string directory(const Form& form, const std::vector<DirectoryRecord>& records, std::uint32_t first,
                      std::size_t offset, bool isDefined, std::size_t offsetBytes) {
    const auto number = [&](std::uint32_t tag, std::uint32_t value) {
        return form.element(tag, "UL", form.number32(value).substr(0, offsetBytes));
    };
    const std::size_t headerSize = number(0x00041200, 0).size() + form.header(0x00041220, "SQ", 0).size();
    const std::string type = form.element(0x00041430, "CS", "PATIENT ");
    const std::size_t content = 2 * number(0x00041400, 0).size() + type.size();
    const std::size_t size = 8 + content + (isDefined ? 0 : 8);
    const auto offsetOf = [&](std::uint32_t record) {
        return record == 0 ? 0 : static_cast<std::uint32_t>(offset + headerSize + (record - 1) * size);
    };
    std::string bytes = number(0x00041200, offsetOf(first));
    bytes += form.header(0x00041220, "SQ", isDefined ? static_cast<std::uint32_t>(records.size() * size) : kUndefined);
    for (const DirectoryRecord& record : records) {
        bytes += form.item(0xFFFEE000, isDefined ? static_cast<std::uint32_t>(content) : kUndefined);
        bytes += number(0x00041400, offsetOf(record.next)) + number(0x00041420, offsetOf(record.lower)) + type;
        bytes += isDefined ? "" : form.item(0xFFFEE00D, 0);
    }
    return bytes + (isDefined ? "" : form.item(0xFFFEE0DD, 0));
}

namespace {

using Wrap = std::function<std::string(const std::string&)>;

const Form kE = kExplicitForm;
const Form kI = kImplicitForm;
const Form kB = kBigEndianForm;

constexpr std::uint32_t kImages = 0x00081140;

Wrap in(const char* syntax) {
    return [syntax](const std::string& dataset) { return withMeta(syntax, dataset); };
}

std::string syntaxElement(const std::string& uid) { return kE.element(0x00020010, "UI", uid); }

std::string inDeflated(const std::string& dataset) { return withMeta(kDeflated, deflated(dataset)); }
std::string bare(const std::string& dataset) { return dataset; }
std::string withoutMeta(const std::string& dataset) { return std::string(128, '\0') + "DICM" + dataset; }
std::string inMeta(const std::string& elements) { return withMeta(kExplicit, "", elements); }
std::string firstInMeta(const std::string& elements) {
    return withoutMeta(elements + syntaxElement("1.2.840.10008.1.2 "));
}

std::string withoutGroupLength(const std::string& dataset) {
    return withoutMeta(syntaxElement("1.2.840.10008.1.2.1 ") + dataset);
}

/// The true syntax inside a sequence before the false one: DCMTK takes the first that it finds.
std::string withHiddenSyntax(const std::string& dataset) {
    Nesting hiding;
    hiding.tag = 0x00020001;
    return withMeta(kJpeg, dataset, nested(hiding, 1, syntaxElement("1.2.840.10008.1.2")));
}

/// With a group length of zero DCMTK reads the rest of the meta information as part of the dataset.
std::string withShortGroupLength(const std::string& dataset) {
    return withoutMeta(kE.element(0x00020000, "UL", kE.number32(0)) + syntaxElement("1.2.840.10008.1.2.4.50") +
                       dataset);
}

/// A group length of three bytes, which DCMTK takes for four. A reader that starts the dataset too early finds a long
/// value.
std::string withOddGroupLength(const std::string& dataset) {
    const std::string meta = syntaxElement("1.2.840.10008.1.2 ") + kE.element(0x00091001, "UN", "abcd");
    const std::string length = kE.number32(static_cast<std::uint32_t>(meta.size())).substr(0, 3);
    return withoutMeta(kE.element(0x00020000, "UL", length) + meta + dataset);
}

/// Meta information in implicit VR, which its first tag gives away.
std::string withImplicitMeta(const std::string& dataset) {
    return withoutMeta(kI.element(0x00020010, "UI", "1.2.840.10008.1.2 ") + dataset);
}

/// An element that DCMTK refuses, but takes for a missing group length when it comes first.
std::string afterRefusedMeta(const std::string& dataset) {
    return withoutMeta(kE.header(0x00020001, "OB", kUndefined) + syntaxElement("1.2.840.10008.1.2.1 ") + dataset);
}

Nesting nesting(Form outer, Form inner, std::uint32_t tag, const std::string& vr) { return {outer, inner, tag, vr}; }

Nesting nesting(Form form, bool isDefinedSequence, bool isDefinedItem) {
    return {form, form, kImages, "SQ", isDefinedSequence, isDefinedItem};
}

/// Private sequences of defined length, which only a creator in the dictionary makes known.
Nesting byCreator(const std::string& name, std::uint32_t creatorTag = 0x00090010, std::uint32_t tag = 0x00091040) {
    return {kI, kI, tag, "SQ", true, true, kI.element(creatorTag, "LO", name)};
}

NestingWay way(const std::string& name, const Wrap& wrap, const Nesting& nesting) {
    return {name, [wrap, nesting](std::size_t levels) { return wrap(nested(nesting, levels)); }};
}

NestingWay unclosed(const std::string& name, const Wrap& wrap, Nesting nesting) {
    nesting.isUnclosed = true;
    NestingWay result = way(name, wrap, nesting);
    result.isLoaded = false;
    return result;
}

/// The innermost sequence holds fragments of pixel data.
NestingWay withPixelsInside(const std::string& name, const Wrap& wrap, const Form& form) {
    const std::string pixels = form.header(0x7FE00010, "OB", kUndefined) + form.item(0xFFFEE000, 0) +
                               form.item(0xFFFEE000, 4) + "abcd" + form.item(0xFFFEE0DD, 0);
    return {name, [=](std::size_t levels) { return wrap(nested(nesting(form, false, false), levels - 1, pixels)); }};
}

std::vector<NestingWay> waysBySyntax() {
    return {
        way("Explicit", in(kExplicit), nesting(kE, false, false)),
        way("ExplicitDefined", in(kExplicit), nesting(kE, true, true)),
        way("ExplicitDefinedItems", in(kExplicit), nesting(kE, false, true)),
        way("ExplicitDefinedSequences", in(kExplicit), nesting(kE, true, false)),
        way("ExplicitPrivate", in(kExplicit), nesting(kE, kE, 0x00091001, "SQ")),
        way("ExplicitName", in(kExplicit), nesting(kE, kE, 0x00100010, "SQ")),
        way("ExplicitRecords", in(kExplicit), nesting(kE, kE, 0x00041220, "SQ")),
        way("Encapsulated", in(kJpeg), nesting(kE, false, false)),
        way("EncapsulatedInPlaceOfPixels", in(kJpeg), nesting(kE, kE, 0x7FE00010, "SQ")),
        way("Implicit", in(kImplicit), nesting(kI, false, false)),
        way("ImplicitDefined", in(kImplicit), nesting(kI, true, true)),
        way("BigEndian", in(kBigEndian), nesting(kB, false, false)),
        way("BigEndianDefined", in(kBigEndian), nesting(kB, true, true)),
        way("Deflated", inDeflated, nesting(kE, false, false)),
        way("DeflatedDefined", inDeflated, nesting(kE, true, true)),
        withPixelsInside("PixelsInside", in(kJpeg), kE),
        withPixelsInside("PixelsInsideUncompressed", in(kExplicit), kE),
        withPixelsInside("PixelsInsideImplicit", in(kImplicit), kI),
        withPixelsInside("PixelsInsideBigEndian", in(kBigEndian), kB),
        unclosed("ExplicitUnclosed", in(kExplicit), nesting(kE, false, false)),
        unclosed("ImplicitUnclosed", in(kImplicit), nesting(kI, false, false)),
        unclosed("DeflatedUnclosed", inDeflated, nesting(kE, false, false)),
    };
}

/// Elements that only DCMTK takes for sequences.
std::vector<NestingWay> waysByGuess() {
    return {
        way("UnknownVr", in(kExplicit), nesting(kE, kI, kImages, "UN")),
        way("UnknownVrOfPrivate", in(kExplicit), nesting(kE, kI, 0x00091001, "UN")),
        way("UnknownVrOfPrivateDeflated", inDeflated, nesting(kE, kI, 0x00091001, "UN")),
        way("UnknownVrBigEndian", in(kBigEndian), nesting(kB, kI, 0x00091001, "UN")),
        way("FutureVr", in(kExplicit), nesting(kE, kI, kImages, "ZZ")),
        way("ImplicitUnknownTag", in(kImplicit), nesting(kI, kI, 0x00091001, "")),
        way("ImplicitUnknownStandardTag", in(kImplicit), nesting(kI, kI, 0x0018FFF0, "")),
        way("ImplicitRepeatingGroup", in(kImplicit), nesting(kI, kI, 0x50022600, "")),
        way("ByCreator", in(kImplicit), byCreator("CARDIO-D.R. 1.0 ")),
        way("ByCreatorOfAnotherBlock", in(kImplicit), byCreator("CARDIO-D.R. 1.0 ", 0x00090077, 0x00097740)),
        way("ByCreatorWithSpaces", in(kImplicit), byCreator("CARDIO-D.R. 1.0" + std::string(901, ' '))),
        way("ByCreatorWithGarbage", in(kImplicit), byCreator("CARDIO-D.R. 1.0" + std::string(1, '\0') + "more")),
        way("ByCreatorOfARange", in(kImplicit), byCreator("PAPYRUS 3.0", 0x60070010, 0x600710C0)),
        way("ByCreatorInUnknown", in(kExplicit), nesting(kE, kI, 0x00091001, "UN")),
    };
}

std::vector<NestingWay> waysByMeta() {
    return {
        way("BareExplicit", bare, nesting(kE, false, false)),
        way("BareImplicit", bare, nesting(kI, true, true)),
        way("BareBigEndian", bare, nesting(kB, false, false)),
        way("NoMetaExplicit", withoutMeta, nesting(kE, true, true)),
        way("NoMetaImplicit", withoutMeta, nesting(kI, false, false)),
        way("NoMetaBigEndian", withoutMeta, nesting(kB, true, true)),
        way("NoGroupLength", withoutGroupLength, nesting(kE, false, false)),
        way("ImplicitMeta", withImplicitMeta, nesting(kI, true, true)),
        way("AfterRefusedMeta", afterRefusedMeta, nesting(kE, false, false)),
        way("UnknownSyntaxExplicit", in("1.2.3.4.5"), nesting(kE, false, false)),
        way("UnknownSyntaxImplicit", in("1.2.3.4.5"), nesting(kI, false, false)),
        way("SyntaxWithSpaces", in(" 1.2.840.10008. 1.2 "), nesting(kI, true, true)),
        way(
            "SyntaxWithGarbage",
            [](const std::string& dataset) {
                return withMeta(std::string(kImplicit) + std::string(1, '\0') + "garbage", dataset);
            },
            nesting(kI, true, true)),
        way("EmptySyntax", in(""), nesting(kE, false, false)),
        way("SyntaxOfSpaces", in("  "), nesting({false, true}, kI, 0x00091001, "")),
        way("HiddenSyntax", withHiddenSyntax, nesting(kI, true, true)),
        way("ShortGroupLength", withShortGroupLength, nesting(kE, false, false)),
        way("OddGroupLength", withOddGroupLength, nesting(kI, false, false)),
        way("InMeta", inMeta, nesting(kE, kE, 0x00020102, "SQ")),
        way("InMetaDefined", inMeta, {kE, kE, 0x00020102, "SQ", true, true}),
        way("InMetaUnknown", inMeta, nesting(kE, kI, 0x000200F0, "UN")),
        way("FirstInMeta", firstInMeta, nesting(kE, kE, 0x00020001, "SQ")),
    };
}

} // namespace

const std::vector<NestingWay>& nestingWays() {
    static const std::vector<NestingWay> all = [] {
        std::vector<NestingWay> ways = waysBySyntax();
        for (const auto& more : {waysByGuess(), waysByMeta()}) {
            ways.insert(ways.end(), more.begin(), more.end());
        }
        return ways;
    }();
    return all;
}

} // namespace radvex::test
