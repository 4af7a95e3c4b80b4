#include "deidentify/Anonymizer.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>

#include "deidentify/PseudonymTable.h"
#include "deidentify/identifiers/AsciiText.h"
#include "files/Errors.h"
#include "files/Interruption.h"
#include "files/StagingFolder.h"
#include "formats/json/Text.h"
#include "media/DatasetsModule.h"
#include "media/scan/FileDiagnosis.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::deidentify {

namespace {

namespace fs = std::filesystem;

/// What a worker sends for a file in the first round.
struct MadeFile {
    bool isDicom = false;
    std::string error{}; ///< a sentence; empty too for a file that is not DICOM
    Originals originals{};
    std::vector<Change> changes{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.isDicom, self.error, self.originals, self.changes);
    }
};

/// What a worker sends for a file in the second round.
struct CheckedFile {
    bool isClean = false; ///< the bytes hold no identifier of the run
    std::vector<Change> changes{};
    Leaks leaks{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.isClean, self.changes, self.leaks);
    }
};

/// What a worker sends for a file in the first round of a run with a profile.
struct LearntJob {
    bool isDicom = false;
    std::string error{}; ///< a sentence; empty too for a file that is not DICOM
    LearntFile file{};

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.isDicom, self.error, self.file);
    }
};

/// "I0000000": a name that is valid on every medium.
std::string neutralName(std::size_t index) {
    char name[24];
    std::snprintf(name, sizeof name, "I%07zu", index);
    return name;
}

/// A file that cannot be removed goes with the staging folder.
void removeFile(const std::string& path) {
    std::error_code ignored;
    fs::remove(path, ignored);
}

using FilesByName = std::map<std::string, const AnonymizedFile*>;

/// Returns nullptr when there is none.
const AnonymizedFile* fileNamed(const FilesByName& files, const std::string& name) {
    const auto found = files.find(name);
    return found == files.end() ? nullptr : found->second;
}

void requireFolder(const fs::path& path) {
    std::error_code error;
    fs::create_directories(path, error);
    if (error || !fs::is_directory(path, error)) {
        throw FileError(path.string() + " cannot be made: " +
                        (error ? error : std::make_error_code(std::errc::not_a_directory)).message() + ".");
    }
}

} // namespace

/// The steps of one run over one output folder.
class Anonymizer::Work {
  public:
    Work(Anonymizer& owner, std::string output, bool showsNames)
        : mOwner(owner),
          mOutput(std::move(output)),
          mShowsNames(showsNames),
          mStaging(owner.mOptions.isDryRun ? files::StagingFolder() : files::StagingFolder(mOutput)) {}

    void add(const std::string& source, const std::string& name, bool mayBeOther) {
        mJobs.push_back({mResult.files.size(), mStaging.file(std::to_string(mJobs.size())), mayBeOther});
        AnonymizedFile& file = mResult.files.emplace_back();
        file.source = source;
        file.name = name;
    }

    void addFailed(const std::string& source, const std::string& name, const std::string& reason) {
        AnonymizedFile& file = mResult.files.emplace_back();
        file.source = source;
        file.name = name;
        file.error = media::sentenceAbout(source, reason);
    }

    void addSkipped(std::size_t count = 1) { mResult.skippedCount += count; }

    /// The first round learns all identifiers of the run, the second one removes them from every file.
    void run(const std::string& what) {
        if (mOwner.mOptions.hasProfile) {
            runProfile(what);
        } else {
            runLibrary(what);
        }
        std::erase_if(mResult.files,
                      [](const AnonymizedFile& file) { return !file.isWritten && file.error.empty(); }); // skipped
    }

    /// Adds a DICOMDIR of the input. With neutral names one DICOMDIR lists all files.
    void addDirectory(const std::string& dicomdir, const std::string& name);
    /// Writes directories of the results of the files that the directories of the input list.
    void writeDirectories();

    AnonymizationResult takeResult() { return std::move(mResult); }
    Anonymization& rewriter() { return *mOwner.mRun; }

  private:
    struct Job {
        std::size_t file; ///< index in the files of the result
        std::string staged;
        bool mayBeOther; ///< may be no DICOM file: it is then skipped and not an error
        bool isMade = false;
        std::string instance{}; ///< SOPInstanceUID of the original
        std::string raw() const { return staged + ".raw"; }
    };
    /// Works on one file, in a worker when there are workers. Returns a parcel.
    using Step = std::function<std::string(std::size_t job)>;
    /// Takes the parcel, in this process.
    using Take = std::function<void(Job&, AnonymizedFile&, const std::string& parcel)>;

    std::string target(const AnonymizedFile& file) const { return (fs::path(mOutput) / file.name).string(); }

    void runLibrary(const std::string& what);
    void runProfile(const std::string& what);
    void forEachJob(const std::string& what, const Step& step, const Take& take);
    std::string learn(std::size_t index);
    void takeLearnt(Job& job, const std::string& parcel);
    void assignPseudonyms();
    void nameOutputs();
    bool isDone(const Job& job, AnonymizedFile& file);
    std::string rewrite(std::size_t index);
    void endWhenInterrupted() const;
    std::string make(std::size_t index);
    void take(Job& job, AnonymizedFile& file, const std::string& made);
    std::string check(std::size_t index);
    void finish(Job& job, AnonymizedFile& file, const std::string& found);
    void judge(AnonymizedFile& file, bool isClean);
    bool keepsChanges() const { return mOwner.mOptions.keepsChanges; }
    void publish(const std::string& staged, AnonymizedFile& file, bool mayReplace = false);
    using Listed = std::vector<Anonymization::Listed>;
    void writeDirectory(AnonymizedFile& directory, const Listed& listed);
    Listed listFiles(AnonymizedFile& directory) const;
    std::string fileIdOf(const AnonymizedFile& file, const AnonymizedFile& directory, const std::string& fileId) const;

    Anonymizer& mOwner;
    std::string mOutput;
    bool mShowsNames;       ///< names of the results come from the input
    bool mIsShared = false; ///< workers work on the files
    files::StagingFolder mStaging;
    files::Interruption mInterruption{};
    std::vector<Job> mJobs{};
    KnownIdentifiers mIdentifiers{};
    std::set<std::string> mPatients{};
    std::vector<AnonymizedFile> mDirectories{};
    AnonymizationResult mResult{};
};

void Anonymizer::Work::endWhenInterrupted() const {
    if (mInterruption.signal() != 0) {
        throw EndedBySignal(mInterruption.signal(), "Interrupted. In " + mOutput + ": " +
                                                        std::to_string(mResult.writtenCount()) + " of " +
                                                        formats::counted(mResult.files.size(), "file", "files") + ".");
    }
}

void Anonymizer::Work::forEachJob(const std::string& what, const Step& step, const Take& take) {
    mIsShared = mJobs.size() > 1 && mOwner.mOptions.jobs > 0;
    workers::Workers workers(mIsShared ? mOwner.mOptions.jobs : 0, [&](std::size_t job) {
        if (mIsShared) {
            mStaging.leaveToOwner();
        }
        return step(job);
    });
    endWhenInterrupted();
    workers.run(0, mJobs.size(), [&](std::size_t index, const workers::WorkResult& result) {
        Job& job = mJobs[index];
        AnonymizedFile& file = mResult.files[job.file];
        try {
            if (!result.isDone()) {
                throw FileError(result.problem());
            }
            take(job, file, result.output);
        } catch (const FileError& error) {
            file.error = media::sentenceAbout(file.source, error.what());
            removeFile(job.staged);
            removeFile(job.raw());
        }
        mOwner.mOptions.progress(what, index + 1, mJobs.size());
        endWhenInterrupted();
    });
}

void Anonymizer::Work::runLibrary(const std::string& what) {
    forEachJob(
        "Anonymizing " + what, [this](std::size_t job) { return make(job); },
        [this](Job& job, AnonymizedFile& file, const std::string& made) { take(job, file, made); });
    std::erase_if(mJobs, [](const Job& job) { return !job.isMade; });
    forEachJob(
        "Checking " + what, [this](std::size_t job) { return check(job); },
        [this](Job& job, AnonymizedFile& file, const std::string& found) { finish(job, file, found); });
}

void Anonymizer::Work::runProfile(const std::string& what) {
    forEachJob(
        "Reading " + what, [this](std::size_t job) { return learn(job); },
        [this](Job& job, AnonymizedFile&, const std::string& parcel) { takeLearnt(job, parcel); });
    std::erase_if(mJobs, [](const Job& job) { return !job.isMade; });
    rewriter().know(std::move(mIdentifiers));
    assignPseudonyms();
    nameOutputs();
    std::erase_if(mJobs, [this](const Job& job) { return isDone(job, mResult.files[job.file]); });
    forEachJob(
        "De-identifying " + what, [this](std::size_t job) { return rewrite(job); },
        [this](Job& job, AnonymizedFile& file, const std::string& parcel) {
            auto rewritten = workers::fromParcel<RewrittenFile>(parcel);
            file.steps = std::move(rewritten.steps);
            file.leaks = std::move(rewritten.leaks);
            judge(file, true);
            // Nothing tells whether a file without an instance is done: it is done again.
            publish(job.staged, file, mOwner.mOptions.resumes && job.instance.empty());
        });
}

std::string Anonymizer::Work::learn(std::size_t index) {
    const Job& job = mJobs[index];
    LearntJob learnt;
    try {
        learnt.file = rewriter().learn(mResult.files[job.file].source);
        learnt.isDicom = true;
    } catch (const std::exception& error) {
        learnt.error = job.mayBeOther ? "" : std::string(error.what()) + '.';
    }
    return workers::toParcel(learnt);
}

void Anonymizer::Work::takeLearnt(Job& job, const std::string& parcel) {
    auto learnt = workers::fromParcel<LearntJob>(parcel);
    if (!learnt.error.empty()) {
        throw FileError(learnt.error);
    }
    job.isMade = learnt.isDicom;
    if (!learnt.isDicom) {
        addSkipped();
        return;
    }
    job.instance = learnt.file.instance;
    mIdentifiers.merge(std::move(learnt.file.identifiers));
    mPatients.merge(learnt.file.patients);
}

void Anonymizer::Work::assignPseudonyms() {
    if (!mOwner.mOptions.pseudonyms.empty()) {
        rewriter().assign(pseudonymsOf(mOwner.mOptions.pseudonyms, mPatients, !mOwner.mOptions.isDryRun,
                                       [this](const std::string& patient) { return rewriter().pseudonymOf(patient); }));
    }
}

/// Names of the output without identifiers. Two that become alike are told apart by a number.
void Anonymizer::Work::nameOutputs() {
    if (!mShowsNames) {
        return;
    }
    std::set<std::string> taken;
    for (AnonymizedFile& file : mResult.files) {
        const std::string name = rewriter().outputPath(file.name);
        file.name = name;
        for (int number = 2; !taken.insert(file.name).second; ++number) {
            const fs::path path(name);
            file.name =
                (path.parent_path() / path.stem()).string() + '-' + std::to_string(number) + path.extension().string();
        }
    }
    for (AnonymizedFile& directory : mDirectories) {
        directory.name = rewriter().outputPath(directory.name);
    }
}

bool Anonymizer::Work::isDone(const Job& job, AnonymizedFile& file) {
    std::error_code error;
    if (!mOwner.mOptions.resumes || !fs::is_regular_file(target(file), error)) {
        return false;
    }
    auto leaks = rewriter().earlierResult(target(file), job.instance);
    if (!leaks) {
        return false;
    }
    file.leaks = std::move(*leaks);
    file.isWritten = true;
    file.isEarlier = true;
    return true;
}

std::string Anonymizer::Work::rewrite(std::size_t index) {
    const Job& job = mJobs[index];
    try {
        return workers::toParcel(rewriter().rewrite(mResult.files[job.file].source, job.staged));
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string(error.what()) + '.');
    }
}

std::string Anonymizer::Work::make(std::size_t index) {
    const Job& job = mJobs[index];
    const AnonymizedFile& file = mResult.files[job.file];
    const std::string raw = job.raw();
    MadeFile made;
    try {
        // DCMTK takes "-" for the standard input.
        const std::string source = file.source == "-" ? "./-" : file.source;
        mOwner.mHost.call("DicomAnonymize", {source, raw, mOwner.mRules});
        rewriter().map(source, raw, job.staged, keepsChanges() ? &made.changes : nullptr);
        made.isDicom = true;
    } catch (const velmora::LibraryError& error) {
        const bool isOther = job.mayBeOther && error.name() == "OpenFileError";
        made.error = isOther ? "" : media::explain(error, file.source, file.source);
    } catch (const velmora::HostError&) {
        throw;
    } catch (const std::exception& error) { // DCMTK throws for some values too
        made.error = std::string(error.what()) + '.';
    }
    removeFile(raw);
    // A file that failed counts too: other files may hold its identifiers.
    made.originals = rewriter().takeOriginals();
    return workers::toParcel(made);
}

void Anonymizer::Work::take(Job& job, AnonymizedFile& file, const std::string& parcel) {
    auto made = workers::fromParcel<MadeFile>(parcel);
    rewriter().addOriginals(std::move(made.originals));
    if (!made.error.empty()) {
        throw FileError(made.error);
    }
    file.changes = std::move(made.changes);
    job.isMade = made.isDicom;
    if (!made.isDicom) {
        addSkipped();
    }
}

std::string Anonymizer::Work::check(std::size_t index) {
    const std::string& staged = mJobs[index].staged;
    CheckedFile checked;
    try {
        checked.isClean = rewriter().clean(staged, keepsChanges() ? &checked.changes : nullptr);
        if (mOwner.mOptions.examines) {
            checked.leaks = rewriter().examine(staged);
        }
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string(error.what()) + '.');
    }
    return workers::toParcel(checked);
}

void Anonymizer::Work::finish(Job& job, AnonymizedFile& file, const std::string& parcel) {
    auto checked = workers::fromParcel<CheckedFile>(parcel);
    std::move(checked.changes.begin(), checked.changes.end(), std::back_inserter(file.changes));
    file.leaks = std::move(checked.leaks);
    judge(file, checked.isClean);
    publish(job.staged, file);
}

void Anonymizer::Work::judge(AnonymizedFile& file, bool isClean) {
    if (!isClean) {
        file.leaks.insert("text of an original identifier");
    }
    if (mShowsNames && rewriter().showsIdentity(file.name)) {
        ++mResult.shownNameCount;
        file.leaks.insert("name of the file");
    }
}

void Anonymizer::Work::publish(const std::string& staged, AnonymizedFile& file, bool mayReplace) {
    if (mOwner.mOptions.isStrict && !file.leaks.empty()) {
        removeFile(staged);
        file.error = file.source + ": not written, because it may still identify the patient.";
        return;
    }
    if (mOwner.mOptions.isDryRun) {
        removeFile(staged);
    } else {
        const std::string path = target(file);
        requireFolder(fs::path(path).parent_path());
        files::StagingFolder::publish(staged, path, mayReplace || mOwner.mOptions.mayReplace);
    }
    file.isWritten = true;
}

/// The written files that a directory of the input lists. A listed file that does not exist is an error of the
/// directory.
Anonymizer::Work::Listed Anonymizer::Work::listFiles(AnonymizedFile& directory) const {
    // Some systems show the names of a medium in small letters, while its directory has capital ones.
    FilesByName exact;
    FilesByName folded;
    const fs::path folder = fs::path(directory.source).parent_path();
    for (const AnonymizedFile& file : mResult.files) {
        const std::string relative = fs::path(file.source).lexically_relative(folder).string();
        exact.emplace(relative, &file);
        folded.emplace(smallLetters(relative), &file);
    }
    Listed listed;
    const std::vector<std::string> fileIds = mOwner.mRun->fileIdsOf(directory.source);
    for (const std::string& fileId : fileIds) {
        const AnonymizedFile* sameName = fileNamed(exact, fileId);
        const AnonymizedFile* file = sameName != nullptr ? sameName : fileNamed(folded, smallLetters(fileId));
        if (file == nullptr) {
            directory.error = directory.source + ": the listed file " + fileId + " does not exist.";
        } else if (file->isWritten) {
            listed.push_back({target(*file), fileIdOf(*file, directory, fileId)});
        }
    }
    if (listed.empty() && !fileIds.empty()) {
        throw FileError("no directory was written, because none of the listed files was written.");
    }
    return listed;
}

/// A file that keeps its name keeps its File ID too, which may be in other letters on the disk.
std::string Anonymizer::Work::fileIdOf(const AnonymizedFile& file, const AnonymizedFile& directory,
                                       const std::string& fileId) const {
    if (!mShowsNames) {
        return file.name;
    }
    const fs::path folder = fs::path(directory.name).parent_path();
    const std::string name = fs::path(file.name).lexically_relative(folder).string();
    return smallLetters(name) == smallLetters(fileId) ? fileId : name;
}

void Anonymizer::Work::addDirectory(const std::string& dicomdir, const std::string& name) {
    AnonymizedFile& directory = mDirectories.emplace_back();
    directory.source = dicomdir;
    directory.isDirectory = true;
    directory.name = mShowsNames ? name : "DICOMDIR";
}

void Anonymizer::Work::writeDirectories() {
    Listed all;
    for (AnonymizedFile& directory : mDirectories) {
        try {
            const Listed listed = listFiles(directory);
            all.insert(all.end(), listed.begin(), listed.end());
            if (mShowsNames || &directory == &mDirectories.back()) {
                writeDirectory(directory, mShowsNames ? listed : all);
            }
        } catch (const std::exception& error) {
            directory.error = directory.source + ": " + error.what();
        }
    }
    std::move(mDirectories.begin(), mDirectories.end(), std::back_inserter(mResult.files));
}

void Anonymizer::Work::writeDirectory(AnonymizedFile& directory, const Listed& listed) {
    const std::string staged = mStaging.file("DICOMDIR");
    for (const media::RefusedFile& refused : rewriter().writeDirectory(staged, listed)) {
        directory.error = directory.source + ": " + refused.path + " is not listed: " + refused.reason + ".";
    }
    if (mOwner.mOptions.examines && !mOwner.mOptions.hasProfile) {
        directory.leaks = rewriter().examine(staged);
    }
    judge(directory, !rewriter().holdsIdentifier(staged));
    publish(staged, directory, mOwner.mOptions.resumes);
}

std::unique_ptr<Anonymization> openAnonymization(const AnonymizationSettings& settings) {
    const auto start = reinterpret_cast<StartAnonymizationEntry>(
        media::datasetsEntry(kStartAnonymizationEntry, "Files cannot be anonymized"));
    std::unique_ptr<Anonymization> run;
    try {
        start(settings, run);
    } catch (const std::runtime_error& error) {
        throw FileError(error.what());
    }
    return run;
}

AnonymizationResult Anonymizer::anonymizeFile(const std::string& input, const std::string& output) {
    const fs::path path(output);
    const std::string folder = path.has_parent_path() ? path.parent_path().string() : ".";
    Work work(*this, folder, false); // the user chose the name
    work.add(input, path.filename().string(), false);
    work.run(input);
    return work.takeResult();
}

AnonymizationResult Anonymizer::anonymizeFolder(const std::string& input, const std::string& output) {
    if (!mOptions.isDryRun) {
        requireFolder(output);
        if (mOptions.mayReplace || mOptions.resumes) {
            files::StagingFolder::removeLeftovers(output);
        }
    }
    Work work(*this, output, !mOptions.hasNeutralNames);
    const media::FolderWalk walk = mRun->list(input);
    std::size_t count = 0;
    work.addSkipped(walk.specialCount);
    for (const media::RefusedFile& refused : walk.refused) {
        work.addFailed((fs::path(input) / refused.path).string(), refused.path, refused.reason);
    }
    for (const std::string& name : walk.files) {
        const std::string source = (fs::path(input) / name).string();
        try {
            const FileKind kind = mRun->kindOf(source);
            if (kind == FileKind::Directory) {
                work.addDirectory(source, name);
            } else if (kind == FileKind::Other) {
                work.addSkipped();
            } else {
                const std::string target = mOptions.hasNeutralNames ? neutralName(count++) : name;
                work.add(source, target, kind == FileKind::MaybeDicom);
            }
        } catch (const std::runtime_error& error) {
            work.addFailed(source, name, error.what());
        }
    }
    work.run(input);
    if (!mOptions.isDryRun) { // a directory lists files of the output
        work.writeDirectories();
    }
    return work.takeResult();
}

} // namespace radvex::deidentify
