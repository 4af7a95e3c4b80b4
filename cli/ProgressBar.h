#pragma once

#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string>

#include "workers/Workers.h"

namespace radvex::cli {

/// How far long work has come: one line on a terminal that is drawn over and is gone at the end. On anything but a
/// terminal nothing is written.
class ProgressBar {
  public:
    explicit ProgressBar(const std::string& what, int descriptor = STDERR_FILENO);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// May be called for every step: the line is drawn a few times a second.
    void show(std::size_t done, std::size_t total);

    /// Draws a bar for each piece of work that it is told of; gone when that is done, or with the function.
    static workers::Progress forEachWork();

  private:
    using Clock = std::chrono::steady_clock;

    std::string mWhat;
    int mDescriptor;
    bool mIsTerminal;
    bool mIsDrawn = false;
    Clock::time_point mNext{}; ///< not drawn again before
};

} // namespace radvex::cli
