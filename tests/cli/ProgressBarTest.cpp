#include "cli/ProgressBar.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/ioctl.h>

#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using radvex::cli::ProgressBar;

namespace {

/// A terminal of its own.
class Terminal {
  public:
    explicit Terminal(unsigned short columns) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = 24;
        if (openpty(&mOuter, &mInner, nullptr, nullptr, &size) != 0) {
            throw std::runtime_error("No terminal can be made");
        }
        fcntl(mOuter, F_SETFL, O_NONBLOCK);
    }
    ~Terminal() {
        close(mInner);
        close(mOuter);
    }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    int descriptor() const { return mInner; }
    /// What was written since the last call.
    std::string shown() const {
        char bytes[1024];
        const ssize_t count = ::read(mOuter, bytes, sizeof bytes);
        return count > 0 ? std::string(bytes, static_cast<std::size_t>(count)) : "";
    }

  private:
    int mOuter = -1;
    int mInner = -1;
};

} // namespace

TEST(ProgressBar, DrawsALineOnATerminalAndErasesItAtTheEnd) {
    const Terminal terminal(80);
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
        const Terminal terminal(columns);
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
