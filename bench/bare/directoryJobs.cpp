#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "bench/bare/bareJobs.h"

#include "dcmtk/dcmimgle/dcmimage.h"

namespace bare {

namespace {

void collect(DcmDirectoryRecord& record, int level, const std::string& folder, std::vector<std::string>& files) {
    constexpr int kInstanceLevel = 4;
    for (DcmDirectoryRecord* below = record.nextSub(nullptr); below != nullptr; below = record.nextSub(below)) {
        if (level + 1 == kInstanceLevel) {
            OFString name;
            (void)below->findAndGetOFStringArray(DCM_ReferencedFileID, name);
            std::replace(name.begin(), name.end(), '\\', '/');
            files.push_back(folder + name.c_str());
        } else {
            collect(*below, level + 1, folder, files);
        }
    }
}

std::vector<std::string> filesOf(const std::string& medium) {
    DcmDicomDir directory(OFFilename(medium.c_str()));
    std::vector<std::string> files;
    collect(directory.getRootRecord(), 0, medium.substr(0, medium.size() - std::string("DICOMDIR").size()), files);
    return files;
}

Sint32 instanceNumber(DcmFileFormat& file) {
    Sint32 number = 0;
    (void)file.getDataset()->findAndGetSint32(DCM_InstanceNumber, number);
    return number;
}

/// One block of bytes for all slices, as the library has one image of the host.
class Volume {
  public:
    Volume(std::size_t slices, std::size_t sliceBytes)
        : mBytes(slices * sliceBytes), mData(static_cast<unsigned char*>(std::calloc(mBytes, 1)), std::free) {}
    unsigned char* data() { return mData.get(); }
    void finish(std::size_t slices, const std::string& out) {
        if (!out.empty()) {
            std::ofstream(out, std::ios::binary)
                .write(reinterpret_cast<const char*>(data()), static_cast<std::streamsize>(mBytes));
        }
        std::printf("%zu slices, last byte %d\n", slices, data()[mBytes - 1]);
    }

  private:
    std::size_t mBytes;
    std::unique_ptr<unsigned char, void (*)(void*)> mData;
};

using Files = std::vector<std::unique_ptr<DcmFileFormat>>;

Files openSorted(const std::string& medium) {
    Files files;
    for (const std::string& name : filesOf(medium)) {
        files.push_back(open(name));
    }
    std::sort(files.begin(), files.end(),
              [](const auto& left, const auto& right) { return instanceNumber(*left) < instanceNumber(*right); });
    return files;
}

struct Slice {
    Sint32 number;
    std::vector<Sint16> values;
};

Slice rescaled(const std::string& path) {
    const auto file = open(path);
    DcmDataset& dataset = *file->getDataset();
    const Uint16* stored = nullptr;
    unsigned long count = 0;
    Float64 slope = 1;
    Float64 intercept = 0;
    (void)dataset.findAndGetFloat64(DCM_RescaleSlope, slope);
    (void)dataset.findAndGetFloat64(DCM_RescaleIntercept, intercept);
    check(dataset.findAndGetUint16Array(DCM_PixelData, stored, &count));
    Slice slice{instanceNumber(*file), std::vector<Sint16>(count)};
    std::transform(stored, stored + count, slice.values.begin(),
                   [=](Uint16 value) { return static_cast<Sint16>(value * slope + intercept); });
    return slice;
}

} // namespace

void readRenderedVolume(const std::string& medium, const std::string& out) {
    registerDecoders();
    const Files files = openSorted(medium);
    std::vector<std::unique_ptr<DicomImage>> images;
    double low = 0;
    double high = 0;
    for (const auto& file : files) {
        images.push_back(
            std::make_unique<DicomImage>(file->getDataset(), file->getDataset()->getCurrentXfer(), 1UL, 0UL, 0UL));
        double ownLow = 0;
        double ownHigh = 0;
        images.back()->getMinMaxValues(ownLow, ownHigh, 0);
        low = images.size() == 1 ? ownLow : std::min(low, ownLow);
        high = images.size() == 1 ? ownHigh : std::max(high, ownHigh);
    }
    const unsigned long sliceBytes = images.front()->getOutputDataSize(16);
    Volume volume(images.size(), sliceBytes);
    unsigned char* target = volume.data();
    for (const auto& image : images) {
        image->hideAllOverlays(0);
        image->setWindow((high + low) * 0.5, high - low);
        image->getOutputData(target, sliceBytes, 16, 0, 0);
        target += sliceBytes;
    }
    volume.finish(images.size(), out);
}

void readModalityVolume(const std::string& medium, const std::string& out) {
    registerDecoders();
    std::vector<Slice> slices;
    for (const std::string& name : filesOf(medium)) {
        slices.push_back(rescaled(name));
    }
    std::sort(slices.begin(), slices.end(),
              [](const Slice& left, const Slice& right) { return left.number < right.number; });
    const std::size_t sliceBytes = slices.front().values.size() * sizeof(Sint16);
    Volume volume(slices.size(), sliceBytes);
    unsigned char* target = volume.data();
    for (Slice& slice : slices) {
        std::memcpy(target, slice.values.data(), sliceBytes);
        slice.values = {};
        target += sliceBytes;
    }
    volume.finish(slices.size(), out);
}

void readMediumMetadata(const std::string& medium) {
    const std::vector<std::string> names = filesOf(medium);
    std::size_t length = 0;
    for (const std::string& name : names) {
        const auto file = open(name);
        for (const DcmTagKey& key :
             {DCM_PatientName, DCM_SeriesInstanceUID, DCM_InstanceNumber, DCM_ImagePositionPatient, DCM_PixelSpacing}) {
            OFString value;
            (void)file->getDataset()->findAndGetOFStringArray(key, value);
            length += value.length();
        }
    }
    std::printf("%zu files, %zu characters\n", names.size(), length);
}

} // namespace bare
