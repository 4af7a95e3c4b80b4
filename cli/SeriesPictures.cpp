#include "cli/SeriesPictures.h"

#include <algorithm>

#include "cli/arguments/Files.h"
#include "files/OutputFile.h"
#include "formats/pictures/Png.h"
#include "media/scan/FileDiagnosis.h"
#include "volume/preview/ContactSheet.h"
#include "volume/slices/FileMetadata.h"
#include "volume/slices/FileWindow.h"
#include "volume/slices/PromisedFrames.h"
#include "workers/Parcel.h"

namespace radvex::cli {

namespace fs = std::filesystem;

namespace {

/// What is known about the places of the frames. Nothing is known of a file whose attributes cannot be used.
std::vector<volume::SliceRecord> slicesOf(velmora::Host& host, const std::string& path, std::size_t count) {
    try {
        return volume::FileMetadata(host, path, path).slices(static_cast<vint>(count));
    } catch (const Error&) {
        return std::vector<volume::SliceRecord>(count);
    }
}

/// Letters of images without an orientation in space, such as mammograms.
volume::EdgeLetters lettersOfDataset(velmora::Host& host, const std::string& path) {
    const velmora::Value found =
        host.call("ReadMetadata", {path, velmora::Store::ofTexts({"PatientOrientation"}), false});
    return volume::edgeLettersOf(found.get<velmora::Store>().view().text("PatientOrientation"));
}

std::vector<std::string> tilesOf(velmora::Host& host, const std::string& path,
                                 const std::vector<formats::Picture>& pictures) {
    const auto slices = slicesOf(host, path, pictures.size());
    std::vector<std::string> tiles;
    for (std::size_t index = 0; index < pictures.size(); ++index) {
        volume::SheetTile tile = volume::tileOf(pictures[index], slices[index]);
        if (!slices[index].orientation) {
            tile.letters = lettersOfDataset(host, path);
        }
        tiles.push_back(workers::toParcel(tile));
    }
    return tiles;
}

} // namespace

std::vector<std::string> encoded(velmora::Host& host, const std::string& path,
                                 const std::vector<formats::Picture>& pictures, bool isForSheet) {
    if (isForSheet) {
        auto tiles = tilesOf(host, path, pictures);
        host.call("CloseReader", {path});
        return tiles;
    }
    std::vector<std::string> pngs;
    pngs.reserve(pictures.size());
    for (const formats::Picture& picture : pictures) {
        pngs.push_back(formats::pngOf(picture));
    }
    return pngs;
}

media::ShownFile showFile(velmora::Host& host, const std::string& path, const media::Rendering& rendering,
                          bool isForSheet) {
    media::ShownFile file;
    try {
        const auto frames = static_cast<std::size_t>(std::max(1, host.call("GetFrameCount", {path}).get<vint>()));
        if (const std::string missing = volume::missingFrames(path, frames); !missing.empty()) {
            file.error = "It " + missing + '.';
            host.call("CloseReader", {path});
            return file;
        }
        const media::Rendering own = volume::renderingOf(host, path, "", rendering, volume::kAllFrames);
        return media::showFile(host, path, own, [&](const std::vector<formats::Picture>& pictures) {
            return encoded(host, path, pictures, isForSheet);
        });
    } catch (const velmora::LibraryError& error) {
        file.error = media::explain(error, path, path);
    } catch (const Error& error) {
        file.error = error.what();
    }
    host.call("CloseReader", {path});
    return file;
}

namespace {

void makeFolder(const fs::path& folder) {
    std::error_code error;
    if (fs::create_directories(folder, error); error) {
        throw FileError(folder.string() + " cannot be made: " + error.message() + ".");
    }
}

} // namespace

formats::Json writePictures(const OutputRule& rule, const fs::path& folder, const SeriesPictures& series) {
    formats::Json written = formats::Json::array();
    for (std::size_t index = 0; index < series.files.size(); ++index) {
        const auto& [file, pngs] = series.files[index];
        makeFolder(folder);
        for (std::size_t frame = 0; frame < pngs.size(); ++frame) {
            const std::string& png = pngs[frame];
            const std::string name =
                fileNumber(index + 1) + (pngs.size() > 1 ? "-" + fileNumber(frame + 1) : std::string{}) + ".png";
            const std::string path = (folder / name).string();
            files::writeOutputFile(rule.to(path), [&](std::FILE* output) {
                return std::fwrite(png.data(), 1, png.size(), output) == png.size();
            });
            written.push_back({{"file", file}, {"frame", frame + 1}, {"written", path}});
        }
    }
    return written;
}

formats::Json writeSheets(const OutputRule& rule, const fs::path& base, const SeriesPictures& series) {
    std::vector<const std::string*> parcels;
    formats::Json shown = formats::Json::array();
    for (const SeriesPictures::OfFile& file : series.files) {
        for (std::size_t frame = 0; frame < file.frames.size(); ++frame) {
            parcels.push_back(&file.frames[frame]);
            shown.push_back({{"file", file.file}, {"frame", frame + 1}, {"number", parcels.size()}});
        }
    }
    const bool isOne = parcels.size() <= volume::kMostTiles;
    for (std::size_t first = 0; first < parcels.size(); first += volume::kMostTiles) {
        const std::size_t end = std::min(first + volume::kMostTiles, parcels.size());
        const std::string path =
            base.string() + (isOne ? std::string() : '-' + fileNumber(first / volume::kMostTiles + 1)) + ".png";
        std::vector<volume::SheetTile> tiles;
        for (std::size_t index = first; index < end; ++index) {
            tiles.push_back(workers::fromParcel<volume::SheetTile>(*parcels[index]));
            shown[index]["written"] = path;
        }
        makeFolder(base.parent_path());
        formats::writePng(rule.to(path), volume::sheetOf(tiles, first + 1));
    }
    return shown;
}

} // namespace radvex::cli
