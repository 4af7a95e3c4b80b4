#include "media/dicomdir/FolderIndexer.h"

#include <optional>
#include <stdexcept>
#include <system_error>

#include "media/FileDiagnosis.h"
#include "media/FileStart.h"
#include "media/FolderWalk.h"
#include "media/dicomdir/DcmtkSettings.h"
#include "media/dicomdir/DirectoryBuilder.h"
#include "media/dicomdir/FileRecords.h"
#include "media/dicomdir/IndexOutput.h"

namespace radvex::media {

namespace {

std::string below(const std::string& folder, const std::string& path) {
    return folder.ends_with('/') ? folder + path : folder + '/' + path;
}

class FolderIndexer : public FolderIndexing {
  public:
    FolderIndexer(const std::string& folder, const std::string& output)
        : mFolder(folder), mWalk(walkFolder(folder)), mOutput(output), mBuilder(mOutput.draft()) {
        mIndex.skippedCount = mWalk.specialCount;
        for (const RefusedFile& file : mWalk.refused) {
            mIndex.refused.push_back({below(mFolder, file.path), file.reason});
        }
    }

    std::size_t fileCount() const override { return mWalk.files.size(); }

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

    FileDescription describe(std::size_t file, const FileDescription* before) const {
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
        return describeFile(target, start.hasMark(), before);
    }

    void take(std::size_t file, const FileDescription& description) override {
        switch (description.outcome) {
        case FileDescription::NotForADirectory: ++mIndex.skippedCount; break;
        case FileDescription::Refused: refuse(file, description.reason); break;
        default: add(file, description);
        }
    }

    FolderIndex finish() override {
        if (!mIndex.files.empty()) {
            mBuilder.write();
            mIndex.dicomdir = mOutput.publish();
        }
        mIndex.patientCount = mBuilder.patientCount();
        mIndex.studyCount = mBuilder.studyCount();
        mIndex.seriesCount = mBuilder.seriesCount();
        return std::move(mIndex);
    }

  private:
    std::string targetOf(std::size_t file) const { return below(mWalk.root, mWalk.files.at(file)); }
    std::string userPathOf(std::size_t file) const { return below(mFolder, mWalk.files.at(file)); }

    void refuse(std::size_t file, const std::string& reason) { mIndex.refused.push_back({userPathOf(file), reason}); }

    void add(std::size_t file, const FileDescription& description) {
        const std::string target = targetOf(file);
        const std::string fileId = mOutput.fileIdFor(target);
        try {
            // The file before, whose records this one relies on, may have been refused meanwhile.
            mBuilder.add(mBuilder.lacksRecords(description) ? describe(file, nullptr) : description, fileId);
        } catch (const std::runtime_error& error) {
            return refuse(file, error.what());
        }
        mOutput.link(fileId, target);
        mIndex.files.push_back({fileId, userPathOf(file)});
    }

    const KnownTypes mKnownTypes{};
    std::string mFolder;
    FolderWalk mWalk;
    IndexOutput mOutput;
    DirectoryBuilder mBuilder;
    FolderIndex mIndex{};
    std::size_t mDescribed = 0;
    std::optional<FileDescription> mBefore{};
};

} // namespace

std::unique_ptr<FolderIndexing> startIndexing(const std::string& folder, const std::string& output) {
    silenceDcmtk();
    return std::make_unique<FolderIndexer>(folder, output);
}

} // namespace radvex::media
