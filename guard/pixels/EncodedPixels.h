#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmdata/dcstack.h"

namespace radvex {

/// Calls `body` with every fragment of compressed pixels after the offset table (PS3.5 A.4), in order. DCMTK's access
/// by number would count through the list each time.
template <typename Body>
void forEachFragment(DcmPixelSequence& fragments, Body body) {
    DcmObject* object = fragments.nextInContainer(nullptr);
    while (object != nullptr && (object = fragments.nextInContainer(object)) != nullptr) {
        if (auto* fragment = dynamic_cast<DcmPixelItem*>(object)) {
            body(*fragment);
        }
    }
}

/// Bytes of all fragments. DCMTK's own sum overflows at 4 GiB.
inline std::uint64_t encodedBytes(DcmPixelSequence& fragments) {
    DcmPixelItem* offsetTable = nullptr;
    std::uint64_t bytes = fragments.getItem(offsetTable, 0).good() ? offsetTable->getLength() : 0;
    forEachFragment(fragments, [&](DcmPixelItem& fragment) { bytes += fragment.getLength(); });
    return bytes;
}

/// Every Pixel Data of a dataset and of its nested items, each with the item around it. DCMTK's search would begin each
/// sequence anew for each.
inline std::vector<std::pair<DcmItem*, DcmPixelData*>> allPixels(DcmDataset& dataset) {
    std::vector<std::pair<DcmItem*, DcmPixelData*>> all;
    DcmStack stack;
    while (dataset.nextObject(stack, OFTrue).good()) {
        auto* pixels = dynamic_cast<DcmPixelData*>(stack.top());
        if (auto* item = pixels == nullptr ? nullptr : dynamic_cast<DcmItem*>(stack.elem(1))) {
            all.emplace_back(item, pixels);
        }
    }
    return all;
}

/// The Pixel Data of a dataset; null when it has none, or floating-point pixels, which are another attribute.
inline DcmPixelData* pixelDataOf(DcmDataset& dataset) {
    DcmElement* element = nullptr;
    (void)dataset.findAndGetElement(DCM_PixelData, element);
    return dynamic_cast<DcmPixelData*>(element);
}

/// The fragments of compressed pixels, which keep owning them; null for pixels that are not compressed.
inline DcmPixelSequence* currentFragments(DcmPixelData& pixels) {
    E_TransferSyntax syntax = EXS_Unknown;
    const DcmRepresentationParameter* parameter = nullptr;
    DcmPixelSequence* fragments = nullptr;
    pixels.getCurrentRepresentationKey(syntax, parameter);
    return pixels.getEncapsulatedRepresentation(syntax, parameter, fragments).good() ? fragments : nullptr;
}

} // namespace radvex
