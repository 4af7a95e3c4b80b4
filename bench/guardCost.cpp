// What the guard before the parse costs beside the load itself. Usage: guardCost FOLDER [ROUNDS]

#include <time.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "ParseGuard.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcpixseq.h"
#include "dcmtk/dcmdata/dcpxitem.h"
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

/// 1,000 frames of 512 x 512 16-bit pixels: 500 MB of zeros that take no place on the disk.
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

/// 2,000 fragments of 20,000 bytes.
void writeFragments(const std::string& path) {
    DcmFileFormat file;
    fillSlice(*file.getDataset());
    auto sequence = std::make_unique<DcmPixelSequence>(DcmTag(DCM_PixelData, EVR_OB));
    check(sequence->insert(std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB)).release()));
    std::vector<Uint8> bytes(20'000);
    for (int number = 0; number < 2000; ++number) {
        auto fragment = std::make_unique<DcmPixelItem>(DcmTag(DCM_Item, EVR_OB));
        check(fragment->putUint8Array(bytes.data(), static_cast<unsigned long>(bytes.size())));
        check(sequence->insert(fragment.release()));
    }
    auto pixels = std::make_unique<DcmPixelData>(DCM_PixelData);
    pixels->putOriginalRepresentation(EXS_JPEGProcess14SV1, nullptr, sequence.release());
    check(file.getDataset()->insert(pixels.release()));
    check(file.saveFile(path.c_str(), EXS_JPEGProcess14SV1));
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

void checkPasses(const std::string& path) {
    if (radvex::reasonNotToParse(path)) {
        std::fprintf(stderr, "guardCost: an ordinary file is refused\n");
        std::exit(1);
    }
}

void compare(const char* title, const std::string& path, int rounds) {
    std::vector<double> guards;
    std::vector<double> loads;
    std::vector<double> opens;
    for (int round = 0; round < rounds; ++round) {
        guards.push_back(secondsOf([&path] { checkPasses(path); }));
        DcmFileFormat file;
        loads.push_back(secondsOf(
            [&path, &file] { check(file.loadFile(path.c_str(), EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect)); }));
        const double rest = secondsOf([&file] { // the rest of what the library does when it opens a file
            (void)file.getDataset()->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
            (void)file.convertToUTF8();
        });
        opens.push_back(loads.back() + rest);
    }
    const double guard = median(guards) * 1e6;
    const double load = median(loads) * 1e6;
    const double open = median(opens) * 1e6;
    std::printf("%-32s %12.1f %12.1f %12.1f %9.2f %8.2f\n", title, guard, load, open, 100 * guard / load,
                100 * guard / open);
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: guardCost FOLDER [ROUNDS]\n");
        return 2;
    }
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
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
    std::printf("%-32s %12s %12s %12s %9s %8s\n", "", "guard, us", "load, us", "open, us", "% of load", "% of open");
    compare("200,000 elements", at("elements.dcm"), rounds);
    compare("200,000 elements, implicit VR", at("elements-implicit.dcm"), rounds);
    compare("CT slice", at("slice.dcm"), 100 * rounds);
    compare("CT slice, implicit VR", at("slice-implicit.dcm"), 100 * rounds);
    compare("1,000 frames (500 MB)", at("frames.dcm"), 100 * rounds);
    compare("2,000 fragments", at("fragments.dcm"), rounds);
}
