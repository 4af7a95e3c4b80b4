#include "tests/support/NestingWays.h"

#include "tests/support/HostileFiles.h"
#include "tests/support/TransferSyntaxes.h"

namespace radvex::test {

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

/// A group length of zero is none of the loop that reads the rest; the rest is then a part of the dataset.
std::string withShortGroupLength(const std::string& dataset) {
    return withoutMeta(kE.element(0x00020000, "UL", kE.number32(0)) + syntaxElement("1.2.840.10008.1.2.4.50") +
                       dataset);
}

/// A group length of three bytes, which DCMTK takes for four. Who reads the dataset too early finds a long value.
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

/// The last level is one of fragments.
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

/// What is a sequence to DCMTK only.
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
