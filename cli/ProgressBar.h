#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "workers/Workers.h"

namespace radvex::cli {

/// The progress of work that takes longer than a second: one line on a terminal with the time left, which is redrawn in
/// place and erased at the end. Nothing is written to anything but a terminal, and nothing with --quiet. With --verbose
/// a line that stays says how long the work took, wherever standard error goes.
class ProgressBar {
  public:
    using Clock = std::chrono::steady_clock;

    /// @param start  when the work began
    explicit ProgressBar(const std::string& what, int descriptor = STDERR_FILENO,
                         Clock::time_point start = Clock::now());
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// May be called for every step. The line is drawn at most ten times a second.
    void show(std::size_t done, std::size_t total);
    /// Erases the line until the next step is shown, so that something else can be written.
    void hide();

    /// A function that draws a bar for each piece of work. A bar is erased when its work is done, or with the function.
    static workers::Progress forEachWork();

  private:
    void setDrawn(bool isDrawn);

    std::string mWhat;
    int mDescriptor;
    bool mIsTerminal;
    bool mIsDrawn = false;
    std::size_t mDone = 0; ///< as it was shown last
    Clock::time_point mStart;
    Clock::time_point mNext; ///< the next time to draw
};

} // namespace radvex::cli
