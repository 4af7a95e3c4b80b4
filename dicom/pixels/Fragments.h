#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"

namespace radvex {

/// Every fragment of compressed pixels after the offset table (PS3.5 A.4), in order. By number, DCMTK would count
/// through the list for each.
template <typename Body>
void forEachFragment(DcmPixelSequence& fragments, Body body) {
    DcmObject* object = fragments.nextInContainer(nullptr);
    while (object != nullptr && (object = fragments.nextInContainer(object)) != nullptr) {
        if (auto* fragment = dynamic_cast<DcmPixelItem*>(object)) {
            body(*fragment);
        }
    }
}

} // namespace radvex
