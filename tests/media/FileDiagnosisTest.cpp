#include "media/scan/FileDiagnosis.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "dcmtk/dcmdata/dcuid.h"
#include "media/scan/ClassNames.h"
#include "media/scan/FileKinds.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/PictureFiles.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace radvex::media;

namespace {

using namespace std::string_literals;

/// Root may read every file, so root is another user meanwhile.
class WithoutPrivileges {
  public:
    WithoutPrivileges() : mUser(geteuid()) {
        if (mUser == 0) {
            EXPECT_EQ(seteuid(kNobody), 0);
        }
    }
    ~WithoutPrivileges() {
        if (mUser == 0) {
            EXPECT_EQ(seteuid(mUser), 0);
        }
    }
    WithoutPrivileges(const WithoutPrivileges&) = delete;
    WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;

  private:
    static constexpr uid_t kNobody = 65534;
    uid_t mUser;
};

class DiagnosisOfAFile : public ::testing::Test {
  protected:
    std::string problemOf(const std::string& bytes, const std::string& name = "file") const {
        return whatIsWrong(folder.write(name, bytes));
    }
    static std::string errorFor(const std::string& path, const std::string& reason) {
        return explain({-62, "OpenFileError", "Error when opening file " + path + ": " + reason + "."}, path, "SHOWN");
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_F(DiagnosisOfAFile, SaysWhatAFileLooksLike) {
    const auto text = [&](const std::string& bytes) {
        const std::string problem = problemOf(bytes);
        const std::string before = "is not a DICOM file: it looks like ";
        return problem.starts_with(before) ? problem.substr(before.size()) : problem;
    };
    EXPECT_EQ(text(pngFile({.data = "a"})), "a PNG picture"); // by libpng
    EXPECT_EQ(text("\xFF\xD8\xFF\xE0\0\x10JFIF"s), "a JPEG picture");
    EXPECT_EQ(text("PK\x03\x04 and so on"), "a zip archive");
    EXPECT_EQ(text("\x1F\x8B\x08\0\0\0\0\0\0\x03"s), "a gzip archive");
    EXPECT_EQ(text("%PDF-1.7\n%\xE2\xE3"), "a PDF");
    EXPECT_EQ(text("NRRD0005\ntype: short\n"), "an NRRD volume");
    EXPECT_EQ(text("\x5C\x01\0\0"s + std::string(340, '\0') + "n+1\0"s), "a NIfTI volume");
    EXPECT_EQ(text("<!DOCTYPE HTML>\n<html lang=en>"), "an HTML page");
    EXPECT_EQ(text("\xEF\xBB\xBF  <HTML><body>"), "an HTML page");
    EXPECT_EQ(text("A letter about a patient.\r\n"), "a text");
    EXPECT_EQ(text("Zw\xF6lf Gr\xFC\xDF"
                   "e aus K\xF6ln\n"),
              "a text")
        << "in Latin-1";
}

TEST_F(DiagnosisOfAFile, SaysNothingAboutBytesThatNobodyKnows) {
    EXPECT_EQ(problemOf("\x01\x02\x03\x04\x05\x06\x07\x0B" + std::string(200, '\x03')), "is not a DICOM file");
    EXPECT_EQ(problemOf("PN"), "is not a DICOM file: it looks like a text") << "two letters are no archive";
    EXPECT_EQ(problemOf(""), "is not a DICOM file: it is empty");
    EXPECT_EQ(problemOf(std::string(5000, '\0')),
              "is not a DICOM file: it begins with zeros only, as after an interrupted copy");
    EXPECT_EQ(problemOf("DICM\x02\0\0\0UL\x04\0"s), "is not a DICOM file: it lacks the 128 bytes in front of \"DICM\"");
}

TEST_F(DiagnosisOfAFile, AShortFileThatEndsInsideAnOffsetOfASignatureIsRead) {
    for (std::size_t size = 1; size < 360; ++size) {
        const std::vector<unsigned char> bytes(size, 3);
        EXPECT_EQ(kindOfFile(bytes), "") << size;
    }
}

TEST_F(DiagnosisOfAFile, SaysWhereAFileIsCutOff) {
    const std::string whole =
        readFile(writeImageFile(folder.file("a.dcm"), {.rows = 4, .columns = 4, .words = std::vector<Uint16>(16, 1)},
                                EXS_LittleEndianExplicit));
    EXPECT_EQ(problemOf(whole), "");
    EXPECT_EQ(problemOf(whole.substr(0, whole.size() - 1)), "is cut off at byte " + std::to_string(whole.size() - 1) +
                                                                " of " + std::to_string(whole.size()) +
                                                                ", in its pixels");
    EXPECT_EQ(problemOf(whole.substr(0, 200)).rfind("is cut off at byte 200 of at least ", 0), 0U);
    EXPECT_NE(problemOf(whole.substr(0, 200)).find(", in its meta information"), std::string::npos);
    const std::size_t name = whole.find("\x08\0\x18\0UI"s);
    ASSERT_NE(name, std::string::npos);
    EXPECT_EQ(problemOf(whole.substr(0, name + 9)),
              "is cut off at byte " + std::to_string(name + 9) + " of at least " +
                  std::to_string(name + 8 + static_cast<unsigned char>(whole[name + 6])) + ", in (0008,0018)");
}

TEST_F(DiagnosisOfAFile, SaysWhereAFileIsDamaged) {
    const std::string before = withMeta(kExplicit, kExplicitForm.element(0x00080060, "CS", "CT"));
    EXPECT_EQ(problemOf(before + std::string(30, '\x11')),
              "is damaged at byte " + std::to_string(before.size()) + ": no element of DICOM can begin like that");
    const std::string implicit = withMeta(kExplicit, kImplicitForm.element(0x00080060, "CS", "CT"));
    EXPECT_EQ(problemOf(implicit),
              "is damaged at byte " + std::to_string(withMeta(kExplicit, "").size()) +
                  ": its elements are not written in the form that its meta information names (TransferSyntaxUID " +
                  kExplicit + ")");
}

TEST_F(DiagnosisOfAFile, ADeflatedFileOnlySaysWhatIsKnown) {
    EXPECT_EQ(problemOf(withMeta(kDeflated, "\x03\x04")),
              "is compressed as a whole (deflated), and ends too early or is damaged");
}

TEST_F(DiagnosisOfAFile, AFileThatIsNotThereOrIsNoFileSaysSo) {
    EXPECT_EQ(whatIsWrong(folder.file("missing")), "does not exist");
    std::filesystem::create_symlink(folder.file("missing"), folder.file("link"));
    EXPECT_EQ(whatIsWrong(folder.file("link")), "is a link to a file that does not exist");
    EXPECT_EQ(whatIsWrong(folder.path().string()),
              "is a folder: use `radvex series`, `radvex volume` or `radvex tags --recursive`");
    EXPECT_EQ(whatIsWrong(folder.file(std::string(300, 'x'))), "cannot be read: File name too long");
    EXPECT_EQ(whatIsWrong("/dev/zero"), "") << "a device is not opened";
}

TEST_F(DiagnosisOfAFile, AFileThatMayNotBeReadSaysSo) {
    const std::string path = writeDicom(folder.file("closed.dcm"), {});
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(path, std::filesystem::perms::none);
    const WithoutPrivileges asAnybody;
    EXPECT_EQ(whatIsWrong(path), "cannot be read: Permission denied");
}

TEST_F(DiagnosisOfAFile, AFileOfAnotherUserThatMayBeReadIsInOrder) {
    const std::string path = writeDicom(folder.file("open.dcm"), {});
    std::filesystem::permissions(folder.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(path, std::filesystem::perms(0644));
    const WithoutPrivileges asAnybody;
    EXPECT_EQ(whatIsWrong(path), "");
}

TEST_F(DiagnosisOfAFile, AnErrorOfTheLibraryBecomesASentenceAboutTheFile) {
    const std::string text = folder.write("a.txt", "A letter.");
    EXPECT_EQ(errorFor(text, "I/O suspension or premature end of stream"),
              "SHOWN is not a DICOM file: it looks like a text.");
    const std::string fine = writeDicom(folder.file("a.dcm"), {});
    EXPECT_EQ(errorFor(fine, "Tag not found"), "Error when opening file " + fine + ": Tag not found.")
        << "nothing is invented about a file that is in order";
    EXPECT_EQ(explain({-64, "InvalidTagName", "Attribute tag named X does not exist."}, text, "SHOWN"),
              "Attribute tag named X does not exist.")
        << "an error about something else than the file";
}

TEST_F(DiagnosisOfAFile, ARefusalOfTheGuardIsKept) {
    const std::string cut = folder.write("cut", withMeta(kExplicit, kExplicitForm.header(0x00080060, "CS", 9)));
    for (const char* reason :
         {"sequences nested over 100 levels", "too many private creators", "over 10000000 elements",
          "over 20000 elements of one item out of order", "too many elements out of order",
          "directory records nested over 100 levels", "inflated data over 1073741824 bytes",
          "meta information that begins with a broken sequence"}) {
        EXPECT_EQ(errorFor(cut, reason), "Error when opening file " + cut + ": " + reason + ".");
        EXPECT_EQ(whyNotLoaded(cut, reason), "it cannot be read: "s + reason);
    }
    EXPECT_EQ(errorFor(cut, "End of stream").rfind("SHOWN is cut off at byte ", 0), 0U);
}

TEST_F(DiagnosisOfAFile, AFileWithoutPixelsSaysWhatItIs) {
    const auto why = [&](const char* sopClass, bool hasRows = false) {
        return whyNoPicture(writeDicom(folder.file("a.dcm"), [&](DcmDataset& dataset) {
            put(dataset, {{DCM_SOPClassUID, sopClass}});
            if (hasRows) {
                dataset.putAndInsertUint16(DCM_Rows, 5);
            }
        }));
    };
    EXPECT_EQ(why(UID_RTPlanStorage), "has no pixels (it is an RT Plan)");
    EXPECT_EQ(why(UID_BasicTextSRStorage), "has no pixels (it is a Basic Text SR)");
    EXPECT_EQ(why("1.2.3"), "has no pixels");
    EXPECT_EQ(why(UID_CTImageStorage, true), "has no pixels, although it is a CT Image: its end may be missing");
    EXPECT_EQ(whyNoPicture(writeImageFile(folder.file("b.dcm"), {.words = {1}})), "") << "it has pixels";
}

TEST_F(DiagnosisOfAFile, ACompressionThatNothingDecodesIsNamed) {
    const auto why = [&](const std::string& syntax) { return whyNoPicture(folder.write("a", withMeta(syntax, ""))); };
    EXPECT_EQ(why("1.2.840.10008.1.2.4.92"),
              "has pixels compressed with JPEG 2000 Part 2, which cannot be decoded here: get an uncompressed copy, or "
              "decompress it with another program first");
    EXPECT_EQ(why(kJpeg).find("compressed"), std::string::npos) << "baseline JPEG is decoded";
    for (const char* decoded : {"1.2.840.10008.1.2.4.90", "1.2.840.10008.1.2.4.91", "1.2.840.10008.1.2.4.201",
                                "1.2.840.10008.1.2.4.202", "1.2.840.10008.1.2.4.203"}) {
        EXPECT_EQ(why(decoded).find("compressed"), std::string::npos) << decoded;
    }
}

TEST_F(DiagnosisOfAFile, AReasonBecomesASentence) {
    EXPECT_EQ(sentenceAbout("a.dcm", "it is empty"), "a.dcm is empty.");
    EXPECT_EQ(sentenceAbout("a.dcm", "no part of it"), "a.dcm: no part of it.");
    EXPECT_EQ(sentenceAbout("a.dcm", "a.dcm is empty."), "a.dcm is empty.");
    EXPECT_EQ(sentenceAbout("a.dcm", "a.dcm2 is empty."), "a.dcm: a.dcm2 is empty.");
}

TEST(ClassNames, AreThoseOfTheDictionary) {
    for (const auto& [uid, name] : instanceNames()) {
        const char* known = dcmFindNameOfUID(std::string(uid).c_str());
        ASSERT_NE(known, nullptr) << uid;
        // DCMTK has keywords: the same words without blanks and dashes, with "Storage".
        const auto letters = [](std::string text) {
            const std::size_t storage = text.find("Storage");
            text = storage == std::string::npos ? text : text.erase(storage, 7);
            std::erase_if(text, [](unsigned char letter) { return std::isalnum(letter) == 0; });
            std::ranges::transform(text, text.begin(), [](unsigned char letter) { return std::tolower(letter); });
            return text;
        };
        std::string bare(name.substr(name.find(' ') + 1));
        if (bare.starts_with("12-lead")) {
            bare.replace(0, 2, "Twelve");
        }
        EXPECT_TRUE(name.starts_with("a ") || name.starts_with("an ")) << name;
        if (bare != "DICOMDIR") {
            EXPECT_EQ(letters(bare), letters(known));
        }
    }
    EXPECT_GT(instanceNames().size(), 60U);
    EXPECT_EQ(instanceName("1.2.3"), "");
}
