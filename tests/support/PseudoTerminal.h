#pragma once

#include <fcntl.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/Process.h"

namespace radvex::test {

/// A terminal of its own.
class PseudoTerminal {
  public:
    explicit PseudoTerminal(unsigned short columns) {
        winsize size{};
        size.ws_col = columns;
        size.ws_row = 24;
        if (openpty(&mOuter, &mInner, nullptr, nullptr, &size) != 0) {
            throw std::runtime_error("No terminal can be made");
        }
        fcntl(mOuter, F_SETFL, O_NONBLOCK);
    }
    ~PseudoTerminal() {
        close(mInner);
        close(mOuter);
    }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    int descriptor() const { return mInner; }
    /// What was written since the last call.
    std::string shown() const {
        char bytes[4096];
        std::string text;
        for (ssize_t count = 0; (count = ::read(mOuter, bytes, sizeof bytes)) > 0;) {
            text.append(bytes, static_cast<std::size_t>(count));
        }
        return text;
    }

  private:
    int mOuter = -1;
    int mInner = -1;
};

/// Runs a program whose standard output, or another descriptor, is a terminal of so many columns, and gives what it
/// shows there with plain line ends.
inline std::string shownOnTerminal(const Words& arguments, unsigned short columns, int descriptor = STDOUT_FILENO) {
    const PseudoTerminal terminal(columns);
    Words copies = arguments;
    std::vector<char*> argv;
    for (std::string& argument : copies) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        dup2(terminal.descriptor(), descriptor);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    std::string text;
    int state = 0;
    while (waitpid(child, &state, WNOHANG) == 0) {
        text += terminal.shown();
        usleep(1000);
    }
    text += terminal.shown();
    for (std::size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", end)) {
        text.erase(end, 1);
    }
    return text;
}

} // namespace radvex::test
