// Commands that are ended at any moment leave nothing behind but finished results.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <map>
#include <ostream>
#include <set>
#include <thread>

#include "tests/cli/Commands.h"
#include "tests/support/PictureFiles.h"

using namespace radvex::test;

namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr int kMoments = 100;
constexpr int kFewerMoments = 48;
constexpr int kKills = 20;

constexpr const char* kOld = "what was there before";

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

struct EndedCommand {
    std::string name{};
    Words words{};
    /// Results that an interrupted run may leave: whole files under their final names.
    bool leavesFinishedFiles = false;
    /// Whether two runs give the same bytes.
    bool isRepeatable = true;
    /// A file that is there before and is replaced: it is as it was, or whole.
    std::string replaced{};
    int moments = kMoments;
};

void PrintTo(const EndedCommand& command, std::ostream* stream) { *stream << command.name; }

/// IN and OTHER hold two series of CT, BROKEN is a file that is cut off, CINE has frames and an overlay, PICTURE is a
/// picture, and OLD holds files that may be replaced. The rest are names of results.
const std::vector<EndedCommand> kCommands{
    {"tree", {"tree", "IN"}},
    {"tags", {"tags", "--recursive", "IN"}},
    {"info", {"info", "IN/a0", "IN/a1", "IN/b0"}},
    {"series", {"series", "IN", "-o", "out"}, true},
    {"commonWindow", {"series", "IN", "-o", "out", "--common-window"}, true},
    {"volume", {"volume", "IN", "-o", "out.nrrd"}, true},
    {"image", {"image", "IN/a0", "-o", "out.png"}, true},
    {"data", {"data", "IN/a0", "-o", "out.npy"}, true},
    {"write", {"write", "PICTURE", "-o", "out.dcm"}, true, false},
    {"index", {"index", "IN", "-o", "out"}, true, false},
    {"anonymize", {"anonymize", "IN", "out", "--key", "KEY", "--report", "out.json"}, true, false},
    {"partialImage", {"image", "BROKEN", "--partial", "-o", "out.png"}, true},
    {"partialTags", {"tags", "BROKEN", "IN/a0", "--partial"}},
    {"diff", {"diff", "IN", "OTHER"}},
    {"verify", {"verify", "IN", "--report", "out.json"}, true},
    {"view", {"view", "IN", "--report", "out.html"}, true},
};

/// What writes in other ways, or over what is there. They share the code of the others, and are ended less often.
const std::vector<EndedCommand> kFurtherCommands{
    {"savedPage", {"view", "IN", "--save", "out.html"}, true},
    {"frames", {"image", "CINE", "-o", "out.png"}, true},
    {"overlays", {"overlays", "CINE", "-o", "out"}, true},
    {"sheets", {"series", "IN", "-o", "out", "--sheet"}, true},
    {"sidecars", {"volume", "IN", "-o", "out.nii.gz", "--bids"}, true},
    {"preview", {"volume", "IN", "-o", "out.nii", "--preview", "out.png", "--series", "1.2.3.1"}, true},
    {"anonymizeFile", {"anonymize", "IN/a0", "out.dcm"}, true, false},
    {"doctor", {"doctor"}},
    {"indexRehearsal", {"index", "IN", "-o", "out", "--dry-run"}},
    {"writeRehearsal", {"write", "PICTURE", "-o", "out.dcm", "--dry-run"}},
    {"replacedImage", {"image", "IN/a0", "-o", "OLD/out.png", "--force"}, true, true, "OLD/out.png"},
    {"replacedData", {"data", "IN/a0", "-o", "OLD/out.npy", "--force"}, true, true, "OLD/out.npy"},
    {"replacedVolume",
     {"volume", "IN", "-o", "OLD/out.nrrd", "--force", "--series", "1.2.3.1"},
     true,
     true,
     "OLD/out.nrrd"},
    {"replacedWrite", {"write", "PICTURE", "-o", "OLD/out.dcm", "--force"}, true, false, "OLD/out.dcm"},
    {"replacedIndex", {"index", "IN", "-o", "OLD", "--force"}, true, false, "OLD/DICOMDIR"},
    {"replacedReport", {"verify", "IN", "--report", "OLD/out.json", "--force"}, true, true, "OLD/out.json"},
};

/// Everything below a folder by its relative path: bytes of files, targets of links.
std::map<std::string, std::string> contentOf(const fs::path& folder) {
    std::map<std::string, std::string> found;
    std::error_code error;
    for (fs::recursive_directory_iterator entry(folder, error), end; entry != end; entry.increment(error)) {
        const std::string name = fs::relative(entry->path(), folder).string();
        if (entry->is_symlink(error)) {
            found[name] = "-> " + fs::read_symlink(entry->path(), error).string();
        } else if (entry->is_regular_file(error)) {
            found[name] = readFile(entry->path().string());
        } else {
            found[name] = "(folder)";
        }
    }
    return found;
}

std::vector<EndedCommand> endedLessOften(std::vector<EndedCommand> commands) {
    for (EndedCommand& command : commands) {
        command.moments = kFewerMoments;
    }
    return commands;
}

/// Whether the bytes of a result are a whole file, of a run whose files differ from those of the next one.
bool isWhole(const std::string& path, const std::string& bytes, const std::string& ofOtherRun) {
    if (path.ends_with(".json")) {
        return Json::accept(bytes);
    }
    const auto elementCount = [](const std::string& content) -> unsigned long {
        const TemporaryFolder folder;
        DcmFileFormat file;
        return file.loadFile(folder.write("x", content).c_str()).good() ? file.getDataset()->card() : 0;
    };
    const unsigned long count = elementCount(ofOtherRun);
    return ofOtherRun.starts_with("->") || ofOtherRun == "(folder)" ? bytes == ofOtherRun
                                                                    : count > 0 && elementCount(bytes) == count;
}

class EndedCommands : public testing::TestWithParam<EndedCommand> {
  protected:
    void SetUp() override {
        fs::create_directory(around.file("IN"));
        for (const char* series : {"a", "b"}) {
            for (int number = 0; number < 6; ++number) {
                ImageFile file{.rows = 32, .columns = 32, .words = std::vector<Uint16>(32 * 32, 7)};
                file.more = [&](DcmDataset& dataset) {
                    const std::string uid = std::string("1.2.3.") + (*series == 'a' ? "1" : "2");
                    put(dataset, {{DCM_PatientID, "HOSP-550137"},
                                  {DCM_PatientName, "Zyxwvut^Quirina"},
                                  {DCM_StudyInstanceUID, "1.2.3"},
                                  {DCM_SeriesInstanceUID, uid},
                                  {DCM_SOPInstanceUID, uid + '.' + std::to_string(number)},
                                  {DCM_InstanceNumber, std::to_string(number + 1)},
                                  {DCM_PixelSpacing, "1\\1"},
                                  {DCM_ImageOrientationPatient, "1\\0\\0\\0\\1\\0"},
                                  {DCM_ImagePositionPatient, "0\\0\\" + std::to_string(number)}});
                };
                writeImageFile(around.file("IN/" + std::string(series) + std::to_string(number)), file);
            }
        }
        const std::string bytes = readFile(around.file("IN/a0"));
        around.write("BROKEN", bytes.substr(0, bytes.size() - 1000));
        fs::copy(around.file("IN"), around.file("OTHER"));
        around.write("PICTURE", pngFile({.columns = 4, .rows = 2, .data = "12345678"}));
        around.write("KEY", "0123456789abcdef0123456789abcdef");
        ImageFile cine{.rows = 8, .columns = 8, .words = std::vector<Uint16>(8 * 8 * 6, 7)};
        cine.frames = "6";
        cine.more = [](DcmDataset& dataset) { putOverlay(dataset, 0x6000, {.columns = 8, .bits = 0b11}); };
        writeImageFile(around.file("CINE"), cine);
        for (const char* folder : {"home", "tmp", "runtime", "OLD"}) {
            fs::create_directory(around.file(folder));
        }
        for (const char* name : {"out.png", "out.npy", "out.nrrd", "out.dcm", "out.json", "DICOMDIR"}) {
            around.write("OLD/" + std::string(name), kOld);
        }
        before = contentOf(around.path());
    }

    pid_t start() const {
        Words words = joined({"/usr/bin/env", "-C", around.path().string(), "HOME=" + around.file("home"),
                              "TMPDIR=" + around.file("tmp"), "XDG_CACHE_HOME=" + around.file("home/cache"),
                              "XDG_RUNTIME_DIR=" + around.file("runtime"), RADVEX_COMMAND},
                             GetParam().words);
        std::vector<char*> argv;
        for (std::string& word : words) {
            argv.push_back(word.data());
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
        posix_spawnattr_t attributes; // a group of its own, as a terminal gives it
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        pid_t child = 0;
        EXPECT_EQ(posix_spawn(&child, argv[0], &actions, &attributes, argv.data(), environ), 0);
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }

    static int waitFor(pid_t child) {
        int state = 0;
        EXPECT_EQ(waitpid(child, &state, 0), child);
        return state;
    }

    /// Seconds of a run that nobody disturbs. Its results are remembered.
    double undisturbed() {
        const auto begin = Clock::now();
        EXPECT_TRUE(WIFEXITED(waitFor(start())));
        const std::chrono::duration<double> seconds = Clock::now() - begin;
        whole = contentOf(around.path());
        const bool hasPage = std::filesystem::exists(fs::path(RADVEX_COMMAND).parent_path() / "../page");
        if (GetParam().leavesFinishedFiles && (hasPage || GetParam().name != "savedPage")) {
            EXPECT_NE(whole, before);
        }
        removeResults();
        return seconds.count();
    }

    void removeResults() {
        for (const auto& [name, content] : contentOf(around.path())) {
            if (!before.contains(name)) {
                fs::remove_all(around.file(name));
            }
        }
        if (!GetParam().replaced.empty()) {
            around.write(GetParam().replaced, kOld);
        }
    }

    bool isFinished(const std::string& name, const std::string& content) const {
        const auto finished = whole.find(name);
        return GetParam().leavesFinishedFiles && finished != whole.end() &&
               (finished->second == content || (!GetParam().isRepeatable && isWhole(name, content, finished->second)));
    }

    /// What is there and may not be.
    std::set<std::string> remains() const {
        std::set<std::string> names;
        const auto now = contentOf(around.path());
        for (const auto& [name, content] : now) {
            if (!before.contains(name) && !isFinished(name, content)) {
                names.insert(name);
            }
        }
        for (const auto& [name, content] : before) {
            const auto still = now.find(name);
            const bool isReplaced =
                name == GetParam().replaced && still != now.end() && isFinished(name, still->second);
            if (still == now.end() || (still->second != content && !isReplaced)) {
                names.insert(name + " (changed)");
            }
        }
        return names;
    }

    /// Processes of the group end a moment after their parent.
    std::set<std::string> remainsAtLast() const {
        std::set<std::string> names = remains();
        for (int attempt = 0; attempt < 50 && !names.empty(); ++attempt) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            names = remains();
        }
        return names;
    }

    TemporaryFolder around{};
    std::map<std::string, std::string> before{};
    std::map<std::string, std::string> whole{};
};

} // namespace

TEST_P(EndedCommands, LeaveNothingButFinishedResults) {
    const double seconds = undisturbed();
    int endedCount = 0;
    const int moments = GetParam().moments;
    for (int moment = 0; moment < moments; ++moment) {
        const int signal = kSignals[static_cast<std::size_t>(moment) % kSignals.size()];
        const bool toGroup = moment / static_cast<int>(kSignals.size()) % 2 == 0;
        const pid_t child = start();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds * moment / moments));
        (void)kill(toGroup ? -child : child, signal);
        const int state = waitFor(child);
        endedCount += WIFSIGNALED(state) ? 1 : 0;
        ASSERT_THAT(remainsAtLast(), IsEmpty())
            << "signal " << signal << " after " << seconds * moment / moments << " of " << seconds << " s";
        removeResults();
    }
    EXPECT_GT(endedCount, moments / 8) << "most runs were over before their signal";
}

TEST_P(EndedCommands, TheNextRunRemovesWhatAKilledOneLeft) {
    const double seconds = undisturbed();
    for (int kills = 0; kills < kKills; ++kills) {
        const pid_t child = start();
        std::this_thread::sleep_for(std::chrono::duration<double>(seconds * kills / kKills));
        (void)kill(child, SIGKILL);
        (void)waitFor(child);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        for (const auto& [name, content] : contentOf(around.path())) {
            if (!before.contains(name) && whole.contains(name)) { // the next run would refuse to replace it
                fs::remove_all(around.file(name));
            }
        }
        if (!GetParam().replaced.empty()) {
            around.write(GetParam().replaced, kOld);
        }
    }
    EXPECT_TRUE(WIFEXITED(waitFor(start())));
    EXPECT_THAT(remainsAtLast(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(All, EndedCommands, testing::ValuesIn(kCommands),
                         [](const auto& command) { return command.param.name; });

INSTANTIATE_TEST_SUITE_P(Further, EndedCommands, testing::ValuesIn(endedLessOften(kFurtherCommands)),
                         [](const auto& command) { return command.param.name; });

TEST(ReaderThatGoesAway, LeavesNothing) {
    const TemporaryFolder in;
    for (int number = 0; number < 20; ++number) {
        writeDicom(in.file(std::to_string(number)),
                   with({{DCM_StudyInstanceUID, "1.2"}, {DCM_SeriesInstanceUID, "1.2." + std::to_string(number)}}));
    }
    const TemporaryFolder temporary;
    for (const std::string words : {"tree --files", "tags --recursive", "tags --json --recursive"}) {
        const std::string script = "TMPDIR='" + temporary.path().string() + "' " RADVEX_COMMAND " " + words + " '" +
                                   in.path().string() + "' | head -n 1";
        EXPECT_EQ(runProcess({"bash", "-c", script}).status, 0);
        EXPECT_THAT(contentOf(temporary.path()), IsEmpty()) << words;
    }
}
