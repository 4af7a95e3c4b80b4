#include "cli/ProgressBar.h"

#include <fcntl.h>
#include <gtest/gtest.h>

#include "tests/support/PseudoTerminal.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using radvex::cli::ProgressBar;

TEST(ProgressBar, DrawsALineOnATerminalAndErasesItAtTheEnd) {
    const PseudoTerminal terminal(80);
    {
        ProgressBar bar("Indexing scans", terminal.descriptor());
        EXPECT_EQ(terminal.shown(), "");
        bar.show(1, 4);
        EXPECT_EQ(terminal.shown(), "\r\x1B[KIndexing scans [#####               ] 1 of 4");
        bar.show(2, 4);
        EXPECT_EQ(terminal.shown(), "") << "not drawn for every step";
    }
    EXPECT_EQ(terminal.shown(), "\r\x1B[K");
}

TEST(ProgressBar, NeverDrawsALineThatWouldWrap) {
    for (const unsigned short columns : std::initializer_list<unsigned short>{5, 40, 50}) {
        const PseudoTerminal terminal(columns);
        ProgressBar bar(std::string(60, 'x'), terminal.descriptor());
        bar.show(0, 0);
        EXPECT_LT(terminal.shown().size(), columns + std::string("\r\x1B[K").size());
    }
}

TEST(ProgressBar, WritesNothingToAFile) {
    const TemporaryFolder folder;
    const int file = open(folder.write("out", "").c_str(), O_WRONLY);
    {
        ProgressBar bar("Indexing", file);
        bar.show(1, 1);
    }
    close(file);
    EXPECT_EQ(readFile(folder.file("out")), "");
}
