#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/HostTest.h"
#include "tests/support/ImageFiles.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Nodes.h"
#include "tests/support/TemporaryFolder.h"

namespace radvex::test {

/// The three patterns of a directory read.
struct Patterns {
    std::string patient = ".*";
    std::string study = ".*";
    std::string series = ".*";
};

/// A store as one line: names, "{...}" for a store, "=..." behind the name of a text or a number, ":image" and ":array"
/// for what is only told by its kind. A node without a name begins with what it holds.
///
///     P1{1.2{1.2.3{IM1,IM2}}}
inline std::string outline(velmora::StoreView store) {
    std::string line;
    for (const velmora::NodeView node : store) {
        line += line.empty() ? "" : ",";
        line += node.name();
        const std::string equals = node.name().empty() ? "" : "=";
        switch (node.type()) {
        case VType_DataStore: line += "{" + outline(velmora::StoreView(node.cell().dataStore)) + "}"; break;
        case VType_UTF8String: line += equals + node.cell().utf8String; break;
        case VType_Integer: line += equals + std::to_string(node.cell().integer); break;
        case VType_Image: line += ":image"; break;
        case VType_NumericArray: line += ":array"; break;
        default: line += ":kind " + std::to_string(node.type());
        }
    }
    return line;
}

template <typename T>
std::vector<T> elementsOf(const VelmoraImage& image) {
    const auto* data = static_cast<const T*>(image.data.get());
    return {data, data + image.length};
}

/// The image at the end of a way through the stores, by the index of each node (from 0).
inline const VelmoraImage& imageAt(velmora::StoreView store, const std::vector<std::size_t>& way) {
    for (std::size_t step = 0; step + 1 < way.size(); ++step) {
        store = storeAt(store, way[step]);
    }
    if (way.back() >= store.size()) {
        throw std::out_of_range("There is no such node");
    }
    auto node = store.begin();
    for (std::size_t index = way.back(); index > 0; --index) {
        ++node;
    }
    if ((*node).type() != VType_Image) {
        throw std::runtime_error("The node " + std::string((*node).name()) + " is no image");
    }
    return *(*node).cell().image;
}

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
    static MediumRecord seriesOf(const std::string& uid, const std::vector<std::string>& fileIds) {
        std::vector<MediumRecord> images;
        images.reserve(fileIds.size());
        for (const std::string& fileId : fileIds) {
            images.push_back(imageRecord(fileId, 0));
        }
        return seriesRecord(uid, "CT", std::move(images));
    }

    /// Writes a file of the medium. @param number  InstanceNumber in the file; none when it is 0
    std::string writeImage(const std::string& fileId, int number, ImageFile file) {
        file.more = [number, more = file.more](DcmDataset& dataset) {
            if (number != 0) {
                dataset.putAndInsertString(DCM_InstanceNumber, std::to_string(number).c_str());
            }
            if (more) {
                more(dataset);
            }
        };
        return writeImageFile(mediumPath(folder, fileId), file);
    }

    static velmora::Value scaling(double first, double second = 0.0) {
        return velmora::Tensor(std::vector<vint>{2}, std::vector<double>{first, second});
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

    /// The structure in one line, file names as they stand in the records.
    std::string structureLine(const Patterns& patterns = {}) { return outline(structure(patterns).view()); }

    TemporaryFolder folder{};
    std::string path{}; ///< of the DICOMDIR
};

} // namespace radvex::test
