#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "cli/arguments/OutputRule.h"
#include "formats/json/LosslessJson.h"
#include "formats/pictures/Picture.h"
#include "host/Host.h"
#include "media/FolderIndex.h"
#include "media/Rendering.h"

namespace radvex::cli {

/// The pictures of one series, and the reason for each file without a picture.
struct SeriesPictures {
    struct OfFile {
        std::string file{};                ///<
        std::vector<std::string> frames{}; ///< PNG files; parcels of volume::SheetTile for a sheet
    };
    std::vector<OfFile> files{}; ///< in the library's order
    std::vector<media::RefusedFile> missing{};
};

/// Renders one file with the window that is its own. What cannot be drawn becomes the error of the result.
/// @param isForSheet  the pictures are parcels of tiles
media::ShownFile showFile(velmora::Host& host, const std::string& path, const media::Rendering& rendering,
                          bool isForSheet);

/// The pictures of a file as PNG files, or as parcels of tiles for a sheet.
std::vector<std::string> encoded(velmora::Host& host, const std::string& path,
                                 const std::vector<formats::Picture>& pictures, bool isForSheet);

/// Writes 0001.png and so on into a folder, or 0001-0001.png and so on for several frames.
/// @return what each picture shows @throws FileError
formats::Json writePictures(const OutputRule& rule, const std::filesystem::path& folder, const SeriesPictures& series);

/// Writes contact sheets: BASE.png, or BASE-0001.png and so on if one does not hold all slices.
/// @return what each tile shows @throws FileError
formats::Json writeSheets(const OutputRule& rule, const std::filesystem::path& base, const SeriesPictures& series);

} // namespace radvex::cli
