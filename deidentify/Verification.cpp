#include "deidentify/Verification.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <functional>
#include <unordered_set>

#include "deidentify/Anonymizer.h"
#include "deidentify/InstanceTree.h"
#include "deidentify/identifiers/AsciiText.h"
#include "files/Errors.h"
#include "media/DatasetsModule.h"
#include "media/scan/FileDiagnosis.h"
#include "workers/Parcel.h"

namespace radvex::deidentify {

namespace {

namespace fs = std::filesystem;

struct FoundFile {
    std::string path{};
    std::string name{}; ///< relative to the folder
    FileKind kind = FileKind::Other;
};

std::unique_ptr<FileCheck> openCheck(const CheckSettings& settings) {
    const auto start =
        reinterpret_cast<StartCheckEntry>(media::datasetsEntry(kStartCheckEntry, "Files cannot be checked"));
    std::unique_ptr<FileCheck> check;
    start(settings, check);
    return check;
}

void add(ProfileOptions& options, const ProfileOptions& more) {
    for (const ProfileOptionNames& names : profileOptionNames()) {
        if (more.has(names.option)) {
            options.choose(names.option);
        }
    }
}

/// Whether a key of a record, where both have one, is that of the file.
bool agree(ValueHash record, ValueHash file) { return record == 0 || file == 0 || record == file; }

bool agree(const InstanceFacts& record, const InstanceFacts& file) {
    return agree(record.patientId, file.patientId) && agree(record.study, file.study) &&
           agree(record.series, file.series) && agree(record.instance, file.instance);
}

using Files = std::vector<FoundFile>;

Files instancesOf(Files files) {
    std::erase_if(
        files, [](const FoundFile& file) { return file.kind == FileKind::Other || file.kind == FileKind::Directory; });
    return files;
}

class Work {
  public:
    explicit Work(const VerificationSettings& settings)
        : mSettings(settings), mLooker(openAnonymization({})), mCheck(openCheck(settings.check)) {}

    VerificationResult run(const std::string& originals, const std::string& output);

  private:
    /// Works on one file and returns a parcel, in a process of its own when there are several.
    using Step = std::function<std::string(const FoundFile& file)>;
    using Take = std::function<void(const FoundFile& file, const std::string& parcel)>;

    Files filesIn(const std::string& path);
    void addFile(Files& files, const std::string& path, const std::string& name);
    void forEach(const std::string& what, const Files& files, const Step& step, const Take& take);
    void readClaims(const Files& files);
    void readOriginals(const Files& files);
    void takeOriginal(OriginalFile original);
    void checkFiles(const Files& files);
    void takeChecked(const FoundFile& file, CheckedFile checked);
    void compareDirectories();
    void compareRecord(const fs::path& folder, const ListedRecord& record, std::set<std::string>& findings) const;

    const VerificationSettings& mSettings;
    std::unique_ptr<Anonymization> mLooker;
    std::unique_ptr<FileCheck> mCheck;
    KnownOriginals mKnown{};
    std::unordered_set<ValueHash> mValues{};
    InstanceTree mOriginalTree{};
    InstanceTree mTree{};
    std::map<std::string, InstanceFacts> mFactsOf{}; ///< of the files that a directory may list, by small letters
    std::map<std::string, std::vector<ListedRecord>> mDirectories{}; ///< by the name of the directory
    bool mHasDirectory = false;
    ProfileOptions mClaimed{}; ///< by any of the files
    VerificationResult mResult{};
};

void Work::addFile(Files& files, const std::string& path, const std::string& name) {
    try {
        files.push_back({path, name, mLooker->kindOf(path)});
    } catch (const std::runtime_error& error) {
        mResult.errors.push_back(media::sentenceAbout(path, error.what()));
    }
}

Files Work::filesIn(const std::string& path) {
    std::error_code error;
    Files files;
    std::string folder = fs::is_directory(path, error) ? path : "";
    if (folder.empty()) {
        if (!fs::is_regular_file(path, error)) {
            throw FileError(path + " is neither a file nor a folder that can be read.");
        }
        addFile(files, path, fs::path(path).filename().string());
        if (files.empty() || files.front().kind != FileKind::Directory) {
            return files;
        }
        folder = fs::path(path).has_parent_path() ? fs::path(path).parent_path().string() : ".";
        files.clear();
    }
    media::FolderWalk walk;
    try {
        walk = mLooker->list(folder);
    } catch (const std::runtime_error& failure) {
        throw FileError(failure.what());
    }
    for (const media::RefusedFile& refused : walk.refused) {
        mResult.errors.push_back(media::sentenceAbout((fs::path(folder) / refused.path).string(), refused.reason));
    }
    for (const std::string& name : walk.files) {
        addFile(files, (fs::path(folder) / name).string(), name);
    }
    return files;
}

void Work::forEach(const std::string& what, const Files& files, const Step& step, const Take& take) {
    workers::Workers workers(std::min(mSettings.jobs, files.size()), [&](std::size_t index) {
        try {
            return step(files[index]);
        } catch (const std::exception& error) {
            throw std::runtime_error(std::string(error.what()) + '.');
        }
    });
    workers.run(0, files.size(), [&](std::size_t index, const workers::WorkResult& result) {
        const FoundFile& file = files[index];
        if (result.isDone()) {
            take(file, result.output);
        } else if (file.kind != FileKind::MaybeDicom || !result.end.empty()) {
            mResult.errors.push_back(media::sentenceAbout(file.path, result.problem()));
            mResult.failedCount += 1;
        }
        mSettings.progress(what, index + 1, files.size());
    });
}

/// What identifies somebody depends on the options, so that these are needed before the originals are read.
void Work::readClaims(const Files& files) {
    if (mSettings.check.options) {
        mKnown.options.push_back(*mSettings.check.options);
        return;
    }
    std::set<std::array<bool, kProfileOptionCount>> claimed;
    const VerificationResult before = mResult; // what cannot be read is said when it is checked
    forEach(
        "Reading what files claim", files,
        [this](const FoundFile& file) { return workers::toParcel(mCheck->claimsOf(file.path)); },
        [&](const FoundFile&, const std::string& parcel) {
            claimed.insert(workers::fromParcel<ProfileOptions>(parcel).chosen);
        });
    mResult = before;
    ProfileOptions all;
    for (const auto& chosen : claimed) {
        add(all, {chosen});
    }
    claimed.insert(all.chosen); // a directory is judged by these
    for (const auto& chosen : claimed) {
        mKnown.options.push_back({chosen});
    }
}

void Work::takeOriginal(OriginalFile original) {
    mKnown.identifiers.resize(mKnown.options.size());
    for (std::size_t index = 0; index < original.identifiers.size(); ++index) {
        mKnown.identifiers[index].merge(std::move(original.identifiers[index]));
    }
    mValues.insert(original.values.begin(), original.values.end());
    mOriginalTree.add(original.facts);
    ++mResult.originalCount;
}

void Work::readOriginals(const Files& files) {
    forEach(
        "Reading originals", files,
        [this](const FoundFile& file) { return workers::toParcel(mCheck->learn(file.path, mKnown.options)); },
        [this](const FoundFile&, const std::string& parcel) {
            takeOriginal(workers::fromParcel<OriginalFile>(parcel));
        });
    mResult.failedCount = 0; // only those of the output are counted
    mKnown.identifiers.resize(mKnown.options.size());
    mKnown.values.assign(mValues.begin(), mValues.end());
    std::ranges::sort(mKnown.values);
    mValues.clear();
    mCheck->know(std::move(mKnown));
}

void Work::checkFiles(const Files& files) {
    forEach(
        "Checking", files,
        [this](const FoundFile& file) {
            const auto search = [&] { return workers::toParcel(mCheck->search(file.path, file.name)); };
            if (file.kind == FileKind::Other) {
                return search();
            }
            try {
                return workers::toParcel(mCheck->check(file.path, file.name, mClaimed));
            } catch (const std::exception&) {
                if (file.kind != FileKind::MaybeDicom) {
                    throw;
                }
                return search(); // it only begins like a dataset
            }
        },
        [this](const FoundFile& file, const std::string& parcel) {
            takeChecked(file, workers::fromParcel<CheckedFile>(parcel));
        });
}

void Work::takeChecked(const FoundFile& file, CheckedFile checked) {
    const bool isInstance = checked.facts.patient != 0 || checked.facts.instance != 0 || checked.facts.study != 0;
    const bool isDicom = isInstance || file.kind == FileKind::Dicom || file.kind == FileKind::Directory;
    (isDicom ? mResult.checkedCount : mResult.otherCount) += 1;
    if (isDicom && file.kind != FileKind::Directory) {
        ++mResult.profiles[checked.options.describe()];
        add(mClaimed, checked.options);
        mTree.add(checked.facts);
        if (mHasDirectory) {
            checked.facts.references.clear();
            mFactsOf.insert_or_assign(smallLetters(file.name), std::move(checked.facts));
        }
    }
    if (file.kind == FileKind::Directory) {
        mDirectories.insert_or_assign(file.name, std::move(checked.records));
    }
    if (!checked.findings.empty() || !checked.pixels.empty() || !checked.hints.empty()) {
        mResult.files.push_back({file.name, checked.showsIdentity, std::move(checked.findings),
                                 std::move(checked.pixels), std::move(checked.hints)});
    }
}

void Work::compareRecord(const fs::path& folder, const ListedRecord& record, std::set<std::string>& findings) const {
    const fs::path listed = (folder / record.fileId).lexically_normal();
    const auto file = mFactsOf.find(smallLetters(listed.string()));
    if (file == mFactsOf.end()) {
        findings.insert("directory lists a file that is not there");
    } else if (!agree(record.keys, file->second)) {
        findings.insert("directory has other keys than a file that it lists");
    }
}

void Work::compareDirectories() {
    for (const auto& [name, records] : mDirectories) {
        std::set<std::string> findings;
        for (const ListedRecord& record : records) {
            compareRecord(fs::path(name).parent_path(), record, findings);
        }
        if (findings.empty()) {
            continue;
        }
        const auto known = std::ranges::find(mResult.files, name, &VerifiedFile::name);
        if (known == mResult.files.end()) {
            mResult.files.push_back({.name = name, .findings = std::move(findings)});
        } else {
            known->findings.merge(findings);
        }
    }
}

VerificationResult Work::run(const std::string& originals, const std::string& output) {
    Files files = filesIn(output);
    mResult.failedCount = mResult.errors.size();
    const std::size_t failedCount = mResult.failedCount;
    mHasDirectory = std::ranges::any_of(files, [](const FoundFile& file) { return file.kind == FileKind::Directory; });
    if (!originals.empty()) {
        readClaims(instancesOf(files));
        readOriginals(instancesOf(filesIn(originals)));
        mResult.hasOriginals = true;
    }
    mResult.failedCount = failedCount;
    const auto directories = std::stable_partition(
        files.begin(), files.end(), [](const FoundFile& file) { return file.kind != FileKind::Directory; });
    checkFiles({files.begin(), directories});
    checkFiles({directories, files.end()});
    compareDirectories();
    mResult.differences = mTree.differencesFrom(mResult.hasOriginals ? &mOriginalTree : nullptr);
    return std::move(mResult);
}

} // namespace

bool VerificationResult::isClean() const {
    return errors.empty() && differences.empty() && checkedCount > 0 &&
           std::ranges::all_of(files,
                               [](const VerifiedFile& file) { return file.findings.empty() && file.pixels.empty(); });
}

VerificationResult verify(const std::string& originals, const std::string& output,
                          const VerificationSettings& settings) {
    return Work(settings).run(originals, output);
}

} // namespace radvex::deidentify
