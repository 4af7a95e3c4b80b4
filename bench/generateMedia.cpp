#include "bench/generateMedia.h"

#include <functional>

#include "bench/generatePixels.h"

#include "dcmtk/dcmdata/dcddirif.h"

namespace {

namespace fs = std::filesystem;

const std::string kRoot = "1.2.826.0.1.3680043.8.498.";

/// What a directory record needs and a scanner writes.
void putIdentity(DcmDataset& dataset, int series, int instance) {
    const std::string number = std::to_string(series);
    const auto put = [&](const DcmTagKey& key, const std::string& value) {
        check(dataset.putAndInsertString(key, value.c_str()));
    };
    put(DCM_SOPClassUID, UID_CTImageStorage);
    put(DCM_SOPInstanceUID, kRoot + "3." + number + "." + std::to_string(instance));
    put(DCM_StudyDate, "20260102");
    put(DCM_StudyTime, "101112");
    put(DCM_Modality, "CT");
    put(DCM_StudyDescription, "Benchmark");
    put(DCM_PatientName, "Bench^Mark");
    put(DCM_PatientID, "B1");
    put(DCM_SliceThickness, "1.5");
    put(DCM_StudyInstanceUID, kRoot + "1");
    put(DCM_SeriesInstanceUID, kRoot + "2." + number);
    put(DCM_StudyID, "1");
    put(DCM_SeriesNumber, number);
    put(DCM_InstanceNumber, std::to_string(instance));
    put(DCM_ImagePositionPatient, "-180\\-180\\" + std::to_string(1.5 * instance));
    put(DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0");
    put(DCM_PixelSpacing, "0.703125\\0.703125");
    put(DCM_RescaleSlope, "1");
    put(DCM_RescaleIntercept, "-1024");
    put(DCM_RescaleType, "HU");
}

/// Makes a medium: `writeFiles` writes into its folder and names each file to the directory.
void makeMedium(const fs::path& folder,
                const std::function<void(const std::function<void(const std::string&)>&)>& writeFiles) {
    fs::create_directories(folder);
    DicomDirInterface directory;
    directory.disableConsistencyCheck();
    directory.disableTransferSyntaxCheck();
    directory.enableInventMode();
    check(directory.createNewDicomDir(DicomDirInterface::AP_GeneralPurpose, (folder / "DICOMDIR").string().c_str()));
    writeFiles([&](const std::string& name) {
        check(directory.addDicomFile(OFFilename(name.c_str()), OFFilename(folder.string().c_str())));
    });
    check(directory.writeDicomDir());
}

std::string fileName(int number) {
    char name[16];
    std::snprintf(name, sizeof name, "IM%06d", number);
    return name;
}

void writeSeries(const fs::path& medium, const Encoding& encoding, const std::vector<Uint16>& pixels, int slices,
                 int side, Stored stored = Stored::twelveBits) {
    makeMedium(medium, [&](const auto& add) {
        for (int number = 1; number <= slices; ++number) {
            const int slice = number * 7 % slices; // every slice once, in another order
            DcmFileFormat file;
            putIdentity(*file.getDataset(), 1, slice + 1);
            putPixels(*file.getDataset(), pixels.data() + static_cast<std::ptrdiff_t>(slice) * side * side, 1, side,
                      stored);
            check(file.getDataset()->chooseRepresentation(encoding.syntax, encoding.parameter));
            check(file.saveFile((medium / fileName(number)).string().c_str(), encoding.syntax));
            add(fileName(number));
        }
    });
}

} // namespace

void writeSeriesMedia(const fs::path& folder, const Amounts& amounts) {
    const std::vector<Uint16> pixels = makePixels(amounts.slices, amounts.side, amounts.side);
    for (const Encoding& encoding : encodings()) {
        writeSeries(folder / ("series" + encoding.suffix), encoding, pixels, amounts.slices, amounts.side);
        writeSeries(folder / ("series-signed" + encoding.suffix), encoding, pixels, amounts.slices, amounts.side,
                    Stored::sixteenSigned);
    }
}

void writeGrowingMedia(const fs::path& folder, const Amounts& amounts) {
    const int side = amounts.growthSide;
    for (const int slices : amounts.growthSlices) {
        writeSeries(folder / ("slices-" + std::to_string(slices)), encodings().front(), makePixels(slices, side, side),
                    slices, side);
    }
}

void writeSmallFiles(const fs::path& folder, const Amounts& amounts) {
    const fs::path medium = folder / "small";
    const int perSeries = amounts.smallFiles / amounts.smallSeries;
    makeMedium(medium, [&](const auto& add) {
        for (int number = 1; number <= amounts.smallFiles; ++number) {
            DcmFileFormat file;
            putIdentity(*file.getDataset(), 1 + (number - 1) / perSeries, 1 + (number - 1) % perSeries);
            check(file.saveFile((medium / fileName(number)).string().c_str(), EXS_LittleEndianExplicit));
            add(fileName(number));
        }
    });
}
