#pragma once

namespace radvex::files {

/// While an object of this class exists, signals that ask the process to end are only recorded, so that long work can
/// clean up first.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    /// Number of the signal that arrived; 0 if there was none.
    int signal() const;
};

} // namespace radvex::files
