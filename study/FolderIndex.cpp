#include "FolderIndex.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "DirectoryBuilder.h"
#include "FolderWalk.h"
#include "Placement.h"
#include "dcmtk/dcmdata/dcvr.h"
#include "dcmtk/oflog/logger.h"
#include "dcmtk/oflog/nullap.h"

namespace radvex::study {

namespace {

/// What is said of each file is said in the result. The level spares the composing of messages that nobody sees.
void silenceDcmtk() {
    const dcmtk::log4cplus::SharedAppenderPtr silence(new dcmtk::log4cplus::NullAppender());
    dcmtk::log4cplus::Logger root = dcmtk::log4cplus::Logger::getRoot();
    root.removeAllAppenders();
    root.addAppender(silence);
    root.setLogLevel(dcmtk::log4cplus::OFF_LOG_LEVEL);
}

/// Attributes that a converter stored with an unknown type are read as what the dictionary says: their values are what
/// tells patients, studies and series apart. The setting belongs to the process and is put back, for the library.
class KnownTypes {
  public:
    KnownTypes() : mBefore(dcmEnableUnknownVRConversion.get()) { dcmEnableUnknownVRConversion.set(OFTrue); }
    ~KnownTypes() { dcmEnableUnknownVRConversion.set(mBefore); }
    KnownTypes(const KnownTypes&) = delete;
    KnownTypes& operator=(const KnownTypes&) = delete;

  private:
    OFBool mBefore;
};

/// The start of a file, enough to tell whether it may be DICOM.
struct Start {
    std::array<unsigned char, 132> bytes{};
    ssize_t count = 0; ///< below 0: it cannot be read, and `reason` is the system's number
    int reason = 0;

    bool hasMark() const { return count == 132 && std::memcmp(bytes.data() + 128, "DICM", 4) == 0; }

    /// A dataset without the mark begins with an element of one of the first groups, in either byte order.
    bool mayBeBareDataset() const {
        constexpr ssize_t kElementHeader = 8;
        const unsigned group = bytes[0] + 256U * bytes[1];
        const unsigned bigEndianGroup = 256U * bytes[0] + bytes[1];
        const auto isFirst = [](unsigned number) { return number == 2 || number == 8; };
        return count >= kElementHeader && (isFirst(group) || isFirst(bigEndianGroup));
    }
};

Start readStart(const std::string& path) {
    Start start;
    // Not to hang when the file has become a pipe since it was found.
    const int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (file >= 0) {
        start.count = read(file, start.bytes.data(), start.bytes.size());
    } else {
        start.count = -1;
    }
    start.reason = errno;
    if (file >= 0) {
        close(file);
    }
    return start;
}

std::string below(const std::string& folder, const std::string& path) {
    return folder.ends_with('/') ? folder + path : folder + '/' + path;
}

class Indexer {
  public:
    Indexer(const std::string& folder, FolderWalk& walk, Placement& placement)
        : mFolder(folder), mRoot(walk.root), mPlacement(placement), mBuilder(placement.draft()) {
        mIndex.skippedCount = walk.specialCount;
        for (const RefusedFile& file : walk.refused) {
            mIndex.refused.push_back({below(mFolder, file.path), file.reason});
        }
    }

    void take(const std::string& path) {
        const std::string target = below(mRoot, path);
        const Start start = readStart(target);
        if (start.count < 0) {
            refuse(path, "it cannot be read: " + std::generic_category().message(start.reason));
            return;
        }
        if (!start.hasMark() && !start.mayBeBareDataset()) {
            ++mIndex.skippedCount;
            return;
        }
        const std::string fileId = mPlacement.fileIdFor(target);
        const Addition addition = mBuilder.add(target, fileId, start.hasMark());
        if (addition.outcome == Addition::Added) {
            mPlacement.link(fileId, target);
            mIndex.files.push_back({fileId, below(mFolder, path)});
        } else if (addition.outcome == Addition::Refused) {
            refuse(path, addition.reason);
        } else {
            ++mIndex.skippedCount;
        }
    }

    FolderIndex finish() {
        if (!mIndex.files.empty()) {
            mBuilder.write();
            mIndex.dicomdir = mPlacement.publish();
        }
        mIndex.patientCount = mBuilder.patientCount();
        mIndex.studyCount = mBuilder.studyCount();
        mIndex.seriesCount = mBuilder.seriesCount();
        return std::move(mIndex);
    }

  private:
    void refuse(const std::string& path, const std::string& reason) {
        mIndex.refused.push_back({below(mFolder, path), reason});
    }

    const std::string& mFolder;
    const std::string& mRoot;
    Placement& mPlacement;
    DirectoryBuilder mBuilder;
    FolderIndex mIndex{};
};

} // namespace

FolderIndex indexFolder(const std::string& folder, const std::string& place, const Progress& progress) {
    silenceDcmtk();
    const KnownTypes knownTypes;
    FolderWalk walk = walkFolder(folder);
    Placement placement(place);
    Indexer indexer(folder, walk, placement);
    for (std::size_t done = 0; done < walk.files.size();) {
        indexer.take(walk.files[done]);
        ++done;
        if (progress) {
            progress(done, walk.files.size());
        }
    }
    return indexer.finish();
}

} // namespace radvex::study
