// The floor: walks a DICOMDIR and reads the files of its series with DCMTK alone, opened as the library opens them.
//   volume    sorted by InstanceNumber, one window for all, 16 bits into one buffer
//   metadata  five attributes of every file, one file open at a time

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcrledrg.h"
#include "dcmtk/dcmdata/dctk.h"
#include "dcmtk/dcmimage/diregist.h"
#include "dcmtk/dcmimgle/dcmimage.h"
#include "dcmtk/dcmjpeg/djdecode.h"
#include "dcmtk/dcmjpls/djdecode.h"

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

std::unique_ptr<DcmFileFormat> open(const std::string& path) {
    auto file = std::make_unique<DcmFileFormat>();
    if (file->loadFile(path.c_str(), EXS_Unknown, EGL_noChange, 4096, ERM_autoDetect).bad()) {
        std::fprintf(stderr, "bareDirectory: %s cannot be read\n", path.c_str());
        std::exit(1);
    }
    (void)file->getDataset()->chooseRepresentation(EXS_LittleEndianImplicit, nullptr);
    (void)file->convertToUTF8();
    return file;
}

Sint32 instanceNumber(DcmFileFormat& file) {
    Sint32 number = 0;
    (void)file.getDataset()->findAndGetSint32(DCM_InstanceNumber, number);
    return number;
}

void readVolume(const std::vector<std::string>& names) {
    std::vector<std::unique_ptr<DcmFileFormat>> files;
    for (const std::string& name : names) {
        files.push_back(open(name));
    }
    std::sort(files.begin(), files.end(),
              [](const auto& left, const auto& right) { return instanceNumber(*left) < instanceNumber(*right); });
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
    const std::unique_ptr<void, void (*)(void*)> volume(std::calloc(images.size(), sliceBytes), std::free);
    auto* place = static_cast<unsigned char*>(volume.get());
    for (const auto& image : images) {
        image->hideAllOverlays(0);
        image->setWindow((high + low) * 0.5, high - low);
        image->getOutputData(place, sliceBytes, 16, 0, 0);
        place += sliceBytes;
    }
    std::printf("%zu slices, last byte %d\n", images.size(), place[-1]);
}

void readMetadata(const std::vector<std::string>& names) {
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

} // namespace

int main(int argc, char** argv) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DJDecoderRegistration::registerCodecs();
    DJLSDecoderRegistration::registerCodecs();
    DcmRLEDecoderRegistration::registerCodecs();
    if (argc != 3) {
        std::fprintf(stderr, "Usage: bareDirectory volume|metadata DICOMDIR\n");
        return 2;
    }
    const std::string path = argv[2];
    DcmDicomDir directory(OFFilename(path.c_str()));
    std::vector<std::string> files;
    collect(directory.getRootRecord(), 0, path.substr(0, path.size() - std::string("DICOMDIR").size()), files);
    std::string(argv[1]) == "volume" ? readVolume(files) : readMetadata(files);
}
