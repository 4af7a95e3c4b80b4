#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

/// A command that the README shows, and what it prints there.
struct Example {
    std::string command{};
    std::string output{};
};

std::vector<Example> examples(const std::string& readme) {
    std::vector<Example> found;
    std::istringstream lines(readme);
    bool isConsole = false;
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("```")) {
            isConsole = line == "```console";
        } else if (isConsole && line.starts_with("$ ")) {
            found.push_back({line.substr(2), ""});
        } else if (isConsole) {
            found.back().output += line + '\n';
        }
    }
    return found;
}

/// Sources of the tests, as one text.
std::string sourcesOfTests() {
    std::string all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(RADVEX_SOURCE_DIR "/tests")) {
        if (entry.path().extension() == ".cpp") {
            all += readFile(entry.path().string());
        }
    }
    return all;
}

} // namespace

TEST(Security, NamesTestsThatThereAre) {
    const std::string page = readFile(RADVEX_SOURCE_DIR "/SECURITY.md");
    const std::string sources = sourcesOfTests();
    const std::regex testName(R"(`([A-Z]\w+)\.([A-Z]\w+)`)");
    int named = 0;
    for (std::sregex_iterator found(page.begin(), page.end(), testName), end; found != end; ++found, ++named) {
        const std::string arguments = "(" + found->str(1) + ", " + found->str(2) + ")";
        EXPECT_NE(sources.find(arguments), std::string::npos) << arguments;
    }
    EXPECT_GE(named, 25);
}

TEST(Readme, EveryCommandPrintsWhatItShows) {
    const auto shown = examples(readFile(RADVEX_SOURCE_DIR "/README.md"));
    ASSERT_GE(shown.size(), 7U);
    const ProcessResult samples = runProcess({RADVEX_SOURCE_DIR "/scripts/samples.sh"});
    const std::string folder = samples.output.substr(0, samples.output.find('\n'));
    const TemporaryFolder written;
    for (const Example& example : shown) {
        ASSERT_TRUE(example.command.starts_with("radvex ")) << example.command;
        // What the page writes into /tmp may be there already.
        const std::string command =
            std::regex_replace(example.command, std::regex("/tmp/"), written.path().string() + '/');
        const std::string script = "cd '" + folder + "' && " RADVEX_COMMAND + command.substr(6) + " 2>&1";
        EXPECT_EQ(runProcess({"bash", "-c", script}).output, example.output) << example.command;
    }
}
