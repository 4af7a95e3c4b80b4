#include "FileJobs.h"

#include <algorithm>
#include <thread>

#include "Workers.h"

namespace radvex::cli {

namespace {

/// More processes gain little: the files come from one disk.
constexpr std::size_t kMostByDefault = 8;
constexpr std::size_t kMost = 256;

} // namespace

FileJobs::FileJobs() : mCount(std::clamp<std::size_t>(std::thread::hardware_concurrency(), 1, kMostByDefault)) {}

void FileJobs::addTo(CLI::App* command) {
    command
        ->add_option("--jobs", mCount,
                     "Processes that read several files, one by core up to 8 when not given; 0: read them in this "
                     "process, which a file can then take down")
        ->check(CLI::Range(std::size_t{0}, kMost));
}

void FileJobs::forEach(Session& session, const std::vector<std::string>& files, bool namesFile, const Read& read,
                       const Print& print) const {
    if (files.size() == 1 || mCount == 0) {
        for (const std::string& file : files) {
            session.attempt(namesFile ? file : "", [&] { print(file, read(file)); });
        }
        return;
    }
    const Workers workers(std::min(mCount, files.size()));
    workers.run(
        files.size(),
        [&](std::size_t index) {
            return WorkResult{read(files[index]), "", ""};
        },
        [&](std::size_t index, const WorkResult& result) {
            const std::string& file = files[index];
            if (!result.end.empty()) {
                session.reportRefusal(file, "the reading process " + result.end + ".");
            } else if (!result.error.empty()) {
                session.reportRefusal(namesFile ? file : "", result.error);
            } else {
                print(file, result.output);
            }
        });
}

} // namespace radvex::cli
