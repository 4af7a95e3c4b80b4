#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "formats/json/LosslessJson.h"

namespace radvex::view {

/// The series of a folder by number. The browser never sees a path, and none that it sends is opened.
class Catalogue {
  public:
    /// @param tree  as describeTree gives it
    explicit Catalogue(const formats::Json& tree);

    /// The tree for the page: in place of its files, each series has its "id" and the number of "files".
    const formats::Json& shown() const { return mShown; }
    std::size_t seriesCount() const { return mFiles.size(); }
    /// The paths of the files of a series; nothing if there is no such series.
    const formats::Json* filesOf(std::size_t series) const;
    /// The path of a file of a series; nothing if there is none.
    const formats::Json* fileOf(std::size_t series, std::size_t file) const;

  private:
    formats::Json mShown;
    std::vector<formats::Json> mFiles{}; ///< of each series
};

} // namespace radvex::view
