#include <algorithm>
#include <cctype>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "Anonymization.h"
#include "BasicProfile.h"
#include "DcmtkSettings.h"
#include "DicomIo.h"
#include "DirectoryBuilder.h"
#include "FileStart.h"
#include "Identities.h"
#include "Leaks.h"
#include "TextReplacement.h"
#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "dcmtk/dcmdata/dcxfer.h"

namespace radvex::study {

namespace {

GivenValues givenValues(const std::vector<GivenValue>& given) {
    GivenValues values;
    for (const GivenValue& value : given) {
        values[DcmTagKey(value.group, value.element)] = value.value;
    }
    return values;
}

bool isDeflated(DcmFileFormat& file) {
    return DcmXfer(file.getDataset()->getOriginalXfer()).getStreamCompression() != ESC_none;
}

std::string capitals(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char character) { return static_cast<char>(std::toupper(character)); });
    return text;
}

class Run : public Anonymization {
  public:
    explicit Run(AnonymizationSettings settings)
        : mIsIndependent(settings.isIndependent),
          mIdentities(Pseudonyms(settings.key.empty() ? Pseudonyms::randomKey() : std::move(settings.key)),
                      givenValues(settings.given)) {
        silenceDcmtk();
    }

    FolderWalk list(const std::string& folder) override { return walkFolder(folder); }

    FileKind kindOf(const std::string& path) override {
        const FileStart start(path);
        if (!start.isRead()) {
            throw std::runtime_error("it cannot be read: " + std::generic_category().message(start.reason()));
        }
        return start.isDirectory()        ? FileKind::Directory
               : start.hasMark()          ? FileKind::Dicom
               : start.mayBeBareDataset() ? FileKind::MaybeDicom
                                          : FileKind::Other;
    }

    void map(const std::string& original, const std::string& written, const std::string& mapped,
             std::vector<Change>* changes) override {
        const KnownTypes knownTypes;
        DcmFileFormat before;
        DcmFileFormat after;
        loadDicom(before, original);
        loadDicom(after, written);
        if (mIsIndependent) {
            mIdentities.remember(before);
        } else {
            mIdentities.map(before, after);
        }
        if (changes != nullptr) {
            collectChanges(before, after, *changes);
        }
        if (mIsIndependent) {
            std::filesystem::rename(written, mapped);
        } else {
            saveDicom(after, mapped);
        }
    }

    Originals takeOriginals() override {
        mFinder = TextFinder();
        mLearned = 0;
        return mIdentities.takeOriginals();
    }

    void addOriginals(Originals originals) override { mIdentities.add(std::move(originals)); }

    bool clean(const std::string& path, std::vector<Change>* changes) override {
        const KnownTypes knownTypes;
        learnTexts();
        if (mIsIndependent) {
            return !holdsIdentifier(path);
        }
        const bool isFound = mFinder.isIn(path);
        DcmFileFormat file;
        loadDicom(file, path);
        if (!isFound && !isDeflated(file)) { // in the bytes of a deflated file there is nothing to be found
            return true;
        }
        if (replaceIdentifiers(file, mFinder, mIdentities.originals(), mIdentities.given(), changes)) {
            const std::string cleaned = path + ".cleaned";
            saveDicom(file, cleaned);
            std::filesystem::rename(cleaned, path);
        }
        return !holdsIdentifier(path);
    }

    std::set<Leak> examine(const std::string& path) override {
        const KnownTypes knownTypes;
        DcmFileFormat file;
        loadDicom(file, path);
        return findLeaks(file, mIdentities.originals(), mIdentities.given());
    }

    bool holdsIdentifier(const std::string& path) override {
        learnTexts();
        return mFinder.isIn(path);
    }

    bool showsIdentity(const std::string& path) override {
        constexpr std::size_t kShortestId = 4; // shorter ones are parts of too many names
        const std::string shown = capitals(path);
        const auto isShown = [&](const std::string& text) { return shown.find(capitals(text)) != std::string::npos; };
        const auto& ids = mIdentities.originals().ids;
        const auto& names = mIdentities.originals().names;
        return std::any_of(names.begin(), names.end(), isShown) ||
               std::any_of(ids.begin(), ids.end(),
                           [&](const std::string& id) { return id.size() >= kShortestId && isShown(id); });
    }

    std::vector<std::string> fileIdsOf(const std::string& dicomdir) override;
    std::vector<RefusedFile> writeDirectory(const std::string& path, const std::vector<Listed>& files) override;
    Profile basicProfile() override { return basicProfileRules(); }

  private:
    void learnTexts() {
        const auto& newOf = mIdentities.originals().newOf;
        if (mLearned != newOf.size()) {
            for (const auto& [before, after] : newOf) {
                mFinder.add(before);
            }
            mLearned = newOf.size();
        }
    }

    bool mIsIndependent;
    Identities mIdentities;
    TextFinder mFinder{};
    std::size_t mLearned = 0;
};

std::vector<std::string> Run::fileIdsOf(const std::string& dicomdir) {
    DcmFileFormat file;
    loadDicom(file, dicomdir);
    DcmSequenceOfItems* records = nullptr;
    std::vector<std::string> fileIds;
    std::set<std::string> known;
    if (file.getDataset()->findAndGetSequence(DCM_DirectoryRecordSequence, records).bad()) {
        return fileIds;
    }
    for (DcmObject* object = records->nextInContainer(nullptr); object != nullptr;
         object = records->nextInContainer(object)) {
        OFString value;
        auto* record = dynamic_cast<DcmItem*>(object);
        if (record == nullptr || record->findAndGetOFStringArray(DCM_ReferencedFileID, value).bad() || value.empty()) {
            continue;
        }
        std::string fileId(value.c_str(), value.size());
        std::replace(fileId.begin(), fileId.end(), '\\', '/');
        if (known.insert(fileId).second) {
            fileIds.push_back(fileId);
        }
    }
    return fileIds;
}

std::vector<RefusedFile> Run::writeDirectory(const std::string& path, const std::vector<Listed>& files) {
    const KnownTypes knownTypes;
    DirectoryBuilder builder(path);
    std::vector<RefusedFile> refused;
    for (const Listed& file : files) {
        std::string fileId = file.fileId;
        std::replace(fileId.begin(), fileId.end(), '/', '\\');
        const FileDescription description = describeFile(file.path, true);
        if (description.outcome != FileDescription::Described) {
            refused.push_back({file.path, description.reason});
            continue;
        }
        try {
            builder.add(description, fileId);
        } catch (const std::runtime_error& error) {
            refused.push_back({file.path, error.what()});
        }
    }
    builder.write();
    return refused;
}

} // namespace

std::unique_ptr<Anonymization> startAnonymization(AnonymizationSettings settings) {
    return std::make_unique<Run>(std::move(settings));
}

} // namespace radvex::study
