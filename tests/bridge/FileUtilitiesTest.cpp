#include "tests/bridge/BridgeTest.h"

#include "bridge/FileUtilities.h"
#include "tests/support/TemporaryFolder.h"

using GTU::openFile;
using GTU::openFileStream;
using std::ios_base;

namespace radvex::test {

namespace {

char askedMode = '?';

} // namespace

class Files : public BridgeTest {
  protected:
    const std::string& path() const { return mPath; }
    std::string content() const { return readFile(mPath); }
    std::string missing() const { return mFolder.file("missing"); }

    /// A fresh file with the text "old".
    void write() { mPath = mFolder.write("file", "old"); }

    /// Opens the file and writes "N" at once. Gives "r" if it can be read, "w" if it can be written, and its content:
    /// together they tell the mode of fopen.
    std::string behaviour(ios_base::openmode mode) {
        write();
        const GTU::FilePtr file = openFile(path(), mode, mPolicy);
        const bool canWrite = std::fputs("N", file.get()) != EOF && std::fflush(file.get()) == 0;
        std::rewind(file.get());
        std::clearerr(file.get());
        (void)std::fgetc(file.get());
        const bool canRead = std::ferror(file.get()) == 0;
        return std::string(canRead ? "r" : "-") + (canWrite ? "w " : "- ") + content();
    }

    /// The access for which the host is asked.
    char askedFor(ios_base::openmode mode) {
        askedMode = '?';
        alterTable().main.validatePath = [](const char*, char access) -> vbool {
            askedMode = access;
            return 1;
        };
        GTU::validatePath("some/path", mode);
        return askedMode;
    }

    Thrown refusedMode(ios_base::openmode mode) {
        write();
        ledger().refuseNothing();
        const Thrown thrown = thrownBy([&] { (void)openFile(path(), mode, mPolicy); });
        EXPECT_EQ(ledger().calls(Operation::validatePath), 1) << "the path is checked first";
        EXPECT_EQ(content(), "old");
        return thrown;
    }

    GTU::AlwaysReadExclusiveWrite mPolicy{};

  private:
    TemporaryFolder mFolder{};
    std::string mPath{};
};

// What the modes of fopen do to a file that holds "old", when "N" is written first.
constexpr const char* kRead = "r- old";        // "r"
constexpr const char* kWrite = "-w N";         // "w"
constexpr const char* kAppend = "-w oldN";     // "a"
constexpr const char* kUpdate = "rw Nld";      // "r+"
constexpr const char* kRewrite = "rw N";       // "w+"
constexpr const char* kReadAppend = "rw oldN"; // "a+"

TEST_F(Files, AreOpenedInEachMode) {
    for (const ios_base::openmode extra : {ios_base::openmode{}, ios_base::openmode{ios_base::binary}}) {
        EXPECT_EQ(behaviour(ios_base::in | extra), kRead);
        EXPECT_EQ(behaviour(ios_base::out | extra), kWrite);
        EXPECT_EQ(behaviour(ios_base::out | ios_base::trunc | extra), kWrite);
        EXPECT_EQ(behaviour(ios_base::app | extra), kAppend);
        EXPECT_EQ(behaviour(ios_base::out | ios_base::app | extra), kAppend);
        EXPECT_EQ(behaviour(ios_base::in | ios_base::out | extra), kUpdate);
        EXPECT_EQ(behaviour(ios_base::in | ios_base::out | ios_base::trunc | extra), kRewrite);
        EXPECT_EQ(behaviour(ios_base::in | ios_base::app | extra), kReadAppend);
        EXPECT_EQ(behaviour(ios_base::in | ios_base::out | ios_base::app | extra), kReadAppend);
    }
}

TEST_F(Files, AreNotOpenedInModesThatFopenDoesNotHave) {
    EXPECT_THAT(refusedMode(ios_base::in | ios_base::trunc), isError(-60, "InvalidOpenMode"));
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{});
    for (const ios_base::openmode mode :
         {ios_base::openmode{}, ios_base::openmode{ios_base::trunc}, ios_base::openmode{ios_base::binary},
          ios_base::openmode{ios_base::ate}, ios_base::app | ios_base::trunc,
          ios_base::out | ios_base::app | ios_base::trunc, ios_base::in | ios_base::app | ios_base::trunc,
          ios_base::in | ios_base::ate, ios_base::in | ios_base::trunc | ios_base::binary}) {
        EXPECT_EQ(refusedMode(mode).id, -60) << static_cast<int>(mode);
    }
}

TEST_F(Files, AreAskedForWithTheAccessOfTheirMode) {
    EXPECT_EQ(askedFor(ios_base::in), 'R');
    EXPECT_EQ(askedFor(ios_base::in | ios_base::binary), 'R');
    EXPECT_EQ(askedFor(ios_base::in | ios_base::trunc), 'R');
    EXPECT_EQ(askedFor(ios_base::openmode{}), 'R');
    EXPECT_EQ(askedFor(ios_base::out), 'W');
    EXPECT_EQ(askedFor(ios_base::app), 'W');
    EXPECT_EQ(askedFor(ios_base::out | ios_base::app), 'W');
    EXPECT_EQ(askedFor(ios_base::in | ios_base::out), 'W');
    EXPECT_EQ(askedFor(ios_base::in | ios_base::app), 'W');
}

TEST_F(Files, OpenedToAppendAreAskedForToWrite) {
    write();
    askedMode = '?';
    alterTable().main.validatePath = [](const char*, char access) -> vbool {
        askedMode = access;
        return 1;
    };
    const GTU::FilePtr file = openFile(path(), ios_base::out | ios_base::app, mPolicy);
    EXPECT_EQ(askedMode, 'W');
    EXPECT_EQ(std::fputs("N", file.get()) != EOF && std::fflush(file.get()) == 0, true);
    EXPECT_EQ(content(), "oldN");
}

TEST_F(Files, ThatTheHostRefusesAreNotTouched) {
    write();
    for (const bool asStream : {false, true}) {
        ledger().refuse(Operation::validatePath, 1);
        EXPECT_THAT(thrownBy([&] {
                        if (asStream) {
                            (void)openFileStream(path(), ios_base::out, mPolicy);
                        } else {
                            (void)openFile(path(), ios_base::out, mPolicy);
                        }
                    }),
                    isError(-59, "PathNotValidated"));
        EXPECT_EQ(deliveredParameters(), std::vector<std::string>{path()});
        EXPECT_EQ(content(), "old");
        services().clearSymbol(kParametersSymbol);
    }
}

TEST_F(Files, OutsideTheHostsFoldersAreRefused) {
    write();
    services().allowWritingBelow({"/nowhere"});
    EXPECT_EQ(thrownBy([&] { GTU::validatePath(path(), ios_base::out); }).id, -59);
    EXPECT_EQ(thrownBy([&] { GTU::validatePath(path(), ios_base::in); }).name, "");
}

TEST_F(Files, ThatTheSystemRefusesAreTold) {
    EXPECT_THAT(thrownBy([&] { (void)openFile(missing(), ios_base::in, mPolicy); }), isError(-61, "OpenFileFailed"));
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{missing()});
}

TEST_F(Files, WithoutATableAreNotOpened) {
    GTU::LibraryData::setLibraryData(nullptr);
    EXPECT_EQ(thrownBy([&] { (void)openFile(missing(), ios_base::in, mPolicy); }).id, -1);
}

TEST_F(Files, AreOpenedAsStreamsWithTheirModeUnchanged) {
    write();
    {
        std::fstream stream = openFileStream(path(), ios_base::in | ios_base::out | ios_base::ate, mPolicy);
        EXPECT_EQ(stream.tellp(), 3) << "at the end";
        stream << "new";
    }
    EXPECT_EQ(content(), "oldnew");
    openFileStream(path(), ios_base::out, mPolicy) << "x";
    EXPECT_EQ(content(), "x");
}

TEST_F(Files, ThatTheSystemRefusesAsStreamsAreTold) {
    EXPECT_EQ(thrownBy([&] { (void)openFileStream(missing(), ios_base::in, mPolicy); }).id, -61);
    EXPECT_EQ(deliveredParameters(), std::vector<std::string>{missing()});
    EXPECT_EQ(thrownBy([&] { (void)openFileStream(missing(), ios_base::in | ios_base::trunc, mPolicy); }).name,
              "OpenFileFailed");
}

TEST_F(Files, ClaimedAreClosed) {
    EXPECT_EQ(GTU::claimFile(nullptr), nullptr);
    write();
    std::FILE* file = std::fopen(path().c_str(), "w");
    {
        const GTU::FilePtr owner = GTU::claimFile(file);
        EXPECT_EQ(owner.get(), file);
        std::fputs("closed", file);
    }
    EXPECT_EQ(content(), "closed") << "closing wrote it out";
}

TEST_F(Files, SharePolicyGivesNoFlags) {
    GTU::SharePolicy& policy = mPolicy;
    EXPECT_EQ(policy.flag(ios_base::in), 0);
    EXPECT_EQ(policy.flag(ios_base::out), 0);
    EXPECT_EQ(GTU::SharePolicy().flag(ios_base::app), 0);
}

} // namespace radvex::test
