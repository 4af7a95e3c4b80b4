#include "cli/arguments/Files.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include "cli/ProgressBar.h"
#include "cli/Terminal.h"
#include "cli/arguments/Suggestions.h"
#include "files/Errors.h"
#include "files/InputFile.h"
#include "media/scan/FileDiagnosis.h"
#include "workers/Workers.h"

namespace radvex::cli {

namespace {

constexpr std::size_t kMostJobs = 256;

/// One file cannot be read; the others can be.
class UnreadFile : public FileError {
  public:
    using FileError::FileError;
};

} // namespace

void FileArguments::addTo(const CommandLine& command, const std::string& name, const std::string& description) {
    mCommand = command;
    mName = name;
    command.addOption(name, mFirst, description + "; @LIST: the files that LIST names, one a line", Takes::Path);
    command.addFlag("-0,--null", mFromInput,
                    "Read more names from the standard input, with a zero character behind each, as from find -print0");
    command.allowMore();
}

namespace {

[[noreturn]] void refuseOption(const std::string& word, const std::vector<std::string>& known) {
    const std::string meant = nearest(word, known);
    throw UsageError("There is no option " + word +
                     (meant.empty() ? ". A file of that name is ./" + word + '.' : didYouMean(word, known)));
}

/// The parts of a text between the marks, without empty ones.
std::vector<std::string> namesIn(const std::string& text, char mark) {
    std::vector<std::string> names;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find(mark, start), text.size());
        std::string name = text.substr(start, end - start);
        if (mark == '\n' && name.ends_with('\r')) {
            name.pop_back();
        }
        if (!name.empty()) {
            names.push_back(std::move(name));
        }
        start = end + 1;
    }
    return names;
}

std::vector<std::string> namesInList(const std::string& list) {
    const std::string text = files::readInputText(list);
    if (text.find('\0') != std::string::npos) {
        throw FileError("The list " + list +
                        " is no text of one file a line. Names with zero characters between them "
                        "are read from the standard input with -0.");
    }
    auto names = namesIn(text, '\n');
    if (names.empty()) {
        throw FileError("The list " + list + " names no file.");
    }
    return names;
}

} // namespace

void FileArguments::append(std::vector<std::string>& files, const std::string& word) const {
    if (word.size() > 1 && word.front() == '-') {
        refuseOption(word, mCommand->optionNames());
    }
    if (word.size() > 1 && word.front() == '@') {
        const auto names = namesInList(word.substr(1));
        files.insert(files.end(), names.begin(), names.end());
    } else {
        files.push_back(word);
    }
}

std::vector<std::string> FileArguments::all() const {
    std::vector<std::string> files;
    if (!mFirst.empty()) {
        append(files, mFirst);
    }
    for (const std::string& word : mCommand->remaining()) {
        append(files, word);
    }
    if (mFromInput) {
        const auto names = namesIn(files::readInputText("-"), '\0');
        if (names.empty() && files.empty()) {
            throw FileError("The standard input names no file.");
        }
        files.insert(files.end(), names.begin(), names.end());
    }
    if (files.empty()) {
        throw UsageError(mName + " is missing: name at least one file.");
    }
    return files;
}

void FileJobs::addTo(const CommandLine& command) {
    command.addNumber("--jobs", mGiven, kMostJobs,
                      "Processes that read several files, one for each core by default; 0: read them in this process, "
                      "which a file can then take down");
}

std::size_t FileJobs::count() const {
    return mGiven ? *mGiven : std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMostJobs);
}

namespace {

/// A file that cannot be read, in a sentence: all that another process can send.
std::string readExplained(const FileJobs::Read& read, const std::string& file) {
    try {
        return read(file);
    } catch (const velmora::LibraryError& error) {
        throw UnreadFile(media::explain(error, file, file));
    } catch (const FileError& error) { // no copy of what is left of it can be made
        throw UnreadFile(error.what());
    }
}

} // namespace

void FileJobs::forEach(Session& session, const std::vector<std::string>& files, bool namesFile, const Read& read,
                       const Print& print) const {
    const std::size_t most = count();
    std::size_t done = 0;
    // On a terminal, what is printed shows the progress.
    ProgressBar bar("Reading files", isTerminal(STDOUT_FILENO) ? -1 : STDERR_FILENO);
    if (files.size() == 1 || most == 0) {
        std::size_t shown = 0;
        for (const std::string& file : files) {
            try {
                print(file, readExplained(read, file));
                ++done;
            } catch (const UnreadFile& error) {
                Session::reportFile(namesFile ? file : "", error.what());
            }
            bar.show(++shown, files.size());
        }
        return session.endFiles(done, files.size() - done);
    }
    (void)session.host(); // load the library once instead of in each process
    const auto work = [&](std::size_t index) { return readExplained(read, files[index]); };
    workers::forEachInBlocks(
        std::min(most, files.size()), files.size(), work, [&](std::size_t index, const workers::WorkResult& result) {
            const std::string& file = files[index];
            bar.show(index + 1, files.size());
            if (result.isDone()) {
                print(file, result.output);
                ++done;
            } else {
                Session::reportFile(namesFile || !result.end.empty() ? file : "", result.problem());
            }
        });
    session.endFiles(done, files.size() - done);
}

Nesting nestingOf(const std::string& first, const std::string& second) {
    const auto isWithin = [](const std::filesystem::path& inner, const std::filesystem::path& outer) {
        const std::filesystem::path relative = inner.lexically_relative(outer);
        return !relative.empty() && *relative.begin() != "..";
    };
    std::error_code error;
    const std::filesystem::path one = std::filesystem::weakly_canonical(first, error);
    const std::filesystem::path other = std::filesystem::weakly_canonical(second, error);
    return one == other           ? Nesting::Same
           : isWithin(one, other) ? Nesting::FirstInSecond
           : isWithin(other, one) ? Nesting::SecondInFirst
                                  : Nesting::Apart;
}

std::string fileNumber(std::size_t number) {
    const std::string digits = std::to_string(number);
    return std::string(digits.size() < 4 ? 4 - digits.size() : 0, '0') + digits;
}

} // namespace radvex::cli
