#include "tests/support/CompressedPixelData.h"

#include <memory>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcpixel.h"
#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"

namespace radvex::test {

void putFragments(DcmItem& item, E_TransferSyntax syntax, const std::vector<std::string>& fragments) {
    auto sequence = std::make_unique<DcmPixelSequence>(DcmTag(DCM_PixelData, EVR_OB));
    sequence->insert(new DcmPixelItem(DcmTag(DCM_Item, EVR_OB)));
    for (const std::string& bytes : fragments) {
        auto fragment = std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB));
        fragment->putUint8Array(reinterpret_cast<const Uint8*>(bytes.data()), bytes.size());
        sequence->insert(fragment.release());
    }
    auto pixels = std::make_unique<DcmPixelData>(DCM_PixelData);
    pixels->putOriginalRepresentation(syntax, nullptr, sequence.release());
    item.insert(pixels.release(), OFTrue);
}

} // namespace radvex::test
