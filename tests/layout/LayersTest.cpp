#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "tests/support/TemporaryFolder.h"

using radvex::test::readFile;

namespace {

namespace fs = std::filesystem;

const fs::path kSource = RADVEX_SOURCE_DIR;

/// What a room may include of others, beside itself. A room inside another one, such as media/dicomdir, is a room of
/// its own. "dcmtk" are DCMTK's headers.
const std::map<std::string, std::set<std::string>> kSees{
    {"include", {}},
    {"tether", {"include"}},
    {"bridge", {"include"}},
    {"guard", {"dcmtk"}},
    {"text", {"dcmtk"}},
    {"dicom", {"bridge", "guard", "include", "text", "dcmtk"}},
    {"host", {"include"}},
    {"files", {}},
    {"workers", {"files", "host"}},
    {"formats", {"files", "host", "include"}},
    {"media/scan", {"files", "host"}},
    {"media", {"files", "formats", "host", "media/scan", "workers"}},
    {"media/dicomdir", {"files", "guard", "media", "media/scan", "text", "dcmtk"}},
    {"media/elements", {"guard", "media", "media/scan", "media/dicomdir", "text", "dcmtk"}},
    {"volume", {"files", "formats", "host", "include", "media", "media/scan", "workers"}},
    {"deidentify/identifiers", {}},
    {"deidentify/pixels", {"deidentify/identifiers", "formats", "guard", "dcmtk"}},
    {"deidentify/profile", {}},
    {"deidentify",
     {"deidentify/identifiers", "deidentify/profile", "files", "formats", "host", "media", "media/scan", "workers"}},
    {"compare", {"files", "formats", "host", "media", "media/scan", "volume", "workers"}},
    {"compare/attributes",
     {"compare", "deidentify/rewriting", "guard", "media", "media/scan", "media/dicomdir", "dcmtk"}},
    {"deidentify/rewriting",
     {"deidentify", "deidentify/identifiers", "deidentify/pixels", "deidentify/profile", "media", "media/scan",
      "media/dicomdir", "media/elements", "guard", "text", "dcmtk"}},
    {"deidentify/checking",
     {"deidentify", "deidentify/identifiers", "deidentify/pixels", "deidentify/profile", "deidentify/rewriting",
      "media", "media/scan", "media/dicomdir", "dcmtk"}},
    {"datasets", {"compare", "deidentify", "media", "media/dicomdir", "media/elements"}},
    {"cli",
     {"compare", "deidentify", "files", "formats", "host", "include", "media", "media/scan", "volume", "workers"}},
    {"view", {"deidentify", "files", "formats", "host", "include", "media", "media/scan", "volume", "workers"}},
    {"python", {"files", "formats", "host", "include", "media", "media/scan", "volume", "workers"}},
};

/// The room of a path relative to the sources: the longest one in the table. Empty when it is in none.
std::string roomOf(const std::string& path) {
    std::string room;
    for (const auto& [name, seen] : kSees) {
        if (path.starts_with(name + '/') && name.size() > room.size()) {
            room = name;
        }
    }
    return room;
}

/// The room that a header stands in, by the name that it is included with; empty for those of libraries.
std::string roomOfHeader(const std::string& name) {
    if (name.starts_with("dcmtk/")) {
        return "dcmtk";
    }
    return name.starts_with("velmora/") ? "include" : roomOf(name);
}

/// Names in the include lines of a file.
std::vector<std::string> includes(const fs::path& file) {
    std::vector<std::string> found;
    std::istringstream lines(readFile(file.string()));
    const std::regex include(R"(^\s*#\s*include\s*["<]([^">]+)[">].*)");
    std::smatch match;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, match, include)) {
            found.push_back(match[1]);
        }
    }
    return found;
}

bool isSource(const fs::path& path) { return path.extension() == ".h" || path.extension() == ".cpp"; }

/// Calls `body` with every source file of every room, its room, and its path relative to the sources.
template <typename Body>
void forEachSource(Body body) {
    for (const auto& [room, seen] : kSees) {
        if (room.find('/') != std::string::npos) {
            continue; // with the one around it
        }
        for (const auto& entry : fs::recursive_directory_iterator(kSource / room)) {
            if (isSource(entry.path())) {
                const std::string path = fs::relative(entry.path(), kSource).string();
                body(entry.path(), roomOf(path), path);
            }
        }
    }
}

} // namespace

TEST(Layers, RoomsIncludeOnlyWhatStandsBelowThem) {
    std::size_t looked = 0;
    forEachSource([&](const fs::path& file, const std::string& room, const std::string& path) {
        for (const std::string& name : includes(file)) {
            const std::string other = roomOfHeader(name);
            ++looked;
            EXPECT_TRUE(other.empty() || other == room || kSees.at(room).contains(other))
                << path << " includes " << name;
        }
    });
    EXPECT_GT(looked, 1000U) << "of all rooms together";
}

TEST(Layers, ThePictureHasNoWayUp) {
    // A room that could be reached from one that it sees would be above and below it.
    for (const auto& [room, seen] : kSees) {
        std::set<std::string> below;
        std::vector<std::string> pending(seen.begin(), seen.end());
        while (!pending.empty()) {
            const std::string next = pending.back();
            pending.pop_back();
            if (kSees.contains(next) && below.insert(next).second) {
                pending.insert(pending.end(), kSees.at(next).begin(), kSees.at(next).end());
            }
        }
        EXPECT_FALSE(below.contains(room)) << room;
    }
}

TEST(Layers, AnIncludeSaysItsRoom) {
    std::set<std::string> headers;
    forEachSource([&](const fs::path& file, const std::string&, const std::string&) {
        if (file.extension() == ".h") {
            headers.insert(file.filename().string());
        }
    });
    forEachSource([&](const fs::path& file, const std::string&, const std::string& path) {
        for (const std::string& name : includes(file)) {
            EXPECT_FALSE(headers.contains(name)) << path << " includes " << name;
        }
    });
}

TEST(Layers, NoFolderHoldsMoreThanAFewDozenSources) {
    std::map<fs::path, std::size_t> counts;
    forEachSource([&](const fs::path& file, const std::string&, const std::string&) { ++counts[file.parent_path()]; });
    for (const auto& [folder, count] : counts) {
        EXPECT_LE(count, 34U) << folder;
    }
}
