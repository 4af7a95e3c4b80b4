#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::text {

/// What becomes of the other texts where one is in no character set.
enum class OtherTexts {
    Convert, ///< they become UTF-8 all the same, for a reader who wants what there is
    Leave    ///< all texts of the same character set keep their bytes, so that a file that is saved stays readable
};

/// Makes the texts of the dataset UTF-8, and those of its items, each from the character set that holds where it
/// stands. What DCMTK's conversion of a dataset does, with these differences: a text that it refuses is read as
/// TextDecoder does; an item may have a character set of its own; a text that is in none does not end the conversion.
/// It keeps its bytes.
///
/// SpecificCharacterSet becomes ISO_IR 192, in the dataset also where there was none, unless a text of its set is left
/// or a value of it is unknown. That of a DICOMDIR's own dataset is not looked at.
/// @throws std::bad_alloc  some texts may be converted, and others not
void convertToUtf8(DcmFileFormat& file, OtherTexts others);
/// The same for a record of a DICOMDIR, without those below it, or for a dataset that is no file's.
void convertToUtf8(DcmItem& item, OtherTexts others);

/// SpecificCharacterSet of an item; that of the item around it when it has none.
std::string characterSetOf(DcmItem& item, const std::string& outerSet);

} // namespace radvex::text
