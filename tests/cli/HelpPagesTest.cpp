// Manual pages and completions of shells hold every command and option, and the tools that read them have no complaint.

#include <map>
#include <regex>
#include <set>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;

using Names = std::set<std::string>;

/// The long options of the program, whose name here is empty, and of its commands, as the help texts list them.
std::map<std::string, Names> optionsInHelp() {
    std::map<std::string, Names> options;
    std::istringstream lines(runRadvex({"help", "--all"}).output);
    const std::regex usage("Usage: radvex ?([a-z]*).*");
    const std::regex option("  (?:-[A-Za-z0-9],)?(--[a-z0-9-]+).*");
    std::smatch found;
    std::string command;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, found, usage)) {
            command = found[1];
        } else if (std::regex_match(line, found, option)) {
            options[command].insert(found[1]);
        }
    }
    return options;
}

/// What a shell offers behind each line.
std::map<std::string, Names> offered(const Words& shell, const fs::path& script, const std::string& folder,
                                     const std::vector<std::string>& lines) {
    std::string input;
    for (const std::string& line : lines) {
        input += line + '\n';
    }
    const std::string path = "PATH=" + fs::path(RADVEX_COMMAND).parent_path().string() + ":/usr/bin:/bin";
    const ProcessResult run =
        runProcess(joined(joined({"env", "-C", folder, path, "HOME=" + folder, "TERM=dumb", "timeout", "100"}, shell),
                          {script.string(), folder}),
                   input);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    std::map<std::string, Names> answers;
    std::string current;
    std::istringstream output(run.output);
    for (std::string line; std::getline(output, line);) {
        if (line.starts_with("LINE ")) {
            current = line.substr(5);
            answers[current];
        } else if (!line.empty()) {
            answers[current].insert(line);
        }
    }
    return answers;
}

struct Shell {
    std::string name{};
    Words start{};
    std::string script{};
    /// fish shows an option with its value, and a folder with its slash.
    bool joinsValues = false;
};

void PrintTo(const Shell& shell, std::ostream* stream) { *stream << shell.name; }

const std::vector<Shell> kShells{
    {"bash", {"bash", "--norc"}, "bash-completion/completions/radvex"},
    {"zsh", {"zsh", "-f"}, "zsh/site-functions/_radvex"},
    {"fish", {"fish", "--no-config"}, "fish/vendor_completions.d/radvex.fish", true},
};

class Completion : public testing::TestWithParam<Shell> {
  protected:
    void SetUp() override {
        const ProcessResult written = runRadvex({"help", "--write", folder.path().string()});
        ASSERT_EQ(written.status, 0) << written.errors;
    }
    std::map<std::string, Names> offeredBehind(const std::vector<std::string>& lines) const {
        const fs::path script = fs::path(RADVEX_SOURCE_DIR) / "tests/cli/shells" / ("offered." + GetParam().name);
        return offered(GetParam().start, script, folder.path().string(), lines);
    }

    TemporaryFolder folder{};
};

} // namespace

TEST_P(Completion, OffersEveryCommandAndEveryOption) {
    const auto options = optionsInHelp();
    ASSERT_GT(options.size(), 20U);
    std::vector<std::string> lines{"radvex "};
    Names commands{"help"};
    for (const auto& [command, names] : options) {
        lines.push_back("radvex " + command + (command.empty() ? "--" : " --"));
        if (!command.empty()) {
            commands.insert(command);
        }
    }
    const auto answers = offeredBehind(lines);
    EXPECT_EQ(answers.at("radvex "), commands);
    for (const auto& [command, names] : options) {
        EXPECT_EQ(answers.at("radvex " + command + (command.empty() ? "--" : " --")), names) << command;
    }
}

TEST_P(Completion, OffersValuesFilesAndFolders) {
    folder.write("scan.dcm", "");
    fs::create_directory(folder.file("scans"));
    const std::string never = GetParam().joinsValues ? "--color=never" : "never";
    const std::string scans = GetParam().joinsValues ? "scans/" : "scans";
    const std::map<std::string, Names> expected{
        {"radvex im", {"image"}},
        {"radvex --library scan.dcm im", {"image"}},
        {"radvex image --scaling ", {"minmax", "none", "trimmed"}},
        {"radvex image --window br", {"brain"}},
        {"radvex --color=n", {never}},
        {"radvex tags --color=n", {never}},
        {"radvex completion f", {"fish"}},
        {"radvex help vol", {"volume"}},
        {"radvex help --a", {"--all"}},
        {"radvex tags --tag PatientNa", {"PatientName"}},
        {"radvex tags scan", {"scan.dcm", scans}},
        {"radvex image scan.dcm -o scan", {"scan.dcm", scans}},
        {"radvex index scan", {scans}},
        {"radvex tags --series scan", {}},
        {"radvex keyword scan", {}},
    };
    std::vector<std::string> lines;
    for (const auto& [line, words] : expected) {
        lines.push_back(line);
    }
    const auto answers = offeredBehind(lines);
    for (const auto& [line, words] : expected) {
        ASSERT_TRUE(answers.contains(line)) << line;
        EXPECT_EQ(answers.at(line), words) << line;
    }
}

TEST_P(Completion, IsWhatTheCommandPrints) {
    EXPECT_EQ(runRadvex({"completion", GetParam().name}).output, readFile(folder.file(GetParam().script)));
    const ProcessResult read = runProcess(joined(GetParam().start, {"-n", folder.file(GetParam().script)}));
    EXPECT_EQ(read.status, 0) << read.errors;
    EXPECT_EQ(read.errors, "");
}

INSTANTIATE_TEST_SUITE_P(Shells, Completion, testing::ValuesIn(kShells),
                         [](const auto& shell) { return shell.param.name; });

TEST(ManualPages, HaveEveryOptionOfTheHelp) {
    for (const auto& [command, names] : optionsInHelp()) {
        const ProcessResult page = runRadvex(joined({"help", "--man"}, command.empty() ? Words{} : Words{command}));
        ASSERT_EQ(page.status, 0) << page.errors;
        for (const std::string& name : names) {
            const std::string inPage = std::regex_replace(name, std::regex("-"), "\\-");
            EXPECT_THAT(page.output, HasSubstr("\\fB" + inPage + "\\fR")) << command;
        }
        EXPECT_THAT(page.output, HasSubstr("\n.SH EXIT STATUS\n.TP\n\\fB0\\fR\nall done\n"));
        const std::string inProgram = command.empty() ? "" : ".BR radvex\\-" + command + " (1)";
        EXPECT_THAT(runRadvex({"help", "--man"}).output, HasSubstr(inProgram));
    }
}

TEST(ManualPages, AreReadWithoutAComplaint) {
    const TemporaryFolder folder;
    ASSERT_EQ(runRadvex({"help", "--write", folder.path().string()}).status, 0);
    Words pages;
    for (const auto& entry : fs::directory_iterator(folder.file("man/man1"))) {
        pages.push_back(entry.path().string());
    }
    EXPECT_EQ(pages.size(), optionsInHelp().size() + 1); // that of help
    const Words width{"env", "MANWIDTH=100", "LC_ALL=C.UTF-8"};
    for (const Words& reader :
         {joined(width, {"man", "--warnings=w", "-l"}), Words{"mandoc", "-T", "lint", "-W", "warning"}}) {
        const ProcessResult read = runProcess(joined(reader, pages));
        EXPECT_EQ(read.status, 0) << read.errors;
        EXPECT_EQ(read.errors, "");
    }
    const std::string shown = runProcess(joined(width, {"man", "-l", folder.file("man/man1/radvex-image.1")})).output;
    EXPECT_THAT(shown, HasSubstr("radvex image [OPTIONS] FILE\n"));
    EXPECT_THAT(shown, HasSubstr("radvex image ct.dcm --window lung -o lung.png\n"));
}

TEST(ManualPages, HaveTheDateThatABuildAgreesOn) {
    const ProcessResult page = runProcess({"env", "SOURCE_DATE_EPOCH=86400", RADVEX_COMMAND, "help", "--man", "tags"});
    EXPECT_THAT(page.output, HasSubstr(".TH RADVEX\\-TAGS 1 \"1970-01-02\" "));
}

TEST(HelpPages, WrongWordsAreUsage) {
    EXPECT_THAT(runRadvex({"help", "--man", "tag"}),
                exitsSaying(2, "radvex: 'tag' is no command; did you mean tags?\nSee 'radvex help'.\n"));
    EXPECT_EQ(runRadvex({"help", "--write"}).status, 2);
    EXPECT_EQ(runRadvex({"completion"}).status, 2);
    EXPECT_EQ(runRadvex({"completion", "tcsh"}).status, 2);
}
