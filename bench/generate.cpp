// Writes the data that the benchmarks read. Usage: generateBenchmarkData FOLDER

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "generateMedia.h"
#include "generatePixels.h"

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dctk.h"

void check(const OFCondition& condition) {
    if (condition.bad()) {
        std::fprintf(stderr, "generateBenchmarkData: %s\n", condition.text());
        std::exit(1);
    }
}

namespace {

/// Ten attributes of the kinds that files hold most of.
void fillItem(DcmItem& item, int number) {
    const std::string text = std::to_string(number);
    item.putAndInsertString(DCM_ImageType, "DERIVED\\SECONDARY\\OTHER");
    item.putAndInsertString(DCM_ReferencedSOPClassUID, "1.2.840.10008.5.1.4.1.1.2");
    item.putAndInsertString(DCM_ReferencedSOPInstanceUID, ("1.2.826.0.1.3680043.8.498." + text).c_str());
    item.putAndInsertString(DCM_PatientName, ("Patient^Number" + text).c_str());
    item.putAndInsertString(DCM_SliceThickness, "1.25");
    item.putAndInsertString(DCM_InstanceNumber, text.c_str());
    item.putAndInsertString(DCM_ImagePositionPatient, "-125.5\\-125.5\\12.75");
    item.putAndInsertUint16(DCM_Rows, 512);
    item.putAndInsertUint16(DCM_Columns, 512);
    item.putAndInsertFloat64(DCM_RealWorldValueSlope, 0.5);
}

/// 200,000 elements: 1,000 items that hold 20 items of ten elements each.
void writeManyElements(const std::string& path) {
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    check(dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage));
    check(dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3"));
    auto outer = std::make_unique<DcmSequenceOfItems>(DCM_ReferencedSeriesSequence);
    int number = 0;
    for (int series = 0; series < 1000; ++series) {
        auto inner = std::make_unique<DcmSequenceOfItems>(DCM_ReferencedImageSequence);
        for (int image = 0; image < 20; ++image) {
            auto item = std::make_unique<DcmItem>();
            fillItem(*item, ++number);
            check(inner->append(item.release()));
        }
        auto holder = std::make_unique<DcmItem>();
        check(holder->insert(inner.release()));
        check(outer->append(holder.release()));
    }
    check(dataset.insert(outer.release()));
    check(file.saveFile(path.c_str(), EXS_LittleEndianExplicit));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "Usage: generateBenchmarkData FOLDER\n");
        return 2;
    }
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);
    if (const auto path = folder / "elements.dcm"; !std::filesystem::exists(path)) {
        writeManyElements(path.string());
    }
    writeMultiFrames(folder);
    writeSeriesMedia(folder);
    writeSmallFiles(folder);
}
