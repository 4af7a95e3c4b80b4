#include <fstream>
#include <functional>

#include "dcmtk/dcmjpeg/djencode.h"
#include "dcmtk/dcmjpeg/djrploss.h"
#include "guard/pixels/DecodingSafety.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

/// Most memory that the process ever had, in MiB.
double peakMemory() {
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (word == "VmHWM:") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes / 1024.0;
        }
    }
    return 0;
}

/// An RLE frame of one segment that holds next to nothing (PS3.5 annex G).
std::string shortFrame() {
    std::string bytes(500, '\0');
    bytes[0] = 1;  // segments
    bytes[4] = 64; // where the first one starts
    return bytes;
}

/// One frame of two gigabytes, or one of twelve pixels.
void putShape(DcmItem& item, bool isHuge) {
    item.putAndInsertUint16(DCM_Rows, isHuge ? 50000 : 3);
    item.putAndInsertUint16(DCM_Columns, isHuge ? 40000 : 4);
    put(item, {{DCM_SamplesPerPixel, "1"},
               {DCM_BitsAllocated, "8"},
               {DCM_BitsStored, "8"},
               {DCM_HighBit, "7"},
               {DCM_PixelRepresentation, "0"},
               {DCM_PhotometricInterpretation, "MONOCHROME2"}});
}

constexpr double kAllowedMiB = 600;

class DecodingSafety : public LibraryTest {
  protected:
    /// An image of 16 x 16 bytes as lossy JPEG.
    std::string writeLossyJpeg(E_TransferSyntax syntax, int quality = 90) {
        DJEncoderRegistration::registerCodecs();
        ImageFile image{.rows = 16, .columns = 16, .bitsAllocated = 8, .bitsStored = 8};
        image.words.resize(128, 0x1234);
        const auto path = writeImageFile(folder.file("a.dcm"), image);
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(path.c_str()).good());
        const DJ_RPLossy parameter(quality);
        EXPECT_TRUE(file.getDataset()->chooseRepresentation(syntax, &parameter).good());
        EXPECT_TRUE(file.saveFile(path.c_str(), syntax).good());
        DJEncoderRegistration::cleanup();
        return path;
    }
    /// A copy with other bytes some way behind the first marker of a kind.
    std::string patched(const std::string& path, const std::string& marker, std::size_t behind,
                        const std::string& bytes) {
        std::string copy = readFile(path);
        const std::size_t offset = copy.find(marker);
        EXPECT_NE(offset, std::string::npos);
        copy.replace(offset + behind, bytes.size(), bytes);
        return folder.write("b" + std::to_string(++mCopies) + ".dcm", copy);
    }
    /// A copy whose only fragment has become others.
    std::string withFragments(const std::string& path,
                              const std::function<std::vector<std::string>(const std::string&)>& change) {
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(path.c_str()).good());
        DcmElement* element = nullptr;
        EXPECT_TRUE(file.getDataset()->findAndGetElement(DCM_PixelData, element).good());
        const E_TransferSyntax syntax = file.getDataset()->getOriginalXfer();
        DcmPixelSequence* former = nullptr;
        DcmPixelItem* fragment = nullptr;
        Uint8* bytes = nullptr;
        EXPECT_TRUE(
            dynamic_cast<DcmPixelData&>(*element).getEncapsulatedRepresentation(syntax, nullptr, former).good());
        EXPECT_TRUE(former->getItem(fragment, 1).good());
        EXPECT_TRUE(fragment->getUint8Array(bytes).good());
        putFragments(*file.getDataset(), syntax, change({reinterpret_cast<const char*>(bytes), fragment->getLength()}));
        const std::string copy = folder.file("b" + std::to_string(++mCopies) + ".dcm");
        EXPECT_TRUE(file.saveFile(copy.c_str(), syntax).good());
        return copy;
    }

    int mCopies = 0;
};

/// A Huffman table for one difference of 17 bits.
std::string impossibleTable() {
    std::string table("\xFF\xC4\x00\x14\x03", 5);
    table += '\1' + std::string(15, '\0') + '\x11';
    return table;
}

} // namespace

TEST_F(DecodingSafety, CompressedPixelsOfFewBytesThatPromiseGigabytesStayCompressed) {
    const auto path = writeDicom(
        folder.file("a.dcm"),
        [](DcmDataset& dataset) {
            putShape(dataset, true);
            putFragments(dataset, EXS_RLELossless, {shortFrame()});
        },
        EXS_RLELossless);
    const double before = peakMemory();
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 0);
    EXPECT_NE(codeOf("ReadImage", {path, 0, 0, scaling(), false, 1}), 0);
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    EXPECT_LT(peakMemory() - before, kAllowedMiB);
}

TEST_F(DecodingSafety, SoDoThoseOfAnIcon) {
    const auto path = writeDicom(
        folder.file("a.dcm"),
        [](DcmDataset& dataset) {
            putShape(dataset, false);
            putFragments(dataset, EXS_RLELossless, {shortFrame()});
            DcmItem* icon = nullptr;
            dataset.findOrCreateSequenceItem(DCM_IconImageSequence, icon, 0);
            putShape(*icon, true);
            putFragments(*icon, EXS_RLELossless, {shortFrame()});
        },
        EXS_RLELossless);
    const double before = peakMemory();
    EXPECT_EQ(call("GetFrameCount", {path}).get<vint>(), 0);
    EXPECT_LT(peakMemory() - before, kAllowedMiB);
}

TEST_F(DecodingSafety, AJpegFrameThatIsLargerThanTheImageIsNotDecoded) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess10_12);
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    const auto larger = patched(path, "\xFF\xC2", 5, std::string("\xFF\x00\xFF\x00", 4)); // lines, samples a line
    const double before = peakMemory();
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {larger, 1, 0}), 0);
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {larger, 0x400, 0}), 0);
    EXPECT_EQ(call("GetFrameCount", {larger}).get<vint>(), 0);
    EXPECT_LT(peakMemory() - before, kAllowedMiB);
}

TEST_F(DecodingSafety, ALossyJpegTableForDifferencesOfMoreThanFifteenBitsIsNotUsed) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0);
    const std::size_t firstValue = 2 + 2 + 17; // behind marker, length, class, counts
    const auto fifteen = patched(path, "\xFF\xC4", firstValue, "\x0F");
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {fifteen, 1, 0}), 0);
    const auto more = patched(path, "\xFF\xC4", firstValue, "\x10");
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {more, 1, 0}), 0);
}

TEST_F(DecodingSafety, ALossyJpegTableIsFoundWhereverADecoderReadsIt) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto code = [&](const std::function<std::vector<std::string>(const std::string&)>& change) {
        return codeOf("ReadIntermediatePixelData", {withFragments(path, change), 1, 0});
    };
    EXPECT_NE(code([](const std::string& stream) -> std::vector<std::string> {
                  return {stream.substr(0, 2) + impossibleTable() + stream.substr(2)};
              }),
              0);
    const std::string pair = "\xFF\xFF";
    EXPECT_NE(code([&](const std::string& stream) -> std::vector<std::string> {
                  return {stream.substr(0, 2) + pair + impossibleTable() + stream.substr(2)};
              }),
              0)
        << "behind filling";
    for (std::size_t cut = 1; cut < impossibleTable().size(); ++cut) {
        const auto inTwo = [&](const std::string& table) {
            return [&, table](const std::string& stream) -> std::vector<std::string> {
                const std::size_t scan = stream.find("\xFF\xDA");
                const std::string even((scan + cut) % 2, '\xFF'); // filling in front of a marker; lengths are even
                return {stream.substr(0, scan) + even + table.substr(0, cut), table.substr(cut) + stream.substr(scan)};
            };
        };
        std::string possible = impossibleTable();
        possible[4] = '\3'; // a table that is not used
        possible.back() = '\x0F';
        EXPECT_EQ(code(inTwo(possible)), 0) << cut;
        EXPECT_NE(code(inTwo(impossibleTable())), 0) << "in two fragments, " << cut;
    }
}

// Decoders take it, and then wait for the rest of the segment: reads outside the table, and an error all the same.
TEST_F(DecodingSafety, ALossyJpegTableIsFoundInASegmentThatIsCutShort) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto isSafe = [&](std::string table) {
        table.replace(2, 2, "\x7F\xFF"); // far longer than what is there
        const auto cut = withFragments(path, [&](const std::string& stream) -> std::vector<std::string> {
            return {stream.substr(0, 2) + table + stream.substr(2)};
        });
        DcmFileFormat file;
        EXPECT_TRUE(file.loadFile(cut.c_str()).good());
        return radvex::reasonNotToDecode(*file.getDataset()).empty();
    };
    EXPECT_FALSE(isSafe(impossibleTable()));
    std::string possible = impossibleTable();
    possible.back() = '\x0F';
    EXPECT_TRUE(isSafe(possible));
    possible[4] = '\x04'; // there are four, from 0 on
    EXPECT_FALSE(isSafe(possible));
}

TEST_F(DecodingSafety, BytesOfAnApplicationAreNotTakenForATable) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto withProfile = withFragments(path, [](const std::string& stream) -> std::vector<std::string> {
        const std::string profile =
            impossibleTable() + std::string("\xFF\xC2\x00\x0B\x08\xFF\xFF\xFF\xFF\x01\0\0\0", 13);
        const char length[] = {'\0', static_cast<char>(2 + profile.size())};
        return {stream.substr(0, 2) + "\xFF\xE2" + std::string(length, 2) + profile + stream.substr(2)};
    });
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {withProfile, 1, 0}), 0);
}

TEST_F(DecodingSafety, ATableOfJpegQuantizationIsNotTakenForAHeader) {
    // At the lowest qualities the table is full of 255, followed by anything.
    for (int quality = 0; quality < 12; ++quality) {
        const auto path = writeLossyJpeg(EXS_JPEGProcess1, quality);
        EXPECT_EQ(codeOf("ReadIntermediatePixelData", {path, 1, 0}), 0) << quality;
        call("ClearCache");
    }
}

TEST_F(DecodingSafety, AJpegStreamMayBeCutAnywhereOnce) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    std::size_t size = 0;
    std::size_t frame = 0;
    withFragments(path, [&](const std::string& stream) -> std::vector<std::string> {
        size = stream.size();
        frame = stream.find("\xFF\xC0");
        return {stream};
    });
    // The precision is looked for in the first fragment. Fragments have an even length.
    for (std::size_t cut = (frame + 7) / 2 * 2; cut < size; cut += 2) {
        const auto inTwo = withFragments(path, [cut](const std::string& stream) -> std::vector<std::string> {
            return {stream.substr(0, cut), stream.substr(cut)};
        });
        EXPECT_EQ(codeOf("ReadIntermediatePixelData", {inTwo, 1, 0}), 0) << cut;
        call("ClearCache");
    }
}

TEST_F(DecodingSafety, AJpegMarkerTemIsPassed) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto temporary = withFragments(path, [](const std::string& stream) -> std::vector<std::string> {
        return {stream.substr(0, 2) + "\xFF\x01" + stream.substr(2)};
    });
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {temporary, 1, 0}), 0);
}

// Decoders would read on behind the second fragment.
TEST_F(DecodingSafety, ASkippedJpegSegmentThatEndsWithAnotherFragmentIsNotReached) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto endsWithFragment = withFragments(path, [](const std::string& stream) -> std::vector<std::string> {
        const std::size_t scan = stream.find("\xFF\xDA");
        const std::string comment = std::string("\xFF\xFE\x10\x02", 4) + std::string(4096, 'c');
        const std::string even(scan % 2, '\xFF');
        return {stream.substr(0, scan) + even + comment.substr(0, 50), comment.substr(50), stream.substr(scan)};
    });
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {endsWithFragment, 1, 0}), 0);
}

// The decoder would write behind its list of four components.
TEST_F(DecodingSafety, AJpegFrameOfMoreThanFourComponentsIsNotDecoded) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto eight = withFragments(path, [](const std::string&) -> std::vector<std::string> {
        std::string frame("\xFF\xD8\xFF\xC4\0\x14\0\x01", 8);
        frame += std::string(15, '\0') + '\0' + std::string("\xFF\xC3\0\x20\x08\0\x10\0\x10\x08", 10);
        for (char component = 1; component <= 8; ++component) {
            frame += std::string({component, '\x11', '\0'});
        }
        return {frame + std::string("\xFF\xDA\0\x08\x01\x08\0\x01\0\0", 10) + std::string(100, '\0')};
    });
    EXPECT_NE(codeOf("ReadIntermediatePixelData", {eight, 1, 0}), 0);
    EXPECT_EQ(call("GetFrameCount", {eight}).get<vint>(), 0);
}

// Samples of the lossless decoder may have 16 bits, and are looked up in tables for 12.
TEST_F(DecodingSafety, LosslessJpegColourOfTwelveBitsIsConverted) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    for (const std::string model : {"YBR_FULL", "RGB"}) {
        const auto colour = withFragments(path, [](const std::string&) -> std::vector<std::string> {
            // A table for differences of 16 bits (32768, no more bits) alone: samples grow beyond 12 bits at once.
            std::string table("\xFF\xC4\0\x14\0\x01", 6);
            table += std::string(15, '\0') + '\x10';
            const std::string frame("\xFF\xC3\0\x11\x0C\0\x10\0\x10\x03\x01\x11\0\x02\x11\0\x03\x11\0", 19);
            const std::string scan("\xFF\xDA\0\x0C\x03\x01\0\x02\0\x03\0\x01\0\0", 14);
            return {"\xFF\xD8" + table + frame + scan + std::string(97 + 100, '\0') + "\xFF\xD9"};
        });
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(colour.c_str()).good());
        DcmDataset& dataset = *file.getDataset();
        ASSERT_TRUE(dataset.loadAllDataIntoMemory().good());
        dataset.putAndInsertString(DCM_PhotometricInterpretation, model.c_str());
        dataset.putAndInsertUint16(DCM_SamplesPerPixel, 3);
        dataset.putAndInsertUint16(DCM_PlanarConfiguration, 0);
        dataset.putAndInsertUint16(DCM_BitsAllocated, 16);
        dataset.putAndInsertUint16(DCM_BitsStored, 12);
        dataset.putAndInsertUint16(DCM_HighBit, 11);
        const std::string coloured = folder.file("colour.dcm");
        ASSERT_TRUE(file.saveFile(coloured.c_str(), dataset.getOriginalXfer()).good());
        call("ClearCache");
        const Tensor scaling(std::vector<vint>{2}, std::vector<double>{0.0, 0.0});
        EXPECT_EQ(codeOf("ReadImageData", {coloured, 0, 0, scaling, false, 1}), 0) << model;
    }
}

// Each was looked for by counting from the first one: twenty thousand took a minute.
TEST_F(DecodingSafety, FramesInManyFragmentsAreDecoded) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess1);
    const auto many = withFragments(path, [](const std::string& stream) {
        std::vector<std::string> fragments(200'000);
        fragments.front() = stream;
        return fragments;
    });
    EXPECT_EQ(codeOf("ReadIntermediatePixelData", {many, 1, 0}), 0);
}

TEST_F(DecodingSafety, ARefusalSaysWhy) {
    const auto path = writeLossyJpeg(EXS_JPEGProcess10_12);
    const auto larger = patched(path, "\xFF\xC2", 5, std::string("\xFF\x00\xFF\x00", 4));
    EXPECT_EQ(messageOf("ReadIntermediatePixelData", {larger, 1, 0}),
              "Could not open DICOM image in file " + larger +
                  ". Operation status: the JPEG frame is larger than the image.");
}

namespace {

/// Why an image of 8 bits in so many bytes of fragments would not be decoded.
/// @param offsets  entries of the offset table
std::string reasonFor(E_TransferSyntax syntax, int rows, int columns, int frames, std::size_t fragments,
                      std::size_t bytes, std::size_t offsets = 0) {
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    putShape(dataset, false);
    dataset.putAndInsertUint16(DCM_Rows, static_cast<Uint16>(rows));
    dataset.putAndInsertUint16(DCM_Columns, static_cast<Uint16>(columns));
    dataset.putAndInsertString(DCM_NumberOfFrames, std::to_string(frames).c_str());
    putFragments(dataset, syntax, std::vector<std::string>(fragments, std::string(bytes, 'x')));
    EXPECT_TRUE(dataset.chooseRepresentation(syntax, nullptr).good());
    DcmElement* pixels = nullptr;
    DcmPixelSequence* sequence = nullptr;
    DcmPixelItem* table = nullptr;
    EXPECT_TRUE(dataset.findAndGetElement(DCM_PixelData, pixels).good());
    EXPECT_TRUE(dynamic_cast<DcmPixelData&>(*pixels).getEncapsulatedRepresentation(syntax, nullptr, sequence).good());
    EXPECT_TRUE(sequence->getItem(table, 0).good());
    const std::vector<Uint8> entries(4 * offsets);
    table->putUint8Array(entries.data(), entries.size());
    dataset.removeAllButCurrentRepresentations();
    return radvex::reasonNotToDecode(dataset);
}

} // namespace

TEST(DecodingSizes, SparseMasksAreDecoded) {
    EXPECT_EQ(reasonFor(EXS_JPEGLSLossless, 512, 512, 900, 900, 210), "");
    EXPECT_EQ(reasonFor(EXS_JPEGLSLossless, 512, 512, 3000, 3000, 80), "");
    EXPECT_EQ(reasonFor(EXS_JPEGLSLossless, 4096, 4096, 30, 30, 618), "");
    EXPECT_EQ(reasonFor(EXS_RLELossless, 512, 512, 900, 900, 64 + 4096), "");
    EXPECT_EQ(reasonFor(EXS_JPEGLSLossless, 60000, 60000, 1, 1, 200), "its compressed pixels are too few for its size");
}

TEST(DecodingSizes, EightBitsAreDecodedUpToFourGiB) {
    EXPECT_EQ(reasonFor(EXS_RLELossless, 65000, 65000, 1, 1, 60'000'000), "");
    EXPECT_EQ(reasonFor(EXS_RLELossless, 65535, 65535, 2, 2, 60'000'000), "its pixels are more than 4 GiB");
}

TEST(DecodingSizes, NoMoreFramesAreCountedThanThereAreFragments) {
    EXPECT_EQ(reasonFor(EXS_RLELossless, 1024, 1024, 1000, 20, 20'000), "");
    EXPECT_EQ(reasonFor(EXS_RLELossless, 1024, 1024, 1000, 1000, 66), "its compressed pixels are too few for its size");
}

TEST(DecodingSizes, FramesOfJpegLsThatAreCountedOutAreNotTooMany) {
    for (const E_TransferSyntax syntax : {EXS_RLELossless, EXS_JPEGLSLossless}) {
        EXPECT_EQ(reasonFor(syntax, 8, 8, 20'000, 40'000, 64, 20'000), "");
        EXPECT_EQ(reasonFor(syntax, 8, 8, 20'000, 60'000, 64, 0), "") << "without an offset table";
        EXPECT_EQ(reasonFor(syntax, 8, 8, 20'000, 60'000, 64, 20'000),
                  syntax == EXS_RLELossless ? "" : "its frames are in too many fragments");
    }
}

// Each may claim a little, but all of them together no more than one.
TEST_F(DecodingSafety, ManyIconsClaimNoMoreThanOne) {
    for (const int icons : {1, 12, 6000}) {
        const auto path = writeDicom(
            folder.file("a.dcm"),
            [&](DcmDataset& dataset) {
                putShape(dataset, false);
                putFragments(dataset, EXS_RLELossless, {shortFrame()});
                for (int index = 0; index < icons; ++index) {
                    DcmItem* icon = nullptr;
                    dataset.findOrCreateSequenceItem(DCM_IconImageSequence, icon, index);
                    putShape(*icon, false);
                    icon->putAndInsertUint16(DCM_Rows, icons == 6000 ? 2 : 12000);
                    icon->putAndInsertUint16(DCM_Columns, icons == 6000 ? 2 : 12000);
                    putFragments(*icon, EXS_RLELossless, {shortFrame()});
                }
            },
            EXS_RLELossless);
        DcmFileFormat file;
        ASSERT_TRUE(file.loadFile(path.c_str()).good());
        EXPECT_EQ(radvex::reasonNotToDecode(*file.getDataset()), icons == 1 ? ""
                                                                 : icons == 12
                                                                     ? "its compressed pixels are too few for its size"
                                                                     : "it has too many pictures");
    }
}
