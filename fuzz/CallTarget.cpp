#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <sstream>

#include "cli/Commands.h"
#include "fuzz/Choices.h"
#include "fuzz/SeedFiles.h"

namespace radvex::fuzz {

namespace {

/// Standard input and output are strings while this lives.
class Redirection {
  public:
    explicit Redirection(const std::string& input) : mInput(input) {
        mFormerInput = std::cin.rdbuf(mInput.rdbuf());
        mFormerOutput = std::cout.rdbuf(mOutput.rdbuf());
        std::cin.clear();
    }
    ~Redirection() {
        std::cin.rdbuf(mFormerInput);
        std::cout.rdbuf(mFormerOutput);
    }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;

  private:
    std::istringstream mInput;
    std::ostringstream mOutput{};
    std::streambuf* mFormerInput = nullptr;
    std::streambuf* mFormerOutput = nullptr;
};

/// Lines name files without a folder.
class WorkingFolder {
  public:
    explicit WorkingFolder(const std::string& folder) { std::filesystem::current_path(folder); }
    ~WorkingFolder() { std::filesystem::current_path(mFormer); }
    WorkingFolder(const WorkingFolder&) = delete;
    WorkingFolder& operator=(const WorkingFolder&) = delete;

  private:
    std::filesystem::path mFormer = std::filesystem::current_path();
};

/// Files that lines can name, beside "input.dcm": a picture, and a medium with it.
void writeGoodFiles(Harness& harness) {
    static const std::string image = seedImage();
    static const std::string directory = seedDirectory();
    const auto bytes = [](const std::string& text) {
        return Bytes(reinterpret_cast<const unsigned char*>(text.data()), text.size());
    };
    harness.write("A", bytes(image));
    harness.write("DICOMDIR", bytes(directory));
}

void answer(cli::Session& session, const std::string& lines) {
    const Redirection redirection(lines);
    const cli::CommandLine program("radvex", "");
    cli::addCallCommand(program, session);
    program.run({"call", "-"});
}

} // namespace

void runCall(Bytes input) {
    constexpr std::size_t kLength = sizeof(kNextFile) - 1;
    Harness& harness = Harness::instance();
    writeGoodFiles(harness);
    const auto end = std::search(input.begin(), input.end(), kNextFile, kNextFile + kLength);
    if (end != input.end()) {
        harness.write("input.dcm", Bytes(end + kLength, input.end()));
    }
    {
        const WorkingFolder folder(harness.path(""));
        answer(harness.session(), std::string(input.begin(), end));
    }
    (void)harness.call("setExceptionDetailsContext", {"Host`"}); // a line may have changed it
}

} // namespace radvex::fuzz
