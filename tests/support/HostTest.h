#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "host/Host.h"
#include "tests/support/TemporaryFolder.h"

namespace radvex::test {

// Identifiers of the library's errors, as hosts keep them: a change here would break them.
constexpr int kImageTypeError = -22;
constexpr int kPathNotValidated = -59;
constexpr int kOpenFileError = -62;
constexpr int kInvalidTagName = -64;
constexpr int kInvalidTagValue = -74;
constexpr int kReservedTagError = -75;
constexpr int kImageWriteError = -76;
constexpr int kTagWriteError = -77;
constexpr int kAnonymizationError = -78;
constexpr int kOverlayCountError = -79;
constexpr int kSequenceTagVRError = -80;
constexpr int kVArgumentTypeError = -81;
constexpr int kOverlayPropertyError = -83;

/// Fails the test for every violation and every object alive that the ledger knows.
void expectCleanLedger();

/// A test that needs the host's services and no library. Ends with the accounting at zero.
class ServicesTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    velmora::Services& services() { return *mServices; }

  private:
    std::unique_ptr<velmora::Services> mServices{};
};

/// The tensor by which functions take a window or a method of scaling.
inline velmora::Tensor scaling(double first = 0.0, double second = 0.0) {
    return {std::vector<vint>{2}, std::vector<double>{first, second}};
}

/// A test that calls exported functions through the host. Ends with the accounting at zero.
class LibraryTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    velmora::Host& host() { return *mHost; }
    velmora::Value call(const std::string& name, std::vector<velmora::Value> arguments = {}) {
        return mHost->call(name, std::move(arguments));
    }
    /// Code that a call returns; 0 for success.
    int codeOf(const std::string& name, std::vector<velmora::Value> arguments = {});
    /// Message of the error that a call ends with; empty for success.
    std::string messageOf(const std::string& name, std::vector<velmora::Value> arguments = {});

    TemporaryFolder folder{};

  private:
    std::unique_ptr<velmora::Host> mHost{};
};

} // namespace radvex::test
