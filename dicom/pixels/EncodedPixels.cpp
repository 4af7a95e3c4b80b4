#include "dicom/pixels/EncodedPixels.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dicom/pixels/Fragments.h"
#include "dicom/pixels/ImagePixelAttributes.h"

namespace radvex {

namespace {

DcmPixelData* pixelDataOf(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element);
    return dynamic_cast<DcmPixelData*>(element);
}

/// Samples of one frame, plane after plane, as pixel after pixel.
void interleave(const unsigned char* planes, unsigned char* pixels, std::size_t sampleCount, std::size_t pixelCount,
                std::size_t sampleSize) {
    for (std::size_t sample = 0; sample < sampleCount; ++sample) {
        for (std::size_t pixel = 0; pixel < pixelCount; ++pixel) {
            std::memcpy(pixels + (pixel * sampleCount + sample) * sampleSize, planes, sampleSize);
            planes += sampleSize;
        }
    }
}

std::uint64_t encodedBytes(DcmPixelSequence& fragments) {
    DcmPixelItem* offsetTable = nullptr;
    std::uint64_t bytes = fragments.getItem(offsetTable, 0).good() ? offsetTable->getLength() : 0;
    forEachFragment(fragments, [&](DcmPixelItem& fragment) { bytes += fragment.getLength(); });
    return bytes;
}

} // namespace

bool holdsAllPixels(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    const std::uint64_t promised = ImagePixelAttributes(dataset).bytesOfWholeFrames();
    return pixels == nullptr || (promised > 0 && promised <= pixels->getLength());
}

void interleaveSamples(DcmDataset& dataset) {
    const ImagePixelAttributes attributes(dataset);
    const std::size_t sampleCount = attributes.numberOr(0, DCM_SamplesPerPixel);
    const std::size_t pixelCount = std::size_t{attributes.numberOr(0, DCM_Rows)} * attributes.numberOr(0, DCM_Columns);
    const std::size_t sampleSize = attributes.numberOr(0, DCM_BitsAllocated) / 8U;
    DcmPixelData* pixels = pixelDataOf(dataset);
    Uint16* words = nullptr;
    if (pixels == nullptr || sampleCount < 2 || attributes.numberOr(0, DCM_PlanarConfiguration) != 1 ||
        pixels->getUint16Array(words).bad() || words == nullptr) {
        return;
    }
    const std::size_t frameSize = sampleCount * pixelCount * sampleSize;
    auto* frame = reinterpret_cast<unsigned char*>(words);
    std::vector<unsigned char> planes(frameSize);
    for (std::uint64_t done = 0; done < attributes.bytesOfWholeFrames(); done += frameSize, frame += frameSize) {
        std::memcpy(planes.data(), frame, frameSize);
        interleave(planes.data(), frame, sampleCount, pixelCount, sampleSize);
    }
    (void)dataset.putAndInsertUint16(DCM_PlanarConfiguration, 0);
}

DcmPixelSequence* currentFragments(DcmPixelData& pixels) {
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    DcmPixelSequence* fragments = nullptr;
    pixels.getCurrentRepresentationKey(syntax, parameter);
    return pixels.getEncapsulatedRepresentation(syntax, parameter, fragments).good() ? fragments : nullptr;
}

bool canBeDecoded(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    DcmPixelSequence* fragments = pixels == nullptr ? nullptr : currentFragments(*pixels);
    if (fragments == nullptr || encodedBytes(*fragments) < ImagePixelAttributes(dataset).bytesOfWholeFrames()) {
        return true;
    }
    DcmDataset copy(dataset); // the raw pixels beside the fragments must not answer for them
    copy.removeAllButCurrentRepresentations();
    return copy.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).good();
}

} // namespace radvex
