#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcmetinf.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "dcmtk/dcmdata/dcxfer.h"
#include "deidentify/Anonymization.h"
#include "deidentify/identifiers/AsciiText.h"
#include "deidentify/identifiers/ByteSearch.h"
#include "deidentify/pixels/PixelRisks.h"
#include "deidentify/rewriting/DatasetWalk.h"
#include "deidentify/rewriting/IdentifierCollector.h"
#include "deidentify/rewriting/Identities.h"
#include "deidentify/rewriting/MethodAttributes.h"
#include "deidentify/rewriting/OutputPath.h"
#include "deidentify/rewriting/ProfileRewriter.h"
#include "deidentify/rewriting/TextReplacement.h"
#include "media/dicomdir/DcmtkSettings.h"
#include "media/dicomdir/DicomIo.h"
#include "media/dicomdir/DirectoryBuilder.h"
#include "media/dicomdir/FileRecords.h"
#include "media/scan/FileDiagnosis.h"
#include "media/scan/FileStart.h"

namespace radvex::deidentify {

namespace {

GivenValues givenValues(const std::vector<GivenValue>& given) {
    GivenValues values;
    for (const GivenValue& value : given) {
        const DcmTagKey key(value.group, value.element);
        requireFitting(key, value.value);
        values[key] = value.value;
    }
    return values;
}

bool isDeflated(DcmFileFormat& file) {
    return DcmXfer(file.getDataset()->getOriginalXfer()).getStreamCompression() != ESC_none;
}

/// All that makes files of two runs differ, but for their key.
std::string settingsText(const ProfileSettings& profile, const GivenValues& given) {
    std::string text = profile.options.describe() + '\0' + profile.masks + '\0' + (profile.isStrict ? "strict" : "");
    for (const std::string& word : profile.acceptedPixels) {
        text.append(1, '\0').append(word);
    }
    for (const KeptPrivate& kept : profile.keptPrivates) {
        text.append(1, '\0')
            .append(kept.creator)
            .append(1, '\0')
            .append(std::to_string(kept.group * 256 + kept.element));
    }
    for (const auto& [key, value] : given) {
        text.append(1, '\0').append(key.toString()).append(value);
    }
    return text;
}

/// What tells the instance from others, where its dataset has no SOPInstanceUID: what the meta information says, or
/// all bytes of the file.
std::string instanceOf(DcmFileFormat& file, const std::string& path) {
    OFString uid;
    (void)file.getMetaInfo()->findAndGetOFString(DCM_MediaStorageSOPInstanceUID, uid);
    if (!uid.empty() || file.getDataset()->tagExistsWithValue(DCM_SOPInstanceUID)) {
        return {uid.c_str(), uid.size()};
    }
    std::ifstream bytes(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(bytes), std::istreambuf_iterator<char>()};
}

class AnonymizationRun : public Anonymization {
  public:
    explicit AnonymizationRun(AnonymizationSettings settings)
        : mIsIndependent(settings.isIndependent),
          mPseudonyms(settings.key.empty() ? Pseudonyms::randomKey() : settings.key),
          mGiven(givenValues(settings.given)),
          mProfile(std::move(settings.profile)),
          mIdentities(mPseudonyms, mGiven) {
        media::silenceDcmtk();
        if (mProfile && !mProfile->masks.empty()) {
            mMasks = MaskRules::parse(mProfile->masks, mProfile->masksName);
        }
        if (mProfile) {
            mSettingsMark = mPseudonyms.id("settings", settingsText(*mProfile, mGiven)).substr(0, 8);
        }
    }

    media::FolderWalk list(const std::string& folder) override { return media::walkFolder(folder); }

    FileKind kindOf(const std::string& path) override {
        const media::FileStart start(path);
        if (!start.isRead()) {
            throw std::runtime_error(media::whyNotLoaded(path, std::generic_category().message(start.reason())));
        }
        return start.isDirectory()        ? FileKind::Directory
               : start.hasMark()          ? FileKind::Dicom
               : start.mayBeBareDataset() ? FileKind::MaybeDicom
                                          : FileKind::Other;
    }

    void map(const std::string& original, const std::string& written, const std::string& mapped,
             std::vector<Change>* changes) override {
        const media::KnownTypes knownTypes;
        DcmFileFormat before;
        DcmFileFormat after;
        media::loadDicom(before, original);
        media::loadDicom(after, written);
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
            media::saveDicom(after, mapped);
        }
    }

    Originals takeOriginals() override {
        mFinder = TextFinder();
        mLearned = 0;
        return mIdentities.takeOriginals();
    }

    void addOriginals(Originals originals) override { mIdentities.add(std::move(originals)); }

    bool clean(const std::string& path, std::vector<Change>* changes) override {
        const media::KnownTypes knownTypes;
        learnTexts();
        if (mIsIndependent) {
            return !holdsIdentifier(path);
        }
        const bool isFound = mFinder.isIn(path);
        DcmFileFormat file;
        media::loadDicom(file, path);
        if (!isFound && !isDeflated(file)) { // the bytes of a deflated file show no text
            return true;
        }
        if (replaceIdentifiers(file, mFinder, mIdentities, changes)) {
            const std::string cleaned = path + ".cleaned";
            media::saveDicom(file, cleaned);
            std::filesystem::rename(cleaned, path);
        }
        return !holdsIdentifier(path);
    }

    LearntFile learn(const std::string& original) override {
        const media::KnownTypes knownTypes;
        DcmFileFormat file;
        const auto source = media::loadDicomHead(file, original);
        LearntFile learnt = learnIdentifiers(file, profile().options, mDecoder);
        media::requireRead(*source);
        return learnt;
    }

    void know(KnownIdentifiers identifiers) override { mProfileFinder = IdentifierFinder(identifiers); }

    PatientPseudonym pseudonymOf(const std::string& patient) override {
        return deidentify::pseudonymOf(tools(), patient);
    }

    void assign(std::map<std::string, PatientPseudonym> pseudonyms) override { mAssigned = std::move(pseudonyms); }

    std::optional<Leaks> earlierResult(const std::string& path, const std::string& instance) override;

    RewrittenFile rewrite(const std::string& original, const std::string& rewritten) override {
        const media::KnownTypes knownTypes;
        DcmFileFormat file;
        const auto source = media::loadDicomHead(file, original); // pixels go from file to file
        const std::string instance = instanceOf(file, original);
        RewrittenFile result = applyProfile(file, tools(), mDecoder);
        ByteSearch search(mProfileFinder);
        std::optional<Identifier> found;
        media::saveDicom(file, rewritten, media::MetaInformation::New, mPseudonyms.uid(instance),
                         [&](std::string_view bytes) {
                             if (!found) {
                                 found = search.add(bytes);
                             }
                         });
        media::requireRead(*source);
        found = found ? found : search.finish();
        if (found) {
            result.leaks.insert(std::string("bytes of the file: ") + describe(found->kind));
        }
        return result;
    }

    std::string outputPath(const std::string& path) override {
        const auto shortWord = [this](const std::string& word) {
            return 'X' + mPseudonyms.id("word of a path", capitals(word)).substr(0, 7);
        };
        return pathWithoutIdentifiers(
            path, mProfileFinder,
            [&](const Identifier& identifier, std::string_view) {
                return identifier.kind == IdentifierKind::Uid         ? mPseudonyms.uid(identifier.text)
                       : identifier.kind == IdentifierKind::PatientId ? pseudonymOf(identifier.text).id
                                                                      : shortWord(identifier.text);
            },
            shortWord);
    }

    std::vector<std::string> acceptablePixels() override { return {pixelClasses().begin(), pixelClasses().end()}; }

    Leaks examine(const std::string& path) override {
        const media::KnownTypes knownTypes;
        DcmFileFormat file;
        media::loadDicom(file, path);
        return mIdentities.findLeaks(file);
    }

    bool holdsIdentifier(const std::string& path) override {
        if (mProfile) {
            return mProfileFinder.findInFile(path).has_value();
        }
        learnTexts();
        return mFinder.isIn(path);
    }

    bool showsIdentity(const std::string& path) override {
        if (mProfile) {
            return outputPath(path) != path;
        }
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
    std::vector<media::RefusedFile> writeDirectory(const std::string& path, const std::vector<Listed>& files) override;

  private:
    const ProfileSettings& profile() const {
        if (!mProfile) {
            throw std::logic_error("The run has no profile.");
        }
        return *mProfile;
    }

    ProfileTools tools() const {
        return {profile(), mGiven, mPseudonyms, mAssigned, mProfileFinder, mMasks, mSettingsMark};
    }

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
    Pseudonyms mPseudonyms;
    GivenValues mGiven;
    std::optional<ProfileSettings> mProfile;
    std::map<std::string, PatientPseudonym> mAssigned{};
    IdentifierFinder mProfileFinder{KnownIdentifiers{}};
    MaskRules mMasks{};
    std::string mSettingsMark{};
    TextDecoder mDecoder{};
    Identities mIdentities;
    TextFinder mFinder{};
    std::size_t mLearned = 0; ///< number of originals that the finder knows
};

std::optional<Leaks> AnonymizationRun::earlierResult(const std::string& path, const std::string& instance) {
    DcmFileFormat file;
    try {
        media::loadDicomHead(file, path);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    DcmDataset& dataset = *file.getDataset();
    OFString uid;
    (void)dataset.findAndGetOFString(DCM_SOPInstanceUID, uid);
    const bool keepsUids = profile().options.has(ProfileOption::Uids);
    const std::string expected = keepsUids ? instance : mPseudonyms.uid(instance);
    if (instance.empty() || expected != withoutPadding({uid.c_str(), uid.size()}) ||
        !isMadeWith(dataset, profile().options, mSettingsMark)) {
        return std::nullopt;
    }
    Leaks leaks = pixelLeaks(dataset, profile(), !mMasks.matching(dataset).empty());
    if (const auto found = mProfileFinder.findInFile(path)) {
        leaks.insert(std::string("bytes of the file: ") + describe(found->kind));
    }
    return leaks;
}

std::vector<std::string> AnonymizationRun::fileIdsOf(const std::string& dicomdir) {
    DcmFileFormat file;
    media::loadDicom(file, dicomdir);
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

std::vector<media::RefusedFile> AnonymizationRun::writeDirectory(const std::string& path,
                                                                 const std::vector<Listed>& files) {
    const media::KnownTypes knownTypes;
    media::DirectoryBuilder builder(path);
    std::vector<media::RefusedFile> refused;
    for (const Listed& file : files) {
        std::string fileId = file.fileId;
        std::replace(fileId.begin(), fileId.end(), '/', '\\');
        const media::FileDescription description = media::describeFile(file.path, true);
        if (description.outcome != media::FileDescription::Described) {
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
    return std::make_unique<AnonymizationRun>(std::move(settings));
}

} // namespace radvex::deidentify
