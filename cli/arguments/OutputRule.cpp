#include "cli/arguments/OutputRule.h"

#include <filesystem>

#include "cli/arguments/Files.h"
#include "files/Errors.h"
#include "media/scan/FileStart.h"

namespace radvex::cli {

namespace {

namespace fs = std::filesystem;

bool looksLikeDicom(const std::string& path) {
    const media::FileStart start(path);
    return start.hasMark() || start.mayBeBareDataset();
}

/// The folder whose DICOM files a command reads for this input; empty for a single file.
std::string folderOf(const std::string& input) {
    std::error_code ignored;
    if (fs::is_directory(input, ignored)) {
        return input;
    }
    if (media::FileStart(input).isDirectory()) {
        const fs::path parent = fs::path(input).parent_path();
        return parent.empty() ? "." : parent.string();
    }
    return "";
}

bool isAmong(const std::string& output, const std::string& input) {
    std::error_code ignored;
    if (fs::equivalent(output, input, ignored)) {
        return true;
    }
    const std::string folder = folderOf(input);
    return !folder.empty() && nestingOf(output, folder) == Nesting::FirstInSecond && looksLikeDicom(output);
}

} // namespace

void OutputRule::addTo(const CommandLine& command, const std::string& more) {
    command.addFlag("--force", mIsForced, "Replace files that exist already" + (more.empty() ? "" : ". " + more));
}

void OutputRule::check(const std::vector<std::string>& outputs, const std::vector<std::string>& inputs) const {
    for (const std::string& output : outputs) {
        std::error_code ignored;
        if (output.empty() || output == "-" || !fs::exists(fs::symlink_status(output, ignored))) {
            continue;
        }
        for (const std::string& input : inputs) {
            if (!input.empty() && isAmong(output, input)) {
                throw FileError(output + " is read by this command and would be lost: name another output.");
            }
        }
        files::requireWritable(to(output));
    }
}

void OutputRule::checkFolder(const std::string& folder) const {
    std::error_code error;
    if (!fs::exists(fs::symlink_status(folder, error))) {
        return;
    }
    if (!fs::is_directory(folder, error)) {
        throw FileError(folder + " is not a folder.");
    }
    const bool isEmpty = fs::is_empty(folder, error);
    if (!mIsForced && !error && !isEmpty) {
        throw FileError(folder + " is not empty; --force writes into it and replaces files of the same names.");
    }
}

} // namespace radvex::cli
