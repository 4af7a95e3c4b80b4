// Writes the data that the benchmarks read. Usage: generateBenchmarkData FOLDER [small|counted]

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "bench/generateMedia.h"
#include "bench/generatePixels.h"

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

/// Items of 20 items of ten elements each.
void writeElements(const std::string& path, int elements) {
    DcmFileFormat file;
    DcmDataset& dataset = *file.getDataset();
    check(dataset.putAndInsertString(DCM_SOPClassUID, UID_CTImageStorage));
    check(dataset.putAndInsertString(DCM_SOPInstanceUID, "1.2.3"));
    auto outer = std::make_unique<DcmSequenceOfItems>(DCM_ReferencedSeriesSequence);
    int number = 0;
    for (int series = 0; series < elements / 200; ++series) {
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

std::string list(const std::vector<int>& numbers) {
    std::string text;
    for (const int number : numbers) {
        text += (text.empty() ? "[" : ", ") + std::to_string(number);
    }
    return text.empty() ? "[]" : text + "]";
}

/// For the scripts, which compute from it what was written.
void writeAmounts(const std::filesystem::path& path, const Amounts& amounts) {
    std::ofstream(path) << "{\"slices\": " << amounts.slices << ", \"side\": " << amounts.side
                        << ", \"frames\": " << amounts.frames << ", \"rgbFrames\": " << amounts.rgbFrames
                        << ", \"rgbRows\": " << amounts.rgbRows << ", \"rgbColumns\": " << amounts.rgbColumns
                        << ", \"smallFiles\": " << amounts.smallFiles << ", \"smallSeries\": " << amounts.smallSeries
                        << ", \"growthSide\": " << amounts.growthSide
                        << ", \"growthSlices\": " << list(amounts.growthSlices)
                        << ", \"elements\": " << list(amounts.elements) << "}\n";
}

Amounts amountsNamed(const std::string& name) {
    return name == "small" ? Amounts::small() : name == "counted" ? Amounts::counted() : Amounts{};
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "Usage: generateBenchmarkData FOLDER [small|counted]\n");
        return 2;
    }
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    const std::filesystem::path folder = argv[1];
    const Amounts amounts = amountsNamed(argc > 2 ? argv[2] : "");
    std::filesystem::create_directories(folder);
    for (const int elements : amounts.elements) {
        writeElements((folder / ("elements-" + std::to_string(elements) + ".dcm")).string(), elements);
    }
    writeMultiFrames(folder, amounts);
    writeSeriesMedia(folder, amounts);
    writeGrowingMedia(folder, amounts);
    writeSmallFiles(folder, amounts);
    writeAmounts(folder / "amounts.json", amounts);
}
