#pragma once

#include <stdexcept>
#include <string>

namespace radvex {

/// How a run of the command ends: all done; something that was asked for is not there or cannot be done; wrong usage;
/// done but for files that were named.
enum ExitStatus { kDone = 0, kRefused = 1, kUsage = 2, kPartly = 3 };

/// An error that is reported to the user. Its text is a sentence.
class Error : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
    virtual ExitStatus exitStatus() const { return kRefused; }
};

/// A file cannot be read or written, or does not hold what it should.
class FileError : public Error {
  public:
    using Error::Error;
};

/// A signal that ends the command arrived while it was at work. All is tidied up when this is caught.
class EndedBySignal : public Error {
  public:
    EndedBySignal(int signal, const std::string& sentence) : Error(sentence), mSignal(signal) {}
    int signal() const { return mSignal; }

  private:
    int mSignal;
};

/// The command was used wrongly.
class UsageError : public Error {
  public:
    using Error::Error;
    ExitStatus exitStatus() const override { return kUsage; }
};

} // namespace radvex
