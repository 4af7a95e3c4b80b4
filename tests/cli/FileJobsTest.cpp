#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fstream>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

/// `radvex frames` with a library that ends the process when a file's name says so.
ProcessResult framesOf(const Words& words) { return runRadvex(joined({"--library", ENDING_LIBRARY, "frames"}, words)); }

std::string lineOf(const std::string& name) {
    return name + ": frames " + std::to_string(name.size()) + ", representative frame 1, overlays 0\n";
}

std::vector<pid_t> childrenOf(pid_t process) {
    const std::string number = std::to_string(process);
    std::ifstream list("/proc/" + number + "/task/" + number + "/children");
    return {std::istream_iterator<pid_t>(list), {}};
}

/// Whether a process still does something; one that ended may stay listed until somebody asks how.
bool isRunning(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    const std::size_t state = text.rfind(") ");
    return state != std::string::npos && text[state + 2] != 'Z' && text[state + 2] != 'X';
}

template <typename Condition>
bool comesTrue(Condition condition) {
    for (int attempt = 0; attempt < 1000; ++attempt) {
        if (condition()) {
            return true;
        }
        ::usleep(10000);
    }
    return false;
}

/// Ends the command by a signal to it alone while its workers are at work.
void expectNoWorkerOutlives(int number) {
    const pid_t command = ::fork();
    if (command == 0) {
        (void)::signal(number, SIG_DFL);
        ::execl(RADVEX_COMMAND, RADVEX_COMMAND, "--library", ENDING_LIBRARY, "frames", "--jobs", "2", "wait-60000",
                "wait-60001", nullptr);
        ::_exit(127);
    }
    ASSERT_TRUE(comesTrue([&] { return childrenOf(command).size() == 2; }));
    const std::vector<pid_t> workers = childrenOf(command);
    ASSERT_EQ(::kill(command, number), 0);
    int state = 0;
    ASSERT_EQ(::waitpid(command, &state, 0), command);
    EXPECT_TRUE(WIFSIGNALED(state) && WTERMSIG(state) == number);
    for (const pid_t worker : workers) {
        EXPECT_TRUE(comesTrue([&] { return !isRunning(worker); }));
    }
}

} // namespace

TEST(FileJobs, AFileThatEndsItsReaderIsNamedAndTheOthersGoOn) {
    const ProcessResult run = framesOf({"a", "signal-11", "bb", "signal-6", "signal-9", "exit-3", "ccc"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.output, lineOf("a") + lineOf("bb") + lineOf("ccc"));
    EXPECT_EQ(run.errors, "radvex: signal-11: the reading process ended with signal 11 (SIGSEGV).\n"
                          "radvex: signal-6: the reading process ended with signal 6 (SIGABRT).\n"
                          "radvex: signal-9: the reading process ended with signal 9 (SIGKILL).\n"
                          "radvex: exit-3: the reading process ended with exit status 3.\n");
}

TEST(FileJobs, JsonStaysWholeWhenAFileEndsItsReader) {
    const ProcessResult run = framesOf({"--json", "signal-11", "a", "signal-11b", "bb", "signal-11c"});
    EXPECT_EQ(run.status, 3);
    const Json list = Json::parse(run.output);
    ASSERT_EQ(list.size(), 2U);
    EXPECT_EQ(list[0]["file"], "a");
    EXPECT_EQ(list[1]["file"], "bb");
}

TEST(FileJobs, TheOrderDoesNotDependOnTheNumberOfProcesses) {
    const Words files{"wait-60", "a", "signal-9", "wait-30", "b", "c", "signal-9", "wait-10", "d"};
    std::string expected;
    for (const std::string& file : files) {
        expected += file == "signal-9" ? "radvex: signal-9: the reading process ended with signal 9 (SIGKILL).\n"
                                       : lineOf(file);
    }
    for (const char* jobs : {"1", "2", "5", "200"}) {
        std::string script = std::string(RADVEX_COMMAND) + " --library " ENDING_LIBRARY " frames --jobs " + jobs;
        for (const std::string& file : files) {
            script += ' ' + file;
        }
        EXPECT_EQ(runProcess({"bash", "-c", script + " 2>&1"}).output, expected) << jobs << ", errors in order";
    }
}

TEST(FileJobs, OneFileAndNoJobsAreReadByTheCommandItself) {
    EXPECT_EQ(framesOf({"signal-9"}).status, 128 + SIGKILL);
    EXPECT_EQ(framesOf({"--jobs", "0", "a", "signal-9"}).status, 128 + SIGKILL);
    EXPECT_EQ(framesOf({"--jobs", "0", "a", "b"}).output, lineOf("a") + lineOf("b"));
}

TEST(FileJobs, RefusesNumbersThatAreNone) {
    for (const char* jobs : {"-1", "many", "1000000"}) {
        EXPECT_EQ(framesOf({"--jobs", jobs, "a", "b"}).status, 2) << jobs;
    }
}

TEST(FileJobs, ALibraryThatIsNotThereIsNamedOnce) {
    const ProcessResult run = runRadvex({"--library", "/nowhere/Radvex.so", "frames", "a", "b", "c"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.errors, StartsWith("radvex: The library /nowhere/Radvex.so cannot be loaded"));
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
}

TEST(FileJobs, NoWorkerOutlivesTheCommand) {
    expectNoWorkerOutlives(SIGINT);
    expectNoWorkerOutlives(SIGKILL);
}

TEST(FileJobs, EveryCommandPrintsWhatItPrintsWithoutThem) {
    const TemporaryFolder folder;
    Words files;
    for (int number = 0; number < 12; ++number) {
        const std::string name = std::to_string(number);
        files.push_back(number % 5 == 2
                            ? folder.write(name, "no DICOM")
                            : writeDicom(folder.file(name), with({{DCM_PatientID, name}, {DCM_StudyID, "S"}})));
    }
    for (const auto& words : std::vector<Words>{
             {"tags"}, {"tags", "--json"}, {"info"}, {"info", "--json"}, {"frames"}, {"frames", "--json"}}) {
        const auto run = [&](const char* jobs) {
            Words all = words;
            all.insert(all.end(), {"--jobs", jobs});
            all.insert(all.end(), files.begin(), files.end());
            return runRadvex(all);
        };
        const ProcessResult without = run("0");
        EXPECT_EQ(without.status, 3);
        for (const char* jobs : {"1", "3"}) {
            const ProcessResult with = run(jobs);
            EXPECT_EQ(with.status, 3);
            EXPECT_EQ(with.output, without.output) << words.front();
            EXPECT_EQ(with.errors, without.errors) << words.front();
        }
    }
}
