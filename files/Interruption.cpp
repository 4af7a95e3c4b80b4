#include "files/Interruption.h"

#include <array>
#include <csignal>
#include <cstddef>

namespace radvex::files {

namespace {

constexpr std::array kSignals{SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t received = 0;
std::array<void (*)(int), kSignals.size()> formerHandlers{};

void record(int number) { received = number; }

} // namespace

Interruption::Interruption() {
    received = 0;
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
        formerHandlers[index] = std::signal(kSignals[index], record);
        if (formerHandlers[index] == SIG_IGN) { // as under nohup
            (void)std::signal(kSignals[index], SIG_IGN);
        }
    }
}

Interruption::~Interruption() {
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
        (void)std::signal(kSignals[index], formerHandlers[index]);
    }
}

int Interruption::signal() const { return received; }

} // namespace radvex::files
