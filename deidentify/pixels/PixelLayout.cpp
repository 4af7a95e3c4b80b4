#include "deidentify/pixels/PixelLayout.h"

#include <bit>
#include <charconv>
#include <stdexcept>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "deidentify/pixels/AttributeText.h"

namespace radvex::deidentify {

namespace {

static_assert(std::endian::native == std::endian::little, "samples are addressed as bytes of words");

[[noreturn]] void fail(const std::string& why) { throw std::runtime_error(why); }

unsigned numberOf(DcmItem& dataset, const DcmTagKey& key, const char* keyword) {
    Uint16 number = 0;
    if (dataset.findAndGetUint16(key, number, 0, OFFalse).bad()) {
        fail(std::string("it has no ") + keyword);
    }
    return number;
}

unsigned numberOr(DcmItem& dataset, const DcmTagKey& key, unsigned otherwise) {
    Uint16 number = 0;
    return dataset.findAndGetUint16(key, number, 0, OFFalse).good() ? number : otherwise;
}

std::uint64_t framesOf(DcmItem& dataset) {
    const std::string text = wholeText(dataset, DCM_NumberOfFrames);
    if (text.empty()) {
        return 1;
    }
    std::uint64_t frames = 0;
    const char* begin = text.data() + (text.starts_with('+') ? 1 : 0);
    const auto [end, error] = std::from_chars(begin, text.data() + text.size(), frames);
    if (error != std::errc() || end != text.data() + text.size() || frames == 0) {
        fail("its number of frames makes no sense");
    }
    return frames;
}

void readBits(DcmItem& dataset, PixelLayout& layout) {
    layout.bitsAllocated = numberOf(dataset, DCM_BitsAllocated, "BitsAllocated");
    if (layout.isFloat) {
        layout.bitsStored = layout.bitsAllocated;
        return;
    }
    const unsigned allocated = layout.bitsAllocated;
    if (allocated != 1 && allocated != 8 && allocated != 16 && allocated != 32) {
        fail("its samples have " + std::to_string(allocated) + " bits");
    }
    layout.bitsStored = numberOr(dataset, DCM_BitsStored, allocated);
    const unsigned highBit = numberOr(dataset, DCM_HighBit, layout.bitsStored - 1);
    if (layout.bitsStored < 1 || highBit >= allocated || highBit + 1 < layout.bitsStored) {
        fail("BitsAllocated, BitsStored and HighBit contradict each other");
    }
    layout.lowBit = highBit + 1 - layout.bitsStored;
    layout.isSigned = numberOr(dataset, DCM_PixelRepresentation, 0) == 1;
}

unsigned samplesOfModel(const std::string& model) {
    if (model == "MONOCHROME1" || model == "MONOCHROME2" || model == "PALETTE COLOR") {
        return 1;
    }
    return model == "RGB" || model == "YBR_FULL" || model == "YBR_FULL_422" || model == "YBR_PARTIAL_422" ? 3 : 0;
}

void readColours(DcmItem& dataset, PixelLayout& layout) {
    layout.colourModel = capitals(wholeText(dataset, DCM_PhotometricInterpretation));
    layout.samples = numberOr(dataset, DCM_SamplesPerPixel, 1);
    if (layout.isFloat) {
        if (layout.samples != 1) {
            fail("its pixels have several floating-point samples");
        }
        return;
    }
    const unsigned samples = samplesOfModel(layout.colourModel);
    if (samples == 0) {
        fail("its PhotometricInterpretation is none that can be blanked");
    }
    if (layout.samples != samples) {
        fail("SamplesPerPixel and PhotometricInterpretation contradict each other");
    }
    layout.isByPlane = samples > 1 && numberOr(dataset, DCM_PlanarConfiguration, 0) == 1;
    layout.sharesColours = layout.colourModel.ends_with("_422");
}

void checkColours(const PixelLayout& layout) {
    if (layout.samples > 1 && layout.bitsAllocated == 1) {
        fail("its colours have one bit");
    }
    if (layout.sharesColours && (layout.isByPlane || layout.bitsAllocated != 8 || layout.columns % 2 != 0)) {
        fail("its pixels do not share their colours by pairs of bytes");
    }
}

/// Words of 16 bits are swapped when they are read, but not the halves of longer ones.
void checkByteOrder(DcmItem& dataset, const PixelLayout& layout) {
    const auto* whole = dynamic_cast<const DcmDataset*>(&dataset);
    if (whole != nullptr && DcmXfer(whole->getOriginalXfer()).isBigEndian() && !layout.isFloat &&
        layout.bitsAllocated > 16) {
        fail("its samples are longer than 16 bits and big-endian");
    }
}

/// Null when they cannot be read.
template <typename Value>
Uint8* bytesOf(DcmElement& element, OFCondition (DcmElement::*get)(Value*&)) {
    Value* values = nullptr;
    return (element.*get)(values).good() ? reinterpret_cast<Uint8*>(values) : nullptr;
}

} // namespace

DcmElement* pixelElementOf(DcmItem& dataset) {
    DcmElement* found = nullptr;
    for (const DcmTagKey& key : {DCM_PixelData, DCM_FloatPixelData, DCM_DoubleFloatPixelData}) {
        DcmElement* element = nullptr;
        if (dataset.findAndGetElement(key, element, OFFalse, OFFalse).good() && element != nullptr) {
            if (found != nullptr) {
                fail("it has pixels of several kinds");
            }
            found = element;
        }
    }
    return found;
}

PixelLayout pixelLayoutOf(DcmItem& dataset) {
    DcmElement* element = pixelElementOf(dataset);
    PixelLayout layout;
    layout.isFloat = element != nullptr && element->getTag().getXTag() != DCM_PixelData;
    layout.rows = numberOf(dataset, DCM_Rows, "Rows");
    layout.columns = numberOf(dataset, DCM_Columns, "Columns");
    if (layout.rows == 0 || layout.columns == 0) {
        fail("it has no rows or no columns");
    }
    layout.frames = framesOf(dataset);
    readBits(dataset, layout);
    readColours(dataset, layout);
    if (layout.isFloat) {
        const unsigned bits = element->getTag().getXTag() == DCM_FloatPixelData ? 32 : 64;
        if (layout.bitsAllocated != bits) {
            fail("BitsAllocated is not that of its floating-point pixels");
        }
    }
    checkColours(layout);
    checkByteOrder(dataset, layout);
    return layout;
}

std::span<Uint8> rawBytes(DcmElement& element) {
    Uint8* bytes = nullptr;
    switch (element.getVR()) {
    case EVR_OF: bytes = bytesOf<Float32>(element, &DcmElement::getFloat32Array); break;
    case EVR_OD: bytes = bytesOf<Float64>(element, &DcmElement::getFloat64Array); break;
    case EVR_OB:
    case EVR_UN: bytes = bytesOf<Uint8>(element, &DcmElement::getUint8Array); break;
    default: bytes = bytesOf<Uint16>(element, &DcmElement::getUint16Array); break;
    }
    if (bytes == nullptr) {
        fail("its pixels cannot be read");
    }
    return {bytes, element.getLengthField()};
}

std::span<Uint8> bytesOfFrames(std::span<Uint8> value, const PixelLayout& layout) {
    // A frame has at most 2^32 pixels of 3 samples of 64 bits, so only the product with the frames could overflow.
    const std::uint64_t bitsOfFrame = layout.samplesOfFrame() * layout.bitsAllocated;
    const std::uint64_t bits = std::uint64_t{value.size()} * 8;
    if (layout.frames > bits / bitsOfFrame) {
        fail("its pixels are fewer than its attributes say");
    }
    return value.first(static_cast<std::size_t>((layout.frames * bitsOfFrame + 7) / 8));
}

} // namespace radvex::deidentify
