// The jobs of the benchmarks through the exported functions, as the rows of functions of the comparison.

#include <algorithm>
#include <cstdio>
#include <functional>
#include <map>
#include <vector>

#include "bench/hosted/hostedJobs.h"

namespace {

using velmora::Host;
using Words = std::vector<std::string>; // of the command line, after the name of the job

std::string wordOr(const Words& words, std::size_t index) { return words.size() > index ? words[index] : ""; }

struct Job {
    std::size_t leastWords;
    std::function<void(Host&, const Words&)> run;
};

const std::map<std::string, Job>& jobs() {
    static const std::map<std::string, Job> all{
        {"version", {0, [](Host&, const Words&) { std::puts("loaded"); }}},
        {"attribute", {2, [](Host& host, const Words& words) { hosted::readAttribute(host, words[0], words[1]); }}},
        {"attribute-again",
         {2, [](Host& host, const Words& words) { hosted::readAttributeAgain(host, words[0], words[1]); }}},
        {"attribute-opened",
         {2, [](Host& host, const Words& words) { hosted::openAndReadAttribute(host, words[0], words[1]); }}},
        {"metadata", {1, [](Host& host, const Words& words) { hosted::readMetadata(host, words[0]); }}},
        {"divided-metadata", {1, [](Host& host, const Words& words) { hosted::divideMetadata(host, words[0]); }}},
        {"pixels", {2, [](Host& host, const Words& words) { hosted::readPixels(host, words[0], words[1]); }}},
        {"rendered-volume",
         {1, [](Host& host, const Words& words) { hosted::readRenderedVolume(host, words[0], wordOr(words, 1)); }}},
        {"modality-volume",
         {1, [](Host& host, const Words& words) { hosted::readModalityVolume(host, words[0], wordOr(words, 1)); }}},
        {"medium-metadata", {1, [](Host& host, const Words& words) { hosted::readMediumMetadata(host, words[0]); }}},
        {"write",
         {3,
          [](Host& host, const Words& words) {
              hosted::writeFrames(host, words[0], std::stoi(words[1]), std::stoi(words[2]), words.size() > 3);
          }}},
        {"anonymize", {2, [](Host& host, const Words& words) { hosted::anonymize(host, words[0], words[1]); }}},
    };
    return all;
}

} // namespace

int main(int argc, char** argv) {
    const auto job = jobs().find(argc > 1 ? argv[1] : "");
    const Words words(argv + std::min(argc, 2), argv + argc);
    if (job == jobs().end() || words.size() < job->second.leastWords) {
        std::fprintf(stderr,
                     "Usage: hostedJobs version | attribute FILE KEYWORD | attribute-again FILE KEYWORD | "
                     "attribute-opened FILE KEYWORD | metadata FILE | divided-metadata FILE | pixels FUNCTION FILE | "
                     "rendered-volume DICOMDIR [OUT] | modality-volume FOLDER [OUT] | "
                     "medium-metadata DICOMDIR | write OUT FRAMES SIDE [jpegls] | anonymize FOLDER OUT\n");
        return 2;
    }
    try {
        const auto host = Host::load(RADVEX_LIBRARY, velmora::radvexDeclarations());
        job->second.run(*host, words);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "hostedJobs: %s\n", error.what());
        return 1;
    }
}
