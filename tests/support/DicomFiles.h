#pragma once

#include <array>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
#include "dcmtk/dcmdata/dctk.h"

namespace radvex::test {

/// Attributes and their values as text, which DCMTK turns into what the element holds.
using Attributes = std::vector<std::pair<DcmTagKey, std::string>>;

void put(DcmItem& item, const Attributes& attributes);

/// All values of an attribute; "(none)" when it is absent.
std::string textOf(DcmItem& item, const DcmTagKey& key);

/// Appends an item to a sequence, which is made when it is absent.
DcmItem& addItem(DcmItem& parent, const DcmTagKey& sequence);

using FillItem = std::function<void(DcmItem&)>;
using Fill = std::function<void(DcmDataset&)>;

/// A function that puts these attributes.
FillItem with(const Attributes& attributes);

/// A function that removes these attributes.
FillItem without(const std::vector<DcmTagKey>& keys);

/// Writes a DICOM file with the identifying attributes of a CT instance and whatever `fill` puts. Gives the path.
std::string writeDicom(const std::string& path, const Fill& fill, E_TransferSyntax syntax = EXS_LittleEndianExplicit);

/// A file with pixels. Numbers below 0 and empty texts are left out of it.
struct ImageFile {
    int rows = 1;
    int columns = 1;
    int samples = 1;
    int bitsAllocated = 16;
    int bitsStored = 16;
    int pixelRepresentation = 0;
    std::string photometric = "MONOCHROME2";
    int planarConfiguration = -1;
    std::string frames{};
    std::string slope{};
    std::string intercept{};
    std::vector<Uint16> words{}; ///< Pixel Data; none when empty
    Fill more{};
};

std::string writeImageFile(const std::string& path, const ImageFile& file,
                           E_TransferSyntax syntax = EXS_LittleEndianExplicit);

/// Pixel Data of these fragments behind an empty offset table, in place of what the item has. Lengths have to be even.
void putFragments(DcmItem& item, E_TransferSyntax syntax, const std::vector<std::string>& fragments);

/// An overlay plane, whose first pixel is the lowest bit.
struct OverlayPlane {
    int rows = 1;
    int columns = 1;
    Uint16 bits = 0;
    std::string frames{}; ///< none when empty
    std::array<Sint16, 2> origin{1, 1};
};

void putOverlay(DcmItem& item, Uint16 group, const OverlayPlane& plane);

} // namespace radvex::test
