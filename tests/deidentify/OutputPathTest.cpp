#include "deidentify/rewriting/OutputPath.h"

#include <gtest/gtest.h>

#include <filesystem>

using namespace radvex::deidentify;

namespace {

namespace fs = std::filesystem;

constexpr const char* kId = "HOSP-550137";
constexpr const char* kUid = "1.2.826.0.1.99.5";

IdentifierFinder finderOfPatient() {
    KnownIdentifiers known;
    known.add(IdentifierKind::PatientId, kId);
    known.add(IdentifierKind::OtherId, "ACC77129");
    known.add(IdentifierKind::Uid, kUid);
    known.add(IdentifierKind::PatientName, "M\xC3\xBCller^Jo");
    return IdentifierFinder(known);
}

/// @param newId  the pseudonym of the patient
std::string pathFor(const std::string& path, const std::string& newId = "P1") {
    static const IdentifierFinder finder = finderOfPatient();
    return pathWithoutIdentifiers(
        path, finder,
        [&](const Identifier& identifier, std::string_view) -> std::string {
            return identifier.kind == IdentifierKind::PatientId ? newId
                   : identifier.kind == IdentifierKind::Uid     ? "2.25.7"
                                                                : "XSHORT07";
        },
        [](const std::string&) { return std::string("XSHORT08"); });
}

bool isInside(const std::string& path) {
    for (const fs::path& part : fs::path(path)) {
        if (part == ".." || part == "." || part.empty() || part.is_absolute()) {
            return false;
        }
    }
    return path.find('\0') == std::string::npos;
}

} // namespace

TEST(OutputPath, LeavesNamesThatTellNothing) {
    for (const char* path : {"IM1", "A/B/C", "T1 axial/IM 0001.dcm", "a.b.c", ".hidden/x", "old M\xE4ngel/x", "a//b"}) {
        EXPECT_EQ(pathFor(path), path);
    }
}

TEST(OutputPath, ReplacesIdentifiersInEachPart) {
    EXPECT_EQ(pathFor(std::string(kId) + "/CT " + kId + "/x"), "P1/CT P1/x");
    EXPECT_EQ(pathFor(std::string("s/") + kUid), "s/2.25.7");
    EXPECT_EQ(pathFor("M\xC3\xBCller/x"), "XSHORT07/x");
}

TEST(OutputPath, KeepsTheExtension) {
    EXPECT_EQ(pathFor(std::string(kUid) + ".dcm"), "2.25.7.dcm");
    EXPECT_EQ(pathFor(std::string(kUid) + ".DCM"), "2.25.7.DCM");
    EXPECT_EQ(pathFor(std::string(kId) + ".dicom"), "P1.dicom") << "too long for an extension, and no identifier";
    EXPECT_EQ(pathFor(std::string("CT.") + kUid), "CT.2.25.7") << "numbers are no extension";
}

TEST(OutputPath, AFileIdStaysOne) {
    EXPECT_EQ(pathFor("DICOM/ACC77129/IM1"), "DICOM/XSHORT07/IM1") << "eight capital letters and digits";
    EXPECT_EQ(pathFor("ACC77129", "a long new ID"), "XSHORT07");
    KnownIdentifiers known;
    known.add(IdentifierKind::PatientId, "PAT4711");
    const IdentifierFinder finder(known);
    EXPECT_EQ(pathWithoutIdentifiers(
                  "PAT4711/IM1", finder,
                  [](const Identifier&, std::string_view) { return std::string("0123456789ABCDEF"); },
                  [](const std::string&) { return std::string("XSHORT08"); }),
              "XSHORT08/IM1")
        << "16 characters are no part of a File ID";
}

TEST(OutputPath, FindsIdentifiersInLatin1) {
    EXPECT_EQ(pathFor("M\xFCller/x"), "XSHORT07/x");
    EXPECT_EQ(pathFor("old M\xFCller/x"), "old XSHORT07/x");
}

TEST(OutputPath, NeverLeavesTheFolderWhateverTheNewIdIs) {
    for (const char* newId : {"../../x", "a/b", "/etc", "..", ".", "", "/", "//", "../", "./.", "x/..", "..\\x"}) {
        for (const std::string& path :
             {std::string(kId), std::string(kId) + "/" + kId + "/" + kId + "/x", std::string("a/") + kId + "/x",
              std::string(kId) + ".dcm", std::string("a/") + kId}) {
            const std::string after = pathFor(path, newId);
            EXPECT_TRUE(isInside(after)) << '\'' << newId << "': " << path << " -> " << after;
            EXPECT_EQ(std::count(after.begin(), after.end(), '/'), std::count(path.begin(), path.end(), '/')) << after;
        }
    }
}

TEST(OutputPath, ANewIdCannotHideAFile) {
    EXPECT_NE(pathFor(std::string(kId) + "/x", ".radvex-000000").front(), '.') << "runs remove such folders";
}
