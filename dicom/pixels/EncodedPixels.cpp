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

namespace radvex {

namespace {

DcmPixelData* pixelDataOf(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element);
    return dynamic_cast<DcmPixelData*>(element);
}

/// Bytes of the pixels that the attributes tell of. The factors have 16 bits, the frames 31: nothing overflows, since
/// the pixels of one frame are at most 2^31.
std::uint64_t unpackedBytes(DcmDataset& dataset) {
    Sint32 frames = 0;
    (void)dataset.findAndGetSint32(DCM_NumberOfFrames, frames);
    return numberOf(dataset, DCM_Rows) * numberOf(dataset, DCM_Columns) * numberOf(dataset, DCM_SamplesPerPixel) *
           (numberOf(dataset, DCM_BitsAllocated) / 8) * static_cast<std::uint64_t>(std::max(frames, 1));
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

std::uint64_t numberOf(DcmDataset& dataset, const DcmTagKey& key) {
    Uint16 number = 0;
    (void)dataset.findAndGetUint16(key, number);
    return number;
}

bool holdsAllPixels(DcmDataset& dataset) {
    DcmPixelData* pixels = pixelDataOf(dataset);
    const std::uint64_t promised = unpackedBytes(dataset);
    return pixels == nullptr || (promised > 0 && promised <= pixels->getLength());
}

void interleaveSamples(DcmDataset& dataset) {
    const std::size_t sampleCount = numberOf(dataset, DCM_SamplesPerPixel);
    const std::size_t pixelCount = numberOf(dataset, DCM_Rows) * numberOf(dataset, DCM_Columns);
    const std::size_t sampleSize = numberOf(dataset, DCM_BitsAllocated) / 8;
    DcmPixelData* pixels = pixelDataOf(dataset);
    Uint16* words = nullptr;
    if (pixels == nullptr || sampleCount < 2 || numberOf(dataset, DCM_PlanarConfiguration) != 1 ||
        pixels->getUint16Array(words).bad() || words == nullptr) {
        return;
    }
    const std::size_t frameSize = sampleCount * pixelCount * sampleSize;
    auto* frame = reinterpret_cast<unsigned char*>(words);
    std::vector<unsigned char> planes(frameSize);
    for (std::uint64_t done = 0; done < unpackedBytes(dataset); done += frameSize, frame += frameSize) {
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
    if (fragments == nullptr || encodedBytes(*fragments) < unpackedBytes(dataset)) {
        return true;
    }
    DcmDataset copy(dataset); // the raw pixels beside the fragments must not answer for them
    copy.removeAllButCurrentRepresentations();
    return copy.chooseRepresentation(EXS_LittleEndianExplicit, nullptr).good();
}

} // namespace radvex
