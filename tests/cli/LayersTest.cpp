#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>

#include "TemporaryFolder.h"

using radvex::test::readFile;

namespace {

namespace fs = std::filesystem;

const fs::path kSource = RADVEX_SOURCE_DIR;

/// Headers of study/ that the command includes.
const std::set<std::string> kSeenOfTheStudyLayer{"Anonymization.h", "FileDescription.h", "FolderIndex.h",
                                                 "FolderWalk.h", "Module.h"};

/// Source files below a folder.
std::vector<fs::path> sources(const std::string& folder) {
    std::vector<fs::path> files;
    for (const auto& entry : fs::recursive_directory_iterator(kSource / folder)) {
        if (entry.path().extension() == ".h" || entry.path().extension() == ".cpp") {
            files.push_back(entry.path());
        }
    }
    return files;
}

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

std::set<std::string> headersOf(const std::string& folder) {
    std::set<std::string> names;
    for (const fs::path& file : sources(folder)) {
        if (file.extension() == ".h") {
            names.insert(file.filename().string());
        }
    }
    return names;
}

void expectNoneOf(const std::string& room, const std::set<std::string>& forbidden) {
    const auto own = headersOf(room);
    for (const fs::path& file : sources(room)) {
        for (const std::string& name : includes(file)) {
            EXPECT_FALSE(forbidden.count(name) != 0 && own.count(name) == 0) << file << " includes " << name;
        }
    }
}

} // namespace

TEST(Layers, OnlyTheDicomLayerKnowsDcmtk) {
    for (const char* room : {"include", "tether", "bridge", "host", "cli"}) {
        for (const fs::path& file : sources(room)) {
            for (const std::string& name : includes(file)) {
                EXPECT_FALSE(name.starts_with("dcmtk/")) << file << " includes " << name;
            }
        }
    }
}

TEST(Layers, HostAndCommandSeeTheLibraryAsAnyHostWould) {
    std::set<std::string> behind = headersOf("dicom");
    behind.merge(headersOf("bridge"));
    behind.merge(headersOf("guard"));
    expectNoneOf("host", behind);
    behind.merge(headersOf("tether"));
    for (const std::string& header : headersOf("study")) {
        if (kSeenOfTheStudyLayer.count(header) == 0) {
            behind.insert(header);
        }
    }
    // The command stands on the host, whose header names the bridge has too.
    std::set<std::string> notTheHosts;
    const auto hosts = headersOf("host");
    std::set_difference(behind.begin(), behind.end(), hosts.begin(), hosts.end(),
                        std::inserter(notTheHosts, notTheHosts.end()));
    expectNoneOf("cli", notTheHosts);
}

TEST(Layers, TheBridgeKnowsNeitherDicomNorTheHost) {
    std::set<std::string> above = headersOf("dicom");
    above.merge(headersOf("host"));
    above.merge(headersOf("study"));
    expectNoneOf("bridge", above);
}

TEST(Layers, TheStudyLayerStandsOnDcmtkAndTheGuardAlone) {
    std::set<std::string> others;
    for (const char* room : {"dicom", "bridge", "host", "cli", "tether", "include"}) {
        others.merge(headersOf(room));
    }
    expectNoneOf("study", others);
    others.merge(headersOf("study"));
    expectNoneOf("guard", others);
}

TEST(Layers, WhatTheCommandSeesOfTheStudyLayerKnowsNoDcmtk) {
    const std::set<std::string>& seen = kSeenOfTheStudyLayer;
    for (const std::string& header : seen) {
        for (const std::string& name : includes(kSource / "study" / header)) {
            EXPECT_TRUE(name.find('.') == std::string::npos || seen.count(name) != 0) << header << " includes " << name;
        }
    }
}

TEST(Layers, TheDicomLayerNeverTouchesTheHostsHeaders) { expectNoneOf("dicom", headersOf("host")); }
