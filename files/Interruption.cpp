#include "files/Interruption.h"

#include <csignal>

namespace radvex::files {

namespace {

volatile std::sig_atomic_t received = 0;

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

void record(int number) { received = number; }

} // namespace

Interruption::Interruption() {
    received = 0;
    for (const int number : kSignals) {
        // A signal that the caller ignores stays ignored (nohup).
        if (std::signal(number, record) == SIG_IGN) {
            (void)std::signal(number, SIG_IGN);
        }
    }
}

Interruption::~Interruption() {
    for (const int number : kSignals) {
        if (std::signal(number, SIG_DFL) == SIG_IGN) {
            (void)std::signal(number, SIG_IGN);
        }
    }
}

int Interruption::signal() const { return received; }

} // namespace radvex::files
