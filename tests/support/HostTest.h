#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "host/Host.h"

namespace radvex::test {

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

  private:
    std::unique_ptr<velmora::Host> mHost{};
};

} // namespace radvex::test
