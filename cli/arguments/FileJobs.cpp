#include "cli/arguments/FileJobs.h"

#include <algorithm>
#include <thread>

#include "workers/Workers.h"

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
    const auto work = [&](std::size_t index) { return read(files[index]); };
    workers::forEachInBlocks(
        std::min(most, files.size()), files.size(), work, [&](std::size_t index, const workers::WorkResult& result) {
            const std::string& file = files[index];
            if (result.isDone()) {
                print(file, result.output);
            } else {
                session.reportRefusal(namesFile || !result.end.empty() ? file : "", result.problem());
            }
        });
}

} // namespace radvex::cli
