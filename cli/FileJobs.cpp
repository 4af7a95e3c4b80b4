#include "FileJobs.h"

#include <algorithm>
#include <thread>

#include "Blocks.h"
#include "OutputFile.h"

namespace radvex::cli {

namespace {

constexpr std::size_t kMost = 256;

} // namespace

void FileJobs::addTo(const CommandLine& command) {
    command.addNumber("--jobs", mGiven, kMost,
                      "Processes that read several files, one by core when not given; 0: read them in this process, "
                      "which a file can then take down");
}

std::size_t FileJobs::count() const {
    return mGiven ? *mGiven : std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMost);
}

std::string endOfReader(const WorkResult& result) { return "the reading process " + result.end + "."; }

std::string FileJobs::readAlone(Session& session, const std::string& place,
                                const std::function<std::string()>& read) const {
    (void)session.host(); // loaded once, and not by each process
    std::string text;
    Workers worker(count() == 0 ? 0 : 1, [&](std::size_t) { return WorkResult{read(), "", ""}; });
    worker.run(0, 1, [&](std::size_t, const WorkResult& result) {
        if (!result.end.empty() || !result.error.empty()) {
            throw FileError(result.end.empty() ? result.error : place + ": " + endOfReader(result));
        }
        text = result.output;
    });
    return text;
}

void FileJobs::forEach(Session& session, const std::vector<std::string>& files, bool namesFile, const Read& read,
                       const Print& print) const {
    const std::size_t most = count();
    if (files.size() == 1 || most == 0) {
        for (const std::string& file : files) {
            session.attempt(namesFile ? file : "", [&] { print(file, read(file)); });
        }
        return;
    }
    (void)session.host(); // loaded once, and not by each process
    const auto work = [&](std::size_t index) { return WorkResult{read(files[index]), "", ""}; };
    forEachInBlocks(std::min(most, files.size()), files.size(), work, [&](std::size_t index, const WorkResult& result) {
        const std::string& file = files[index];
        if (!result.end.empty()) {
            session.reportRefusal(file, endOfReader(result));
        } else if (!result.error.empty()) {
            session.reportRefusal(namesFile ? file : "", result.error);
        } else {
            print(file, result.output);
        }
    });
}

} // namespace radvex::cli
