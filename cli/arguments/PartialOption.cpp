#include "cli/arguments/PartialOption.h"

#include <unistd.h>

namespace radvex::cli {

namespace {

std::string noticeFor(const std::string& file, const media::DatasetScan& scan, const media::PartialPlan& plan) {
    return file + ' ' + media::describeCut(scan) + ": what follows is partial." +
           (plan.missing.empty() ? "" : ' ' + plan.missing);
}

} // namespace

ReadableFile::ReadableFile(const std::string& file, const std::string& copy) : mFile(file), mPath(file) {
    const media::DatasetScan scan = media::scanDataset(file);
    const media::PartialPlan plan = media::planPartial(scan);
    if (plan.isPossible) {
        mCopy.emplace(file, scan, plan, copy);
        mPath = copy;
        mNotice = noticeFor(file, scan, plan);
    }
}

FileOpener::FileOpener(const PartialOption& option) {
    if (option.isGiven) {
        mFolder.emplace();
    }
}

ReadableFile FileOpener::open(const std::string& file) {
    if (!mFolder) {
        return ReadableFile(file);
    }
    // The library remembers files by their paths, so that each copy needs a name of its own, in every process.
    return {file, mFolder->file(std::to_string(getpid()) + "-" + std::to_string(++mCount))};
}

std::string ReadableFile::inWordsOfTheFile(std::string message) const {
    for (std::size_t at = message.find(mPath); mCopy && at != std::string::npos; at = message.find(mPath, at)) {
        message.replace(at, mPath.size(), mFile);
        at += mFile.size();
    }
    return message;
}

void PartialOption::addTo(const CommandLine& command) {
    command.addFlag("--partial", isGiven,
                    "Read a file that is cut off as far as it goes; pixels that are missing are 0, and the exit status "
                    "is 3");
}

void PartialOption::tell(Session& session, const std::string& notice) {
    if (!notice.empty()) {
        printError(notice);
        session.leaveOut();
    }
}

void PartialOption::read(Session& session, const std::string& file,
                         const std::function<void(const std::string& path)>& body) const {
    FileOpener opener(*this);
    const ReadableFile readable = opener.open(file);
    tell(session, readable.notice());
    session.attemptFile(file, [&] { readable.read(body); });
}

std::string PartialOption::noticeOf(const std::string& file) const {
    if (!isGiven) {
        return "";
    }
    const media::DatasetScan scan = media::scanDataset(file);
    const media::PartialPlan plan = media::planPartial(scan);
    return plan.isPossible ? noticeFor(file, scan, plan) : "";
}

} // namespace radvex::cli
