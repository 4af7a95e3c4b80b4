// The floor of every comparison: the same jobs with DCMTK alone.

#include <cstdio>
#include <functional>
#include <map>

#include "bench/bare/bareJobs.h"

namespace {

using Words = std::vector<std::string>; // of the command line, after the name of the job

std::string wordOr(const Words& words, std::size_t index) { return words.size() > index ? words[index] : ""; }

struct Job {
    std::size_t leastWords;
    std::function<void(const Words&)> run;
};

const std::map<std::string, Job>& jobs() {
    static const std::map<std::string, Job> all{
        {"version", {0, [](const Words&) { std::puts(OFFIS_DCMTK_VERSION_STRING); }}},
        {"attribute", {2, [](const Words& words) { bare::readAttribute(words[0], words[1]); }}},
        {"metadata", {1, [](const Words& words) { bare::readMetadata(words[0]); }}},
        {"rendered", {1, [](const Words& words) { bare::readRendered(words[0]); }}},
        {"intermediate", {1, [](const Words& words) { bare::readIntermediate(words[0]); }}},
        {"rendered-volume", {1, [](const Words& words) { bare::readRenderedVolume(words[0], wordOr(words, 1)); }}},
        {"modality-volume", {1, [](const Words& words) { bare::readModalityVolume(words[0], wordOr(words, 1)); }}},
        {"medium-metadata", {1, [](const Words& words) { bare::readMediumMetadata(words[0]); }}},
        {"write",
         {3,
          [](const Words& words) {
              bare::writeFrames(words[0], std::stoi(words[1]), std::stoi(words[2]), words.size() > 3);
          }}},
        {"anonymize", {2, [](const Words& words) { bare::anonymize(words[0], words[1]); }}},
    };
    return all;
}

} // namespace

int main(int argc, char** argv) {
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    const auto job = jobs().find(argc > 1 ? argv[1] : "");
    const Words words(argv + std::min(argc, 2), argv + argc);
    if (job == jobs().end() || words.size() < job->second.leastWords) {
        std::fprintf(stderr,
                     "Usage: %s version | attribute FILE KEYWORD | metadata FILE | rendered FILE | "
                     "intermediate FILE | rendered-volume DICOMDIR [OUT] | modality-volume DICOMDIR [OUT] | "
                     "medium-metadata DICOMDIR | write OUT FRAMES SIDE [jpegls] | anonymize FOLDER OUT\n",
                     argv[0]);
        return 2;
    }
    job->second.run(words);
}
