#include "cli/ProgressBar.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/support/PseudoTerminal.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using radvex::cli::ProgressBar;

namespace {

using Clock = ProgressBar::Clock;

/// When work began that takes so long already.
Clock::time_point before(std::chrono::seconds passed) { return Clock::now() - passed; }

} // namespace

TEST(ProgressBar, DrawsALineOnATerminalAndErasesItAtTheEnd) {
    const PseudoTerminal terminal(80);
    {
        ProgressBar bar("Indexing scans", terminal.descriptor(), before(std::chrono::seconds(2)));
        EXPECT_EQ(terminal.shown(), "");
        bar.show(0, 4);
        EXPECT_EQ(terminal.shown(), "\r\x1B[KIndexing scans [                    ] 0 of 4");
        bar.show(2, 4);
        EXPECT_EQ(terminal.shown(), "") << "not drawn for every step";
    }
    EXPECT_EQ(terminal.shown(), "\r\x1B[K");
}

TEST(ProgressBar, SaysHowMuchTimeIsLeft) {
    const PseudoTerminal terminal(80);
    ProgressBar bar("Reading", terminal.descriptor(), before(std::chrono::seconds(30)));
    bar.show(1, 4); // three times as long again, and the second that has begun
    EXPECT_EQ(terminal.shown(), "\r\x1B[KReading [#####               ] 1 of 4, 1:31 left");
}

TEST(ProgressBar, WorkThatIsSoonDoneHasNone) {
    const PseudoTerminal terminal(80);
    {
        ProgressBar bar("Reading", terminal.descriptor());
        bar.show(1, 4);
    }
    EXPECT_EQ(terminal.shown(), "");
}

TEST(ProgressBar, NeverDrawsALineThatWouldWrap) {
    for (const unsigned short columns : std::initializer_list<unsigned short>{5, 40, 50}) {
        const PseudoTerminal terminal(columns);
        ProgressBar bar(std::string(60, 'x'), terminal.descriptor(), before(std::chrono::seconds(9)));
        bar.show(0, 0);
        EXPECT_LT(terminal.shown().size(), columns + std::string("\r\x1B[K").size());
    }
}

TEST(ProgressBar, WritesNothingToAFile) {
    const TemporaryFolder folder;
    const int file = open(folder.write("out", "").c_str(), O_WRONLY);
    {
        ProgressBar bar("Indexing", file, before(std::chrono::seconds(9)));
        bar.show(1, 1);
    }
    close(file);
    EXPECT_EQ(readFile(folder.file("out")), "");
}
