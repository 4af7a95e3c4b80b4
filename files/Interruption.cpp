#include "files/Interruption.h"

#include <csignal>
#include <initializer_list>

namespace radvex::files {

namespace {

volatile std::sig_atomic_t received = 0;

void record(int number) { received = number; }

/// Handles the signals, except those that the process ignores, as under nohup.
void handleSignals(void (*handler)(int)) {
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        if (std::signal(number, handler) == SIG_IGN) {
            (void)std::signal(number, SIG_IGN);
        }
    }
}

} // namespace

Interruption::Interruption() {
    received = 0;
    handleSignals(record);
}

Interruption::~Interruption() { handleSignals(SIG_DFL); }

int Interruption::signal() const { return received; }

} // namespace radvex::files
