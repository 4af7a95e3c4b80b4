// What a reader that is open answers while its file is deleted, replaced, written and damaged.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "tests/dicom/readers/DirectoryTest.h"
#include "tests/dicom/readers/SeriesFiles.h"
#include "tests/support/Results.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;
namespace fs = std::filesystem;

namespace {

constexpr int kEdge = 1300; // six such frames of literal runs are over 8 MiB

class OpenReaders : public WriterTest {
  protected:
    Value read(const std::string& path, const std::string& keyword) {
        return call("ReadMetadata", {path, Store::ofTexts({keyword}), false});
    }
    int codeOfReading(const std::string& path, const std::string& keyword) {
        return codeOf("ReadMetadata", {path, Store::ofTexts({keyword}), false});
    }
    std::uint64_t pixels(const std::string& path) { return digestOf(read(path, "PixelData")); }
    std::uint64_t picture(const std::string& path) {
        const Tensor fullRange{std::vector<vint>{2}, std::vector<double>{0.0, 0.0}};
        return digestOf(call("ReadImageData", {path, 0, 0, fullRange, false, 1}));
    }

    /// A file whose reader leaves its pixels in it: too many compressed bytes, or none compressed.
    std::string writeLarge(const std::string& compression) {
        return write({.image = spelledImage(VImage_U8, 6, kEdge, kEdge, 1), .compression = compression});
    }
    std::string writeSmall(const std::string& compression) {
        return write({.image = spelledImage(VImage_U8, 2, 100, 100, 1), .compression = compression});
    }
    std::string copyOf(const std::string& path) const {
        const std::string copy = path + ".copy";
        fs::copy_file(path, copy, fs::copy_options::overwrite_existing);
        return copy;
    }
    /// Writes zeros over the middle of the file, which stays as long as it is.
    static void damage(const std::string& path) {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(fs::file_size(path) / 2));
        file << std::string(400, '\0');
    }
    void anonymizeOntoItself(const std::string& path) {
        call("DicomAnonymize", {path, path, texts({{"PatientName", "Anonymous"}})});
    }

    const std::vector<std::string> compressions{"RLE", "JPEGLossless", "JPEG-LSLossless"};
};

/// Files that this process has open.
std::size_t openFiles() {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator()));
}

/// Bytes that this process has read from files so far.
std::uint64_t bytesRead() {
    std::ifstream counts("/proc/self/io");
    std::string name;
    std::uint64_t count = 0;
    counts >> name >> count;
    return count;
}

/// Puts fragments behind a file of RLE that ends before its pixels. They are holes: the disk holds a few megabytes.
void appendFragments(const std::string& path, unsigned count, std::uint32_t length) {
    std::ofstream file(path, std::ios::binary | std::ios::app);
    const auto put = [&](std::initializer_list<unsigned> words) {
        for (const unsigned word : words) {
            file.put(static_cast<char>(word & 0xFF)).put(static_cast<char>(word >> 8 & 0xFF));
        }
    };
    put({0x7FE0, 0x0010, 'O' | 'B' << 8, 0, 0xFFFF, 0xFFFF, 0xFFFE, 0xE000, 0, 0});
    for (unsigned fragment = 0; fragment < count; ++fragment) {
        put({0xFFFE, 0xE000, length & 0xFFFF, length >> 16});
        file.flush();
        fs::resize_file(path, fs::file_size(path) + length);
    }
    put({0xFFFE, 0xE0DD, 0, 0});
}

} // namespace

TEST_F(OpenReaders, HoldSmallCompressedPixelsWhateverBecomesOfTheFile) {
    for (const std::string& compression : compressions) {
        const std::string path = writeSmall(compression);
        const std::string copy = copyOf(path);
        const std::uint64_t values = pixels(copy);
        const std::uint64_t rendered = picture(copy);
        const std::function<void()> fates[] = {[&] { anonymizeOntoItself(path); }, [&] { damage(path); },
                                               [&] { fs::resize_file(path, 600); }, [&] { fs::remove(path); }};
        for (std::size_t fate = 0; fate < std::size(fates); ++fate) {
            SCOPED_TRACE(compression + ", fate " + std::to_string(fate));
            fs::copy_file(copy, path, fs::copy_options::overwrite_existing);
            call("CloseReader", {path});
            ASSERT_EQ(codeOfReading(path, "Rows"), 0);
            fates[fate]();
            EXPECT_EQ(codeOfReading(path, "BitsStored"), 0);
            EXPECT_EQ(pixels(path), values);
            EXPECT_EQ(picture(path), rendered);
        }
    }
}

TEST_F(OpenReaders, ReadOnInAFileThatWasDeletedOrReplaced) {
    for (const std::string compression : {"RLE", "Uncompressed"}) {
        const std::string path = writeLarge(compression);
        const std::string copy = copyOf(path);
        const std::uint64_t values = pixels(copy);
        ASSERT_EQ(codeOfReading(path, "Rows"), 0);
        fs::remove(path);
        EXPECT_EQ(pixels(path), values) << compression << ", deleted";
    }
    const std::string path = writeLarge("RLE");
    const std::string copy = copyOf(path);
    ASSERT_EQ(codeOfReading(path, "Rows"), 0);
    const std::string other = write({.image = spelledImage(VImage_U8, 0, 5, 5, 1)}, "other.dcm");
    fs::rename(other, path);
    EXPECT_EQ(pixels(path), pixels(copy)) << "replaced";
}

TEST_F(OpenReaders, ReadAllBeforeTheLibraryItselfWritesTheirFile) {
    for (const std::string compression : {"RLE", "Uncompressed"}) {
        const std::string path = writeLarge(compression);
        const std::uint64_t values = pixels(copyOf(path));
        const std::string link = path + ".link";
        fs::create_symlink(path, link);
        const std::string nickname = (folder.path() / "." / "w.dcm").string();
        for (const std::string& name : {path, link, nickname}) {
            ASSERT_EQ(codeOfReading(name, "Rows"), 0);
        }
        anonymizeOntoItself(link);
        (void)write({.image = spelledImage(VImage_U8, 0, 5, 5, 1)});
        for (const std::string& name : {path, link, nickname}) {
            EXPECT_EQ(pixels(name), values) << compression << ", " << name;
        }
        call("ClearCache");
        fs::remove(link);
    }
}

TEST_F(OpenReaders, TellThatSomebodyElseChangedTheFileAndNeverGiveOtherPixels) {
    for (const std::string compression : {"RLE", "Uncompressed"}) {
        SCOPED_TRACE(compression);
        const std::string path = writeLarge(compression);
        const std::string copy = copyOf(path);
        const auto time = fs::last_write_time(path);
        ASSERT_EQ(codeOfReading(path, "Rows"), 0);
        damage(path);
        EXPECT_EQ(messageOf("ReadMetadata", {path, Store::ofTexts({"PixelData"}), false}),
                  "Error when opening file " + path + ": the file was changed after it was opened.");
        EXPECT_EQ(codeOf("ReadAllMetadata", {path, Store::empty(), false}), kOpenFileError);
        EXPECT_EQ(codeOfReading(path, "PatientName"), 0) << "what was read is still there";
        fs::last_write_time(path, time);
        EXPECT_EQ(codeOfReading(path, "PixelData"), kOpenFileError) << "with its time put back";
        call("CloseReader", {path});
        EXPECT_EQ(codeOfReading(path, "Rows"), 0) << "opened anew";
        call("CloseReader", {path});
    }
}

TEST_F(OpenReaders, TellThatTheFileBecameShorter) {
    const std::string path = writeLarge("Uncompressed");
    const std::string copy = copyOf(path);
    const Tensor fullRange{std::vector<vint>{2}, std::vector<double>{0.0, 0.0}};
    const std::pair<std::string, std::vector<Value>> calls[] = {
        {"ReadMetadata", {path, Store::ofTexts({"PixelData"}), true}},
        {"ReadAllMetadata", {path, Store::empty(), true}},
        {"ReadImageData", {path, 0, 0, fullRange, false, 1}},
        {"ReadIntermediatePixelData", {path, 1, 0}}};
    for (const auto& [name, arguments] : calls) {
        ASSERT_EQ(codeOfReading(path, "Rows"), 0);
        fs::resize_file(path, 1000);
        EXPECT_EQ(codeOf(name, arguments), kOpenFileError) << name;
        EXPECT_EQ(codeOfReading(path, "Columns"), 0) << name;
        fs::copy_file(copy, path, fs::copy_options::overwrite_existing);
        call("CloseReader", {path});
        EXPECT_EQ(codeOf(name, arguments), 0) << name;
        call("CloseReader", {path});
    }
}

// A reader whose file was closed for lack of descriptors, and whose folder is away for a while.
TEST_F(OpenReaders, TryAgainWhatCouldNotBeRead) {
    const std::string near = folder.file("near");
    fs::create_directory(near);
    const std::string path = near + "/a.dcm";
    fs::copy_file(write({.image = spelledImage(VImage_U8, 42, kEdge, kEdge, 1)}), path); // over 64 MiB
    std::vector<std::string> others;
    ASSERT_EQ(codeOfReading(path, "Rows"), 0);
    for (int number = 0; number < 70; ++number) {
        others.push_back(folder.file("o" + std::to_string(number) + ".dcm"));
        fs::create_hard_link(path, others.back());
        ASSERT_EQ(codeOfReading(others.back(), "Rows"), 0);
    }
    fs::rename(near, folder.file("far"));
    EXPECT_EQ(codeOfReading(path, "PixelData"), kOpenFileError);
    EXPECT_EQ(codeOfReading(path, "Columns"), 0);
    fs::rename(folder.file("far"), near);
    EXPECT_EQ(codeOfReading(path, "PixelData"), 0);
}

// Two programs at one file: either all of the one, or all of the other, or an error.
TEST_F(OpenReaders, AreNeverOfAMixtureOfTwoFiles) {
    const std::string path = folder.file("m.dcm");
    const auto contentOf = [&](char letter) {
        const std::string model = folder.file(std::string("model") + letter);
        ImageFile image{.words = {1}};
        image.more = [&](DcmDataset& dataset) {
            dataset.putAndInsertString(DCM_PatientName, std::string(40, letter).c_str());
            const std::vector<Uint8> filling(30'000, static_cast<Uint8>(letter));
            dataset.putAndInsertUint8Array(DcmTag(0x0009, 0x1010, EVR_OB), filling.data(), filling.size());
            dataset.putAndInsertString(DcmTag(0x4008, 0x4000), std::string(40, letter).c_str()); // ResultsComments
        };
        writeImageFile(model, image);
        return readFile(model);
    };
    const std::string contents[] = {contentOf('A'), contentOf('B')};
    ASSERT_EQ(contents[0].size(), contents[1].size());
    folder.write("m.dcm", contents[0]);
    std::atomic<bool> isDone = false;
    std::thread writer([&] {
        for (int round = 0; !isDone; ++round) {
            std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
            file << contents[round % 2];
        }
    });
    const auto textOfNode = [](const Store& store) { return std::string((*store.begin()).text()); };
    for (int round = 0; round < 300; ++round) {
        call("CloseReader", {path});
        if (codeOfReading(path, "PatientName") == 0) {
            const std::string name = textOfNode(std::get<Store>(read(path, "PatientName")));
            EXPECT_EQ(textOfNode(std::get<Store>(read(path, "ResultsComments"))), name);
        }
    }
    isDone = true;
    writer.join();
}

TEST_F(OpenReaders, HoldLongTextsInUtf8) {
    const std::string path = folder.file("text.dcm");
    ImageFile image{.words = {1}};
    image.more = [](DcmDataset& dataset) {
        dataset.putAndInsertString(DCM_SpecificCharacterSet, "ISO_IR 100");
        dataset.putAndInsertString(DCM_TextValue, std::string(5000, '\xFC').c_str());
    };
    writeImageFile(path, image);
    ASSERT_EQ(codeOfReading(path, "Rows"), 0);
    fs::remove(path);
    const Store found = std::get<Store>(read(path, "TextValue"));
    const std::string text((*found.begin()).text());
    EXPECT_EQ(text.size(), 10000U);
    EXPECT_EQ(text.substr(0, 4), "\u00FC\u00FC");
}

TEST_F(OpenReaders, KeepSixtyFourFilesOpenAndReadTheOthersToTheirEnd) {
    constexpr int kReaders = 70;
    const std::size_t before = openFiles();
    const std::string model = write({.image = spelledImage(VImage_U16, 0, 60, 60, 1)});
    const std::uint64_t values = pixels(model);
    call("ClearCache");
    EXPECT_EQ(openFiles(), before);
    std::vector<std::string> paths;
    for (int number = 0; number < kReaders; ++number) {
        paths.push_back(folder.file(std::to_string(number) + ".dcm"));
        fs::copy_file(model, paths.back());
        ASSERT_EQ(codeOfReading(paths.back(), "Rows"), 0);
    }
    EXPECT_EQ(openFiles(), before + 64);
    for (const std::string& path : paths) {
        fs::remove(path);
        EXPECT_EQ(pixels(path), values) << path;
    }
    call("ClearCache");
    EXPECT_EQ(openFiles(), before);
}

TEST_F(OpenReaders, CloseTheFileOfWhichNothingIsLeft) {
    const std::size_t before = openFiles();
    for (const std::string& compression : compressions) {
        ASSERT_EQ(codeOfReading(writeSmall(compression), "Rows"), 0);
        EXPECT_EQ(openFiles(), before) << compression;
    }
}

TEST_F(OpenReaders, ReadLittleOfAHugeFileForOneAttribute) {
    for (const unsigned fragments : {2048U, 20480U, 4100U}) {
        const std::string path = folder.file("huge.dcm");
        DcmFileFormat file;
        DcmDataset& dataset = *file.getDataset();
        dataset.putAndInsertString(DCM_SOPClassUID, UID_SecondaryCaptureImageStorage);
        dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3");
        dataset.putAndInsertUint16(DCM_Rows, 1024);
        ASSERT_TRUE(file.saveFile(path.c_str(), EXS_RLELossless).good());
        // The last one has 4 GiB and a little, of which 32 bits hold the little.
        appendFragments(path, fragments, fragments == 4100 ? (1U << 20) - 8 : 0x80000000U / fragments);
        ASSERT_GE(fs::file_size(path), 0x80000000U);
        const std::uint64_t before = bytesRead();
        EXPECT_EQ(codeOfReading(path, "Rows"), 0);
        EXPECT_LT(bytesRead() - before, 10U * 1024 * 1024) << fragments << " fragments";
        call("CloseReader", {path});
        fs::remove(path);
    }
}

class OpenSeries : public DirectoryTest {};

TEST_F(OpenSeries, OfManyFilesDoNotUseUpTheDescriptors) {
    std::vector<std::string> fileIds;
    for (int number = 1; number <= 100; ++number) {
        fileIds.push_back("IM" + std::to_string(number));
        writeImage(fileIds.back(), number, grey16(50, 50, std::vector<int>(2500, number)));
    }
    writeFileIds(fileIds);
    rlimit former{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &former), 0);
    const rlimit few{openFiles() + 20, former.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
    const Store found = volumes(kWithoutWindow);
    auto arguments = volumeArguments(kWithoutWindow);
    arguments.back() = vint{0x400}; // frame by frame
    const Value byFrames = call("Read3DImage", arguments);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &former), 0);
    EXPECT_EQ(imageAt(found.view(), {0, 0, 0}).slices, 100);
    EXPECT_EQ(imageAt(byFrames.get<Store>().view(), {0, 0, 0}).slices, 100);
}

// DCMTK alone: it kept the buffer of a value whose read failed, and gave it to the next one who asked.
TEST(UnreadValues, AreNeverGivenOutUnfilled) {
    const TemporaryFolder folder;
    const std::string path = writeImageFile(folder.file("a.dcm"), grey16(60, 60, std::vector<int>(3600, 0x1234)));
    const std::string copy = folder.file("copy.dcm");
    fs::copy_file(path, copy);
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(path.c_str(), EXS_Unknown, EGL_noChange, 4096).good());
    DcmElement* pixels = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetElement(DCM_PixelData, pixels).good());
    fs::resize_file(path, 3000);
    Uint16* words = nullptr;
    EXPECT_TRUE(pixels->getUint16Array(words).bad());
    EXPECT_TRUE(pixels->getUint16Array(words).bad()) << "the second time";
    fs::copy_file(copy, path, fs::copy_options::overwrite_existing);
    ASSERT_TRUE(pixels->getUint16Array(words).good());
    EXPECT_EQ(std::vector<Uint16>(words, words + 3600), std::vector<Uint16>(3600, 0x1234));
}
