#include "FolderIndex.h"

#include <system_error>

#include "DcmtkSettings.h"
#include "DirectoryBuilder.h"
#include "FileStart.h"
#include "FolderWalk.h"
#include "Placement.h"

namespace radvex::study {

namespace {

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
        const FileStart start(target);
        if (!start.isRead()) {
            refuse(path, "it cannot be read: " + std::generic_category().message(start.reason()));
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
