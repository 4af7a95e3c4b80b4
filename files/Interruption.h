#pragma once

namespace radvex::files {

/// While one lives, the signals that ask a process to end only take note, so that long work can tidy up.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// The signal that came, 0 as long as none did.
    int signal() const;
};

} // namespace radvex::files
