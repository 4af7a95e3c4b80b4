#include "media/dicomdir/FolderIndexer.h"

#include <optional>
#include <stdexcept>
#include <system_error>

#include "media/FolderWalk.h"
#include "media/dicomdir/DcmtkSettings.h"
#include "media/dicomdir/DirectoryBuilder.h"
#include "media/dicomdir/FileRecords.h"
#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"

namespace radvex::media {

namespace {

std::string below(const std::string& folder, const std::string& path) {
    return folder.ends_with('/') ? folder + path : folder + '/' + path;
}

/// The files of a folder, and what their first bytes say.
class FolderFiles {
  public:
    explicit FolderFiles(const std::string& folder) : mFolder(folder), mWalk(walkFolder(folder)) {
        mLeftOut.skippedCount = mWalk.specialCount;
        for (const RefusedFile& file : mWalk.refused) {
            mLeftOut.refused.push_back({below(mFolder, file.path), file.reason});
        }
    }

    std::size_t count() const { return mWalk.files.size(); }
    const LeftOut& leftOut() const { return mLeftOut; }
    std::string targetOf(std::size_t file) const { return below(mWalk.root, mWalk.files.at(file)); }
    std::string userPathOf(std::size_t file) const { return below(mFolder, mWalk.files.at(file)); }

    /// @param read  describes a file that may be DICOM: gets its path and whether it has the mark of one
    template <typename Read>
    FileDescription describe(std::size_t file, Read read) const {
        const std::string target = targetOf(file);
        const FileStart start(target);
        if (!start.isRead()) {
            return {FileDescription::Refused, whyNotLoaded(target, std::generic_category().message(start.reason()))};
        }
        if (!start.hasMark() && !start.mayBeBareDataset()) {
            const std::string problem = start.brokenPromise(target);
            return problem.empty() ? FileDescription{FileDescription::NotForADirectory}
                                   : FileDescription{FileDescription::Refused, problem};
        }
        return read(target, start.hasMark());
    }

  private:
    std::string mFolder;
    FolderWalk mWalk;
    LeftOut mLeftOut{};
};

class FolderLister : public FolderReading {
  public:
    explicit FolderLister(const std::string& folder) : mFiles(folder) {}

    std::size_t fileCount() const override { return mFiles.count(); }
    std::string path(std::size_t file) const override { return mFiles.userPathOf(file); }
    LeftOut leftOut() const override { return mFiles.leftOut(); }
    FileDescription describe(std::size_t file) override { return mFiles.describe(file, listFile); }

  private:
    const KnownTypes mKnownTypes{};
    FolderFiles mFiles;
};

class FolderIndexer : public FolderIndexing {
  public:
    FolderIndexer(const std::string& folder, IndexTarget& target)
        : mFiles(folder), mTarget(target), mBuilder(mTarget.draft()) {
        mIndex.leftOut = mFiles.leftOut();
    }

    std::size_t fileCount() const override { return mFiles.count(); }
    std::string path(std::size_t file) const override { return mFiles.userPathOf(file); }
    LeftOut leftOut() const override { return mFiles.leftOut(); }

    FileDescription describe(std::size_t file) override {
        // The records of another file can be relied on only if it was described right before this one.
        if (file == 0 || mDescribed != file - 1) {
            mBefore.reset();
        }
        mDescribed = file;
        FileDescription description = describe(file, mBefore ? &*mBefore : nullptr);
        if (description.outcome == FileDescription::Described && !description.series.empty()) {
            mBefore = description;
        }
        return description;
    }

    void take(std::size_t file, const FileDescription& description) override {
        switch (description.outcome) {
        case FileDescription::NotForADirectory: ++mIndex.leftOut.skippedCount; break;
        case FileDescription::Refused: refuse(file, description.reason); break;
        default: add(file, description);
        }
    }

    FolderIndex finish() override {
        if (!mIndex.files.empty()) {
            mBuilder.write();
            mIndex.dicomdir = mTarget.publish();
        }
        mIndex.patientCount = mBuilder.patientCount();
        mIndex.studyCount = mBuilder.studyCount();
        mIndex.seriesCount = mBuilder.seriesCount();
        return std::move(mIndex);
    }

  private:
    FileDescription describe(std::size_t file, const FileDescription* before) const {
        return mFiles.describe(
            file, [before](const std::string& target, bool hasMark) { return describeFile(target, hasMark, before); });
    }

    void refuse(std::size_t file, const std::string& reason) {
        mIndex.leftOut.refused.push_back({mFiles.userPathOf(file), reason});
    }

    void add(std::size_t file, const FileDescription& description) {
        const std::string target = mFiles.targetOf(file);
        const std::string fileId = mTarget.fileIdFor(target);
        try {
            // The file before, whose records this one relies on, may have been refused meanwhile.
            mBuilder.add(mBuilder.lacksRecords(description) ? describe(file, nullptr) : description, fileId);
        } catch (const std::runtime_error& error) {
            return refuse(file, error.what());
        }
        mTarget.link(fileId, target);
        mIndex.files.push_back({fileId, mFiles.userPathOf(file)});
    }

    const KnownTypes mKnownTypes{};
    FolderFiles mFiles;
    IndexTarget& mTarget;
    DirectoryBuilder mBuilder;
    FolderIndex mIndex{};
    std::size_t mDescribed = 0;
    std::optional<FileDescription> mBefore{};
};

} // namespace

std::unique_ptr<FolderReading> startListing(const std::string& folder) {
    silenceDcmtk();
    return std::make_unique<FolderLister>(folder);
}

std::unique_ptr<FolderIndexing> startIndexing(const std::string& folder, IndexTarget& target) {
    silenceDcmtk();
    return std::make_unique<FolderIndexer>(folder, target);
}

} // namespace radvex::media
