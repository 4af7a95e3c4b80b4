#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcitem.h"

namespace radvex::compare {

/// An attribute without regard to the block of its private creator, so that it is found in another file too.
struct ElementName {
    Uint16 group = 0;
    Uint16 element = 0; ///< of a private attribute the last two digits, of a private creator 0x0010
    std::string creator{};
    std::string shown{};  ///< keyword, "gggg,eeee", or "gggg,xxee (CREATOR)"
    std::string number{}; ///< "gggg,eeee" as in the file
    std::string block{};  ///< "gggg,xxee"; empty for other than private attributes

    /// Whether both name the same attribute.
    bool isSame(const ElementName& other) const;
    /// The order in which attributes are compared.
    bool isBefore(const ElementName& other) const;
};

/// @param item  that holds the element
ElementName nameOf(DcmItem& item, DcmElement& element);

/// One step of a path: an attribute, and the number of the item that the path goes on in (0: none).
struct Step {
    ElementName name{};
    std::size_t item = 0;
};

/// A path with dots between its steps: "ReferencedImageSequence[1].ReferencedSOPInstanceUID".
std::string pathText(const std::vector<Step>& path);

/// Attributes that a comparison leaves out.
class IgnoredPaths {
  public:
    /// @param words  as AttributeSettings has them
    explicit IgnoredPaths(const std::vector<std::string>& words);

    /// Whether a path ends like one of the words.
    bool contain(const std::vector<Step>& path) const;

  private:
    struct Part {
        std::string name{};
        std::string item{}; ///< as text; empty for all items
    };

    static bool isLike(const Part& part, const Step& step);

    std::vector<std::vector<Part>> mPaths{};
};

} // namespace radvex::compare
