#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <iostream>

#include "cli/Commands.h"
#include "cli/ProgressBar.h"
#include "cli/Terminal.h"
#include "cli/arguments/Files.h"
#include "cli/arguments/Words.h"
#include "compare/ComparisonReport.h"
#include "compare/FilePairs.h"
#include "files/Errors.h"
#include "formats/json/Text.h"
#include "workers/Parcel.h"
#include "workers/Workers.h"

namespace radvex::cli {

namespace {

struct DiffOptions {
    std::string first{};
    std::string second{};
    std::string by = "instance";
    std::vector<std::string> ignored{};
    bool hasNoPixels = false;
    std::string tolerance{};
    bool json = false;
    FileJobs jobs{};
};

/// Something cannot be compared: the status of diff for trouble, without the help text of wrong usage.
class Trouble : public Error {
  public:
    using Error::Error;
    ExitStatus exitStatus() const override { return kUsage; }
};

double toleranceOf(const DiffOptions& options) {
    if (options.tolerance.empty()) {
        return 0;
    }
    const auto number = parseNumber<double>(options.tolerance);
    if (!number || !std::isfinite(*number) || *number < 0) {
        throw UsageError("--tolerance '" + options.tolerance +
                         "' is not a tolerance: a number from 0 is expected, such as 0.5.");
    }
    return *number;
}

/// Finds a keyword that nobody knows, which would never be met. @throws UsageError, LibraryError
void checkIgnored(Session& session, const std::vector<std::string>& paths) {
    for (const std::string& path : paths) {
        std::size_t start = 0;
        for (bool isLast = false; !isLast; ++start) {
            const std::size_t end = std::min(path.find('.', start), path.size());
            const std::string step = path.substr(start, end - start);
            const std::string name = step.substr(0, step.find('['));
            const bool isNumber = name.find(',') != std::string::npos;
            const bool isOfBlock = isNumber && name.find(",xx") != std::string::npos;
            if (name.empty()) {
                throw UsageError("--ignore '" + path +
                                 "' is not a path: keywords with dots between them are expected.");
            }
            if (isNumber && !isOfBlock) {
                (void)parseTagNumber(name);
            } else if (!isNumber) {
                session.host().call("GetGroupElemNumbers", {name});
            }
            isLast = end == path.size();
            start = end;
        }
    }
}

/// One comparison after the other, and what they come to.
class DiffRun {
  public:
    DiffRun(Session& session, const DiffOptions& options)
        : mSession(session),
          mOptions(options),
          mSettings{{.ignored = options.ignored, .hasPixels = !options.hasNoPixels}, toleranceOf(options)} {
        checkIgnored(session, options.ignored);
    }

    void compareFiles() {
        const compare::FileComparison found =
            compare::compareFiles(mSession.host(), mOptions.first, mOptions.second, mSettings);
        mDifferent = found.areEqual() ? 0 : 1;
        tellPixelProblem(mOptions.first, mOptions.second, found);
        if (mOptions.json && !Messages::ofThisRun().isQuiet) {
            formats::Json json{{"first", mOptions.first}, {"second", mOptions.second}};
            json.update(compare::reportJson(found));
            std::cout << formats::dumpJson(json) << '\n';
        } else if (!Messages::ofThisRun().isQuiet) {
            std::cout << compare::reportText(found, mSettings.tolerance);
        }
    }

    void compareFolders() {
        const auto by = mOptions.by == "position" ? compare::PairBy::position
                        : mOptions.by == "name"   ? compare::PairBy::name
                                                  : compare::PairBy::instance;
        const compare::FilePairs found = compare::pairFiles(mSession.host(), mOptions.first, mOptions.second, by,
                                                            mOptions.jobs.count(), ProgressBar::forEachWork());
        for (const media::RefusedFile& file : found.refused) {
            trouble(file.path, file.reason);
        }
        comparePairs(found.pairs);
        tellSingles("- ", found.onlyFirst, "onlyFirst");
        tellSingles("+ ", found.onlySecond, "onlySecond");
        finishFolders(found);
    }

    /// Makes the exit status that of diff. @throws Trouble
    void end() {
        if (mTroubles > 0) {
            throw Trouble(formats::counted(mTroubles, "file or pair", "files or pairs") + " cannot be compared.");
        }
        if (mDifferent > 0) {
            mSession.refuse();
        }
    }

  private:
    void trouble(const std::string& path, const std::string& reason) {
        ++mTroubles;
        printError(path + ": " + reason);
        mJson["unreadable"].push_back({{"file", path}, {"reason", reason}});
    }

    void tellPixelProblem(const std::string& first, const std::string& second, const compare::FileComparison& found) {
        if (!found.pixelProblem.empty()) {
            ++mTroubles;
            printError(first + " and " + second + ": the pixels cannot be compared: " + found.pixelProblem);
        }
    }

    void comparePairs(const std::vector<compare::FilePair>& pairs) {
        const std::size_t jobs = pairs.size() < 2 ? 0 : std::min(mOptions.jobs.count(), pairs.size());
        const auto work = [&](std::size_t index) {
            return workers::toParcel(
                compare::compareFiles(mSession.host(), pairs[index].first, pairs[index].second, mSettings));
        };
        ProgressBar bar("Comparing files",
                        isTerminal(STDOUT_FILENO) ? -1 : STDERR_FILENO); // what differs shows it there
        workers::forEachInBlocks(jobs, pairs.size(), work, [&](std::size_t index, const workers::WorkResult& result) {
            bar.show(index + 1, pairs.size());
            take(pairs[index], result);
        });
    }

    void take(const compare::FilePair& pair, const workers::WorkResult& result) {
        if (!result.isDone()) {
            return trouble(pair.first + " and " + pair.second, result.problem());
        }
        const auto found = workers::fromParcel<compare::FileComparison>(result.output);
        mDifferent += found.areEqual() ? 0U : 1U;
        tellPixelProblem(pair.first, pair.second, found);
        if (mOptions.json) {
            formats::Json json{{"first", pair.first}, {"second", pair.second}};
            json.update(compare::reportJson(found));
            mJson["pairs"].push_back(std::move(json));
        } else if (!found.areEqual() && !Messages::ofThisRun().isQuiet) {
            std::cout << "# " << formats::printable(pair.first) << " | " << formats::printable(pair.second) << '\n'
                      << compare::reportText(found, mSettings.tolerance);
        }
    }

    void tellSingles(const char* sign, const std::vector<compare::SingleFile>& files, const char* name) {
        mSingles += files.size();
        for (const compare::SingleFile& file : files) {
            if (mOptions.json) {
                const formats::Json reason = file.reason.empty() ? formats::Json() : formats::Json(file.reason);
                mJson[name].push_back({{"file", file.path}, {"reason", reason}});
            } else if (!Messages::ofThisRun().isQuiet) {
                std::cout << sign << formats::printable(file.path) << ": no partner"
                          << (file.reason.empty() ? "" : ", since " + file.reason) << '\n';
            }
        }
    }

    void finishFolders(const compare::FilePairs& found) {
        if (mOptions.json && !Messages::ofThisRun().isQuiet) {
            std::cout << formats::dumpJson(mJson) << '\n';
        } else if (!Messages::ofThisRun().isQuiet && (mDifferent > 0 || mSingles > 0)) {
            std::cout << formats::counted(found.pairs.size(), "pair, ", "pairs, ") << mDifferent << " different; "
                      << formats::counted(mSingles, "file", "files") << " without a partner\n";
        }
        mDifferent += mSingles;
    }

    Session& mSession;
    const DiffOptions& mOptions;
    compare::ComparisonSettings mSettings;
    std::size_t mDifferent = 0; ///< pairs, and in the end files without a partner
    std::size_t mSingles = 0;
    std::size_t mTroubles = 0;
    formats::Json mJson{{"pairs", formats::Json::array()},
                        {"onlyFirst", formats::Json::array()},
                        {"onlySecond", formats::Json::array()},
                        {"unreadable", formats::Json::array()}};
};

bool isFolder(const std::string& path) {
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

void compare(Session& session, const DiffOptions& options) {
    const bool areFolders = isFolder(options.first);
    if (areFolders != isFolder(options.second)) {
        throw UsageError("A file is compared with a file, and a folder with a folder: " +
                         (areFolders ? options.first : options.second) + " is a folder and " +
                         (areFolders ? options.second : options.first) + " is none.");
    }
    DiffRun run(session, options);
    areFolders ? run.compareFolders() : run.compareFiles();
    run.end();
}

/// Status 1 says that something differs, so that every failure has to end with 2.
void run(Session& session, const DiffOptions& options) {
    try {
        compare(session, options);
    } catch (const UsageError&) {
        throw;
    } catch (const Trouble&) {
        throw;
    } catch (const velmora::HostError&) {
        throw;
    } catch (const std::exception& error) {
        throw Trouble(error.what());
    }
}

} // namespace

void addDiffCommand(const CommandLine& program, Session& session) {
    const auto [command, options] = addCommand<DiffOptions>(
        program, session, "diff", "Compare two files, or the files of two folders: attributes and pixels", run);
    command.addRequired("A", options.first, "DICOM file, or a folder", Takes::Path);
    command.addRequired("B", options.second, "DICOM file or folder to compare it with", Takes::Path);
    command.addChoice("--by", options.by, {"instance", "position", "name"},
                      "What makes files of two folders a pair: instance (SOPInstanceUID), position "
                      "(ImagePositionPatient) or name (the path below the folder)");
    command.addRepeatable("--ignore", options.ignored,
                          "Leave out an attribute: keyword, gggg,eeee, gggg,xxee, or a path such as "
                          "ReferencedImageSequence[1].ReferencedSOPInstanceUID; a sequence goes with all it holds",
                          Takes::Keyword);
    command.addFlag("--no-pixels", options.hasNoPixels, "Compare attributes only");
    command.addOption("--tolerance", options.tolerance, "Pixels may differ by so much");
    command.addFlag("--json", options.json, "Print JSON");
    options.jobs.addTo(command);
    command.setFooter(
        "Lines begin with - for what only A has, + for what only B has, ! for what differs. Values are compared as "
        "they are stored, without padding. Pixels are compared as stored values if both files store them in the same "
        "way, otherwise as modality values (HU for CT). Frames, rows and columns count from 1.\n\n"
        "The exit status is that of diff: 0 when nothing differs, 1 when something does, 2 when something cannot be "
        "compared.");
    command.addExample("radvex diff ct.dcm other.dcm", "What differs between two files");
    command.addExample("radvex diff OLD SERIES --ignore StudyDate --ignore RequestAttributesSequence",
                       "Two folders, file by file, but for two attributes");
    command.addExample("radvex diff OLD SERIES --by position --no-pixels --json",
                       "The attributes of slices at the same position, as JSON");
    command.addExample("radvex diff ct.dcm other.dcm --tolerance 2 -q",
                       "Only the status: 0 if pixels differ by 2 at most and nothing else differs");
}

} // namespace radvex::cli
