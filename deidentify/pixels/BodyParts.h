#pragma once

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// Whether an image shows a head, or a part of one.
enum class HeadInView { Yes, No, Unclear };

/// Asks BodyPartExamined and AnatomicRegionSequence (also in shared functional groups), and only where these are absent
/// the descriptions of study, series and protocol. An image of which none of them names a part of the body is unclear:
/// many brain scans are called "T1 SAG" and no more, so silence does not mean that there is no face; but so are many
/// knees, and who releases these has to be able to say so without giving up the warning for known heads.
HeadInView headInView(DcmItem& dataset);

} // namespace radvex::deidentify
