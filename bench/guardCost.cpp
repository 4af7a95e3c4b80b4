// What the look before the parse costs beside the open itself. Usage: guardCost FOLDER [ROUNDS]

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "guard/FileStream.h"
#include "guard/GuardedLoad.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dcrleerg.h"
#include "dcmtk/dcmdata/dctk.h"

namespace {

void check(const OFCondition& condition) {
    if (condition.bad()) {
        std::fprintf(stderr, "guardCost: %s\n", condition.text());
        std::exit(1);
    }
}

/// Attributes of the kinds and number that a CT slice has.
void fillSlice(DcmItem& item) {
    item.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage);
    item.putAndInsertString(DCM_SOPInstanceUID, "1.2.826.0.1.3680043.8.498.1");
    item.putAndInsertString(DCM_PatientName, "Patient^Of^The^Benchmark");
    for (Uint16 element = 0x0020; element < 0x0080; ++element) { // what the dictionary does not know is text here
        item.putAndInsertString(DcmTag(0x0018, static_cast<Uint16>(0xA000 + element), EVR_LO), "A text of some length");
    }
    for (int number = 0; number < 4; ++number) {
        DcmItem* image = nullptr;
        check(item.findOrCreateSequenceItem(DCM_ReferencedImageSequence, image, -2));
        image->putAndInsertString(DCM_ReferencedSOPClassUID, UID_CTImageStorage);
        image->putAndInsertString(DCM_ReferencedSOPInstanceUID, "1.2.826.0.1.3680043.8.498.2");
    }
    item.putAndInsertString(DCM_ImagePositionPatient, "-125.5\\-125.5\\12.75");
    item.putAndInsertString(DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0");
    for (const DcmTagKey& key : {DCM_Rows, DCM_Columns}) {
        item.putAndInsertUint16(key, 512);
    }
}

void writeSlice(const std::string& path, E_TransferSyntax syntax) {
    DcmFileFormat file;
    fillSlice(*file.getDataset());
    const std::vector<Uint16> pixels(512 * 512);
    check(file.getDataset()->putAndInsertUint16Array(DCM_PixelData, pixels.data(), pixels.size()));
    check(file.saveFile(path.c_str(), syntax));
}

/// 200,000 elements in 20,000 items.
void writeElements(const std::string& path, E_TransferSyntax syntax) {
    DcmFileFormat file;
    auto sequence = std::make_unique<DcmSequenceOfItems>(DCM_ReferencedImageSequence);
    for (int number = 0; number < 20'000; ++number) {
        auto item = std::make_unique<DcmItem>();
        for (const DcmTagKey& key :
             {DCM_ImageType, DCM_Modality, DCM_PatientName, DCM_StudyDate, DCM_StudyTime, DCM_SliceThickness,
              DCM_InstanceNumber, DCM_ImagePositionPatient, DCM_ReferencedSOPInstanceUID, DCM_AccessionNumber}) {
            check(item->putAndInsertString(key, "12"));
        }
        check(sequence->append(item.release()));
    }
    check(file.getDataset()->putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage));
    check(file.getDataset()->putAndInsertString(DCM_SOPInstanceUID, "1.2.3"));
    check(file.getDataset()->insert(sequence.release()));
    check(file.saveFile(path.c_str(), syntax));
}

/// 1,000 frames of 512 x 512 16-bit pixels: 500 MB of zeros that take no room on the disk.
void writeFrames(const std::string& path) {
    writeSlice(path, EXS_LittleEndianExplicit);
    constexpr std::uintmax_t kFrame = 512 * 512 * 2;
    const std::uintmax_t header = std::filesystem::file_size(path) - kFrame;
    constexpr Uint32 kPixels = 1000 * kFrame;
    std::FILE* file = std::fopen(path.c_str(), "r+b");
    std::fseek(file, static_cast<long>(header - 4), SEEK_SET);
    std::fwrite(&kPixels, sizeof kPixels, 1, file); // as a little endian machine holds it
    std::fclose(file);
    std::filesystem::resize_file(path, header + kPixels);
}

/// 2,000 frames of 100 x 100 noise, a fragment each; to open the file is to decode them.
void writeFragments(const std::string& path) {
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    fillSlice(dataset);
    for (const auto& [key, value] : {std::pair(DCM_Rows, 100),
                                     {DCM_Columns, 100},
                                     {DCM_SamplesPerPixel, 1},
                                     {DCM_BitsAllocated, 8},
                                     {DCM_BitsStored, 8},
                                     {DCM_HighBit, 7},
                                     {DCM_PixelRepresentation, 0}}) {
        check(dataset.putAndInsertUint16(key, static_cast<Uint16>(value)));
    }
    check(dataset.putAndInsertString(DCM_PhotometricInterpretation, "MONOCHROME2"));
    check(dataset.putAndInsertString(DCM_NumberOfFrames, "2000"));
    std::vector<Uint8> bytes(2000 * 100 * 100);
    std::mt19937 random(1);
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<Uint8>(random()); });
    check(dataset.putAndInsertUint8Array(DCM_PixelData, bytes.data(), bytes.size()));
    check(dataset.chooseRepresentation(EXS_RLELossless, nullptr));
    check(file.saveFile(path.c_str(), EXS_RLELossless));
}

double median(std::vector<double> values) {
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/// Processor time, so that other programs of the machine do not count.
template <typename Action>
double secondsOf(Action action) {
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
    };
    const double start = now();
    action();
    return now() - start;
}

constexpr Uint32 kLongestRead = 4096; // longer values stay in their file

/// What the library does to open a file, but for the look before the parse.
void parseOnly(DcmFileFormat& file, const std::string& path, radvex::FileBuffers& buffers) {
    radvex::OpenFile source(path, buffers);
    radvex::FileStream stream(source);
    check(file.clear());
    file.setReadMode(ERM_autoDetect);
    file.transferInit();
    check(file.read(stream, EXS_Unknown, EGL_noChange, kLongestRead));
    file.transferEnd();
}

void lookAndParse(DcmFileFormat& file, const std::string& path) {
    if (radvex::loadGuarded(file, path, kLongestRead)) {
        std::fprintf(stderr, "guardCost: an ordinary file is refused\n");
        std::exit(1);
    }
}

/// The rest of what the library does when it opens a file.
void normalise(DcmFileFormat& file) {
    (void)file.getDataset()->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    (void)file.convertToUTF8();
}

void compare(const char* title, const std::string& path, int rounds) {
    radvex::FileBuffers buffers;
    std::vector<double> dcmtk;
    std::vector<double> parsed;
    std::vector<double> guarded;
    std::vector<double> rest;
    for (int round = 0; round < rounds; ++round) {
        DcmFileFormat file;
        dcmtk.push_back(secondsOf(
            [&] { check(file.loadFile(path.c_str(), EXS_Unknown, EGL_noChange, kLongestRead, ERM_autoDetect)); }));
        parsed.push_back(secondsOf([&] { parseOnly(file, path, buffers); }));
        guarded.push_back(secondsOf([&] { lookAndParse(file, path); }));
        rest.push_back(secondsOf([&] { normalise(file); }));
    }
    const double alone = median(parsed) * 1e6;
    const double both = median(guarded) * 1e6;
    const double after = median(rest) * 1e6;
    std::printf("%-32s %12.1f %12.1f %12.1f %12.1f %12.1f\n", title, both + after, alone + after,
                100 * (both - alone) / (both + after), median(dcmtk) * 1e6,
                100 * (both - alone) / (median(dcmtk) * 1e6));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: guardCost FOLDER [ROUNDS]\n");
        return 2;
    }
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DcmRLEEncoderRegistration::registerCodecs();
    DcmRLEDecoderRegistration::registerCodecs();
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);
    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 15;
    const auto at = [&folder](const char* name) { return (folder / name).string(); };
    writeElements(at("elements.dcm"), EXS_LittleEndianExplicit);
    writeElements(at("elements-implicit.dcm"), EXS_LittleEndianImplicit);
    writeSlice(at("slice.dcm"), EXS_LittleEndianExplicit);
    writeSlice(at("slice-implicit.dcm"), EXS_LittleEndianImplicit);
    writeFrames(at("frames.dcm"));
    writeFragments(at("fragments.dcm"));
    std::printf("%-32s %12s %12s %12s %12s %12s\n", "processor time, us", "open", "without look", "look, %",
                "DCMTK's load", "look, % of it");
    compare("200,000 elements", at("elements.dcm"), rounds);
    compare("200,000 elements, implicit VR", at("elements-implicit.dcm"), rounds);
    compare("CT slice", at("slice.dcm"), 100 * rounds);
    compare("CT slice, implicit VR", at("slice-implicit.dcm"), 100 * rounds);
    compare("1,000 frames (500 MB)", at("frames.dcm"), 100 * rounds);
    compare("2,000 RLE frames", at("fragments.dcm"), rounds);
    DcmRLEDecoderRegistration::cleanup();
    DcmRLEEncoderRegistration::cleanup();
}
