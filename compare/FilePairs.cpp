#include "compare/FilePairs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <map>
#include <tuple>

#include "files/Errors.h"
#include "media/FolderWalk.h"
#include "media/scan/FileStart.h"
#include "volume/slices/SliceRecord.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::compare {

namespace {

namespace fs = std::filesystem;

/// What a file can be matched by, as text.
struct FileKeys {
    std::string instance{};
    std::string position{};
    std::string number{};
    std::string error{}; ///< why it cannot be read; empty if it can

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.instance, self.position, self.number, self.error);
    }
};

struct FoundFile {
    std::string path{};
    std::string name{};    ///< below the folder
    bool isMarked = false; ///< it says itself that it is DICOM
    FileKeys keys{};
    bool isPaired = false;
};

FileKeys keysOf(velmora::Host& host, const std::string& path) {
    FileKeys keys;
    try {
        const velmora::Value found = host.call(
            "ReadMetadata",
            {path, velmora::Store::ofTexts({"SOPInstanceUID", "ImagePositionPatient", "InstanceNumber"}), false});
        const velmora::StoreView attributes = found.get<velmora::Store>().view();
        keys.instance = volume::trimmed(attributes.text("SOPInstanceUID"));
        keys.position = attributes.text("ImagePositionPatient");
        keys.number = attributes.text("InstanceNumber");
    } catch (const velmora::LibraryError& error) {
        keys.error = error.what();
    }
    host.call("CloseReader", {path});
    return keys;
}

/// The files of a folder that are DICOM, or may be.
std::vector<FoundFile> filesIn(const std::string& folder, std::vector<media::RefusedFile>& refused) {
    media::FolderWalk walk;
    try {
        walk = media::walkFolder(folder);
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
    for (const media::RefusedFile& file : walk.refused) {
        refused.push_back({(fs::path(folder) / file.path).string(), file.reason});
    }
    std::vector<FoundFile> files;
    for (const std::string& name : walk.files) {
        const std::string path = (fs::path(folder) / name).string();
        const media::FileStart start(path);
        const std::string broken = start.isRead() ? start.brokenPromise(name) : "it cannot be read";
        if (start.isRead() && start.isDirectory()) {
            continue;
        }
        if (start.isRead() && (start.hasMark() || start.mayBeBareDataset())) {
            files.push_back({path, name, start.hasMark(), {}, false});
        } else if (!broken.empty()) {
            refused.push_back({path, broken});
        }
    }
    return files;
}

void readKeys(velmora::Host& host, std::vector<FoundFile>& files, std::size_t jobs, const std::string& what,
              const workers::Progress& progress) {
    workers::forEachInBlocks(
        std::min(jobs, files.size()), files.size(),
        [&](std::size_t index) { return workers::toParcel(keysOf(host, files[index].path)); },
        [&](std::size_t index, const workers::WorkResult& result) {
            if (result.isDone()) {
                files[index].keys = workers::fromParcel<FileKeys>(result.output);
            } else {
                files[index].keys.error = result.problem();
            }
            progress(what, index + 1, files.size());
        });
}

/// Takes out the files that cannot be read. One without a mark need not be DICOM.
void refuseUnread(std::vector<FoundFile>& files, std::vector<media::RefusedFile>& refused) {
    for (const FoundFile& file : files) {
        if (!file.keys.error.empty() && file.isMarked) {
            refused.push_back({file.path, file.keys.error});
        }
    }
    std::erase_if(files, [](const FoundFile& file) { return !file.keys.error.empty(); });
}

/// Finds files by a key. A key that is empty finds none.
using Key = std::string;

Key keyOf(const FoundFile& file, PairBy by) { return by == PairBy::name ? file.name : file.keys.instance; }

/// A cube with an edge of the tolerance.
using Cell = std::array<long, 3>;
constexpr double kTolerance = 0.01; // mm

Cell cellOf(const formats::Vector3& position) {
    const auto part = [&](std::size_t axis) { return std::lround(std::floor(position[axis] / kTolerance)); };
    return {part(0), part(1), part(2)};
}

/// Files in the order in which those that are alike are paired.
std::vector<FoundFile*> inOrder(std::vector<FoundFile>& files) {
    std::vector<FoundFile*> order;
    order.reserve(files.size());
    for (FoundFile& file : files) {
        order.push_back(&file);
    }
    std::ranges::stable_sort(order, {}, [](const FoundFile* file) {
        return volume::leadingInteger(volume::firstValue(file->keys.number)).value_or(0);
    });
    return order;
}

/// Pairs of files, by the path of the first.
using PartnerByPath = std::map<std::string, std::string>;

void pair(FoundFile& one, FoundFile& other, PartnerByPath& partners) {
    one.isPaired = true;
    other.isPaired = true;
    partners.emplace(one.path, other.path);
}

void pairByKey(std::vector<FoundFile>& firsts, std::vector<FoundFile>& seconds, PairBy by, PartnerByPath& partners) {
    std::multimap<Key, FoundFile*> waiting; // equal keys stay in their order
    for (FoundFile* file : inOrder(seconds)) {
        waiting.emplace(keyOf(*file, by), file);
    }
    for (FoundFile* file : inOrder(firsts)) {
        const auto found = keyOf(*file, by).empty() ? waiting.end() : waiting.find(keyOf(*file, by));
        if (found != waiting.end()) {
            pair(*file, *found->second, partners);
            waiting.erase(found);
        }
    }
}

bool isNear(const formats::Vector3& one, const formats::Vector3& other) { return length(one - other) <= kTolerance; }

void pairByPosition(std::vector<FoundFile>& firsts, std::vector<FoundFile>& seconds, PartnerByPath& partners) {
    std::multimap<Cell, FoundFile*> waiting;
    for (FoundFile* file : inOrder(seconds)) {
        if (const auto position = volume::positionOf(file->keys.position)) {
            waiting.emplace(cellOf(*position), file);
        }
    }
    for (FoundFile* file : inOrder(firsts)) {
        const auto position = volume::positionOf(file->keys.position);
        for (int neighbour = 0; position && !file->isPaired && neighbour < 27; ++neighbour) {
            const Cell middle = cellOf(*position); // the first neighbour is the cell itself
            const int turn = (neighbour + 13) % 27;
            const auto [from, to] =
                waiting.equal_range({middle[0] + turn % 3 - 1, middle[1] + turn / 3 % 3 - 1, middle[2] + turn / 9 - 1});
            const auto found = std::find_if(from, to, [&](const auto& entry) {
                return isNear(*position, *volume::positionOf(entry.second->keys.position));
            });
            if (found != to) {
                pair(*file, *found->second, partners);
                waiting.erase(found);
            }
        }
    }
}

std::vector<SingleFile> singlesOf(const std::vector<FoundFile>& files, PairBy by) {
    std::vector<SingleFile> singles;
    for (const FoundFile& file : files) {
        if (!file.isPaired) {
            const bool hasNone =
                by == PairBy::position ? !volume::positionOf(file.keys.position) : keyOf(file, by).empty();
            const char* reason = by == PairBy::position ? "it has no ImagePositionPatient" : "it has no SOPInstanceUID";
            singles.push_back({file.path, hasNone ? reason : ""});
        }
    }
    return singles;
}

} // namespace

FilePairs pairFiles(velmora::Host& host, const std::string& first, const std::string& second, PairBy by,
                    std::size_t jobs, const workers::Progress& progress) {
    FilePairs result;
    std::vector<FoundFile> both[2];
    const std::string* const folders[] = {&first, &second};
    for (std::size_t side = 0; side < 2; ++side) {
        both[side] = filesIn(*folders[side], result.refused);
        readKeys(host, both[side], jobs, "Matching " + *folders[side], progress);
        refuseUnread(both[side], result.refused);
        if (both[side].empty() && result.refused.empty()) {
            throw FileError(*folders[side] + " holds no DICOM file.");
        }
    }
    PartnerByPath partners;
    if (by == PairBy::position) {
        pairByPosition(both[0], both[1], partners);
    } else {
        pairByKey(both[0], both[1], by, partners);
    }
    for (const FoundFile& file : both[0]) {
        if (file.isPaired) {
            result.pairs.push_back({file.path, partners.at(file.path)});
        }
    }
    result.onlyFirst = singlesOf(both[0], by);
    result.onlySecond = singlesOf(both[1], by);
    return result;
}

} // namespace radvex::compare
