#include "cli/ProgressBar.h"

#include <algorithm>
#include <memory>

#include "cli/Terminal.h"
#include "cli/arguments/Messages.h"
#include "formats/json/Text.h"

namespace radvex::cli {

namespace {

constexpr std::chrono::milliseconds kPause{100};
constexpr std::chrono::milliseconds kDelay{700}; // work that is done sooner needs no bar
constexpr std::size_t kBarWidth = 20;

/// Ignores errors: a bar that is not drawn is no loss.
void put(int descriptor, const std::string& text) {
    const ssize_t ignored = ::write(descriptor, text.data(), text.size());
    (void)ignored;
}

/// ", 2:05 left", or nothing as long as that cannot be told.
std::string timeLeft(std::chrono::duration<double> passed, std::size_t done, std::size_t total) {
    if (done == 0 || done >= total) {
        return "";
    }
    const double seconds = passed.count() * static_cast<double>(total - done) / static_cast<double>(done);
    constexpr double kMost = 100.0 * 3600;
    const auto whole = static_cast<unsigned>(std::min(seconds, kMost)) + 1;
    const std::string rest = std::to_string(whole % 60);
    return ", " + std::to_string(whole / 60) + ':' + (rest.size() < 2 ? "0" : "") + rest + " left";
}

std::string line(const std::string& what, std::size_t done, std::size_t total, const std::string& time,
                 std::size_t width) {
    const std::size_t filled = total == 0 ? kBarWidth : kBarWidth * std::min(done, total) / total;
    const std::string bar = " [" + std::string(filled, '#') + std::string(kBarWidth - filled, ' ') + "] " +
                            std::to_string(done) + " of " + std::to_string(total) + time;
    // A line that wraps could not be erased, so the text in front is cut.
    const std::size_t room = width > bar.size() + 1 ? width - bar.size() - 1 : 0;
    return room == 0 ? "" : (what.size() <= room ? what : what.substr(0, room)) + bar;
}

} // namespace

ProgressBar::ProgressBar(const std::string& what, int descriptor, Clock::time_point start)
    : mWhat(formats::printable(what)),
      mDescriptor(descriptor),
      mIsTerminal(isTerminal(descriptor) && !Messages::ofThisRun().isQuiet),
      mStart(start),
      mNext(start + kDelay) {}

ProgressBar::~ProgressBar() {
    hide();
    if (mDone > 0) {
        const std::chrono::duration<double> passed = Clock::now() - mStart;
        Messages::tell(mWhat + ": " + std::to_string(mDone) + " in " + secondsText(passed.count()));
    }
}

void ProgressBar::hide() {
    if (mIsDrawn) {
        put(mDescriptor, kEraseLine);
        setDrawn(false);
    }
}

void ProgressBar::setDrawn(bool isDrawn) {
    mIsDrawn = isDrawn;
    Messages::ofThisRun().hasProgressLine = isDrawn && mDescriptor == STDERR_FILENO;
}

void ProgressBar::show(std::size_t done, std::size_t total) {
    mDone = done;
    if (!mIsTerminal) {
        return;
    }
    const auto now = Clock::now();
    if (now < mNext) {
        return;
    }
    mNext = now + kPause;
    setDrawn(true);
    put(mDescriptor,
        kEraseLine + line(mWhat, done, total, timeLeft(now - mStart, done, total), terminalWidth(mDescriptor)));
}

workers::Progress ProgressBar::forEachWork() {
    struct State {
        std::string what{};
        std::unique_ptr<ProgressBar> bar{};
    };
    return [state = std::make_shared<State>()](const std::string& what, std::size_t done, std::size_t total) {
        if (state->bar == nullptr || state->what != what) {
            state->bar.reset(); // before the next one draws
            state->bar = std::make_unique<ProgressBar>(what);
            state->what = what;
        }
        state->bar->show(done, total);
        if (done == total) {
            state->bar.reset();
        }
    };
}

} // namespace radvex::cli
