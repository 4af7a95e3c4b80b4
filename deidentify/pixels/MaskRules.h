#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::deidentify {

/// A rectangle of pixels, from 0 at the top left. A negative x or y counts from the right or bottom edge: -1 is the
/// last column or row. It may reach beyond the image.
struct MaskRectangle {
    std::int64_t x = 0;
    std::int64_t y = 0;
    std::int64_t width = 0;  ///< at least 1
    std::int64_t height = 0; ///< at least 1
};

/// What an attribute of the dataset must say.
struct MaskCondition {
    DcmTagKey key{};
    std::string pattern{};          ///< in capitals; * stands for any text, none included
    std::optional<double> number{}; ///< compared as a number instead
};

struct MaskRule {
    std::vector<MaskCondition> match{}; ///< all of them; none: every image
    std::vector<MaskRectangle> rectangles{};
    bool isOutsideRegions = false; ///< also everything outside SequenceOfUltrasoundRegions
    std::optional<double> fill{};  ///< stored value of blanked pixels; else what is shown black
    bool claimsNoText = false;     ///< the user says that no text is left: "burnedIn": "NO"
    std::size_t number = 1;        ///< place in the list, for messages
};

/// Which parts of which images are blanked, from a file that the user wrote:
///
///     [{"match": {"Modality": "US", "Manufacturer": "GE*", "Rows": 480}, "rectangles": [[0, 0, 640, 40]],
///       "outsideRegions": true, "fill": 0, "burnedIn": "NO"}]
///
/// Every key but one of "rectangles" and "outsideRegions" may be absent. Conditions name attributes of the dataset
/// itself by keyword; text is compared without case and padding, with any one of several values or with all of them and
/// backslashes between, and an absent attribute is an empty text. All rules that match an image apply, in their order.
class MaskRules {
  public:
    MaskRules() = default;

    /// @param text  the JSON text, which may be handed to other processes
    /// @param file  name for messages
    /// @throws std::runtime_error  a sentence with the place in the file and an example
    static MaskRules parse(const std::string& text, const std::string& file);

    bool empty() const { return mRules.empty(); }
    const std::vector<MaskRule>& rules() const { return mRules; }

    /// The rules for an image, which must still say what the original said.
    std::vector<const MaskRule*> matching(DcmItem& dataset) const;

  private:
    std::vector<MaskRule> mRules{};
};

} // namespace radvex::deidentify
