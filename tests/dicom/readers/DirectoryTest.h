#pragma once

#include <string>
#include <vector>

#include "tests/dicom/DicomTest.h"
#include "tests/support/MediumFiles.h"

namespace radvex::test {

/// The three patterns of a directory read.
struct Patterns {
    std::string patient = ".*";
    std::string study = ".*";
    std::string series = ".*";
};

/// A file of a medium; `number` is its InstanceNumber, none when it is 0.
struct NumberedFile {
    std::string fileId{};
    int number = 0;
    ImageFile file{};
};

/// Scalings that name a method, as a first number.
inline constexpr double kWithoutWindow = -3.0;
inline constexpr double kCommon = -2.0;

/// A medium in a fresh folder, and the exported functions that read it.
class DirectoryTest : public LibraryTest {
  protected:
    /// Writes the DICOMDIR and forgets what was read before.
    const std::string& writeDirectory(const std::vector<MediumRecord>& patients) {
        call("ClearCache");
        path = writeMedium(folder, patients);
        return path;
    }
    /// One patient "P" with one study "1": these series.
    const std::string& writeSeries(std::vector<MediumRecord> series) {
        return writeDirectory({patientRecord("P", "Doe^Jane", {studyRecord("1", std::move(series))})});
    }
    /// The same with one series "1.1" of these File IDs, whose records have no instance number.
    const std::string& writeFileIds(const std::vector<std::string>& fileIds) {
        return writeSeries({seriesOf("1.1", fileIds)});
    }
    /// Writes a file of the medium. @param number  InstanceNumber in the file; none when it is 0
    std::string writeImage(const std::string& fileId, int number, const ImageFile& file) {
        return writeSlice(folder, {.fileId = fileId, .number = number, .file = file});
    }

    /// One series of these files, read anew.
    void writeFiles(const std::vector<NumberedFile>& files) {
        std::vector<std::string> fileIds;
        for (const NumberedFile& file : files) {
            fileIds.push_back(file.fileId);
            writeImage(file.fileId, file.number, file.file);
        }
        writeFileIds(fileIds);
    }

    std::vector<velmora::Value> structureArguments(const Patterns& patterns = {}, bool absolute = false) {
        return {path, patterns.patient, patterns.study, patterns.series, absolute};
    }
    std::vector<velmora::Value> pictureArguments(double first, double second = 0.0, const Patterns& patterns = {}) {
        return {path, scaling(first, second), false, 1, patterns.patient, patterns.study, patterns.series};
    }
    std::vector<velmora::Value> volumeArguments(double first, double second = 0.0, const Patterns& patterns = {}) {
        return {path, patterns.patient, patterns.study, patterns.series, scaling(first, second), 1};
    }

    velmora::Store structure(const Patterns& patterns = {}, bool absolute = false) {
        return std::get<velmora::Store>(call("ReadDICOMDIRStructure", structureArguments(patterns, absolute)));
    }
    velmora::Store pictures(double first, double second = 0.0, const Patterns& patterns = {}) {
        return std::get<velmora::Store>(call("Read2DImagesDir", pictureArguments(first, second, patterns)));
    }
    velmora::Store volumes(double first, double second = 0.0, const Patterns& patterns = {}) {
        return std::get<velmora::Store>(call("Read3DImage", volumeArguments(first, second, patterns)));
    }

    /// A result in one line, without the folder in front of the names of its files.
    std::string lineOf(velmora::StoreView result) const {
        std::string line = outline(result);
        const std::string prefix = folder.path().string() + "/";
        for (auto found = line.find(prefix); found != std::string::npos; found = line.find(prefix)) {
            line.erase(found, prefix.size());
        }
        return line;
    }
    /// The structure in one line, file names as they stand in the records.
    std::string structureLine(const Patterns& patterns = {}) { return outline(structure(patterns).view()); }

    std::string path{}; ///< of the DICOMDIR
};

} // namespace radvex::test
