#pragma once

#include <span>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdatset.h"

namespace radvex::deidentify {

/// One way in which the picture of a file may show who the patient is.
struct PixelRisk {
    std::string pixelClass{}; ///< a word of pixelClasses()
    std::string reason{};     ///< a part of a sentence for people
};

/// The ways in which a picture or document may show who the patient is, at most one of each class, in the order of
/// pixelClasses(). Only attributes are looked at, never the pixels, so that a dataset of which the pixels were not read
/// gets the same answer. Empty for what is neither a picture nor a document.
///
/// Radiographs, mammograms, angiography and fluoroscopy are no class of their own: their machines write markers of the
/// side into pixels, and the patient into attributes. They count when BurnedInAnnotation says YES, when they are
/// pictures of a screen, or when their film was digitized.
std::vector<PixelRisk> pixelRisks(DcmDataset& dataset);

/// The classes, each once.
std::span<const char* const> pixelClasses();

} // namespace radvex::deidentify
