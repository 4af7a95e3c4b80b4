// Writes the seeds and the dictionary of every target. Usage: writeSeeds FOLDER; the seeds of a target come in
// FOLDER/TARGET, the dictionary is FOLDER/dictionary.txt.
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

#include "fuzz/Regressions.h"
#include "fuzz/Seeds.h"
#include "fuzz/Targets.h"

namespace {

namespace fs = std::filesystem;
using radvex::fuzz::SeedFile;

void write(const fs::path& file, const std::string& bytes) {
    std::ofstream stream(file, std::ios::binary);
    stream.exceptions(std::ios::failbit | std::ios::badbit);
    stream << bytes;
}

void writeInputs(const fs::path& folder, const std::vector<SeedFile>& inputs) {
    fs::create_directories(folder);
    for (const SeedFile& input : inputs) {
        write(folder / input.name, input.bytes);
    }
}

std::string dictionary() {
    std::string lines;
    for (const std::string& word : radvex::fuzz::dictionaryWords()) {
        lines += '"';
        for (const char unit : word) {
            char escaped[5];
            (void)std::snprintf(escaped, sizeof(escaped), "\\x%02x", static_cast<unsigned char>(unit));
            lines += escaped;
        }
        lines += "\"\n";
    }
    return lines;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("Usage: writeSeeds FOLDER\n", stderr);
        return 2;
    }
    try {
        const fs::path folder = argv[1];
        for (const radvex::fuzz::Target& target : radvex::fuzz::targets()) {
            writeInputs(folder / target.name, radvex::fuzz::seedsOf(target.name));
            writeInputs(folder / target.name, radvex::fuzz::regressionsOf(target.name));
        }
        write(folder / "dictionary.txt", dictionary());
    } catch (const std::exception& error) {
        (void)std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
