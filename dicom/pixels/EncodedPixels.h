#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"

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
