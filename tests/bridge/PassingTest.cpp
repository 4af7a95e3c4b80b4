#include "bridge/containers/Passing.h"

#include <gtest/gtest.h>

#include <string>

using GTU::Passing::Automatic;
using GTU::Passing::Manual;
using GTU::Passing::PassingPolicy;
using GTU::Passing::Shared;

namespace {

/// A policy that writes down what it is made to do.
template <typename P>
class Recorder : public P {
  public:
    explicit Recorder(std::string& target) : log(target) {}

  private:
    void free() override { log += "free "; }
    void pass(VArgument /*res*/) const override { log += "pass "; }
    void disown() override { log += "disown "; }

    std::string& log;
};

} // namespace

TEST(Passing, OnlyAutomaticStartsWithoutOwnership) {
    std::string log;
    EXPECT_TRUE(Recorder<Manual>(log).isOwnedByLibrary());
    EXPECT_FALSE(Recorder<Automatic>(log).isOwnedByLibrary());
    EXPECT_TRUE(Recorder<Shared>(log).isOwnedByLibrary());
    EXPECT_EQ(log, "");
}

TEST(Passing, ManualFreesWhatItOwns) {
    std::string log;
    Recorder<Manual> policy(log);
    policy.cleanup();
    EXPECT_EQ(log, "free ");
}

TEST(Passing, ManualFreesNothingAfterItsOwnershipEnded) {
    std::string log;
    Recorder<Manual> policy(log);
    policy.setOwnedByLibrary(false);
    policy.cleanup();
    EXPECT_EQ(log, "");
}

TEST(Passing, ManualGivesItsOwnershipAwayWithTheResult) {
    std::string log;
    Recorder<Manual> policy(log);
    policy.passAsResult(VArgument{});
    EXPECT_FALSE(policy.isOwnedByLibrary());
    policy.cleanup();
    EXPECT_EQ(log, "pass ");
}

TEST(Passing, AutomaticReleasesNothingEvenWhenItIsTheLibrarys) {
    std::string log;
    Recorder<Automatic> policy(log);
    policy.setOwnedByLibrary(true);
    policy.cleanup();
    EXPECT_EQ(log, "");
}

TEST(Passing, AutomaticIsNotTheLibrarysAfterItWasPassed) {
    std::string log;
    Recorder<Automatic> policy(log);
    policy.setOwnedByLibrary(true);
    policy.passAsResult(VArgument{});
    EXPECT_FALSE(policy.isOwnedByLibrary());
    EXPECT_EQ(log, "pass ");
}

TEST(Passing, SharedDropsItsShare) {
    std::string log;
    Recorder<Shared> policy(log);
    policy.cleanup();
    EXPECT_EQ(log, "disown ");
}

TEST(Passing, SharedDropsNothingThatItDoesNotOwn) {
    std::string log;
    Recorder<Shared> policy(log);
    policy.setOwnedByLibrary(false);
    policy.cleanup();
    EXPECT_EQ(log, "");
}

TEST(Passing, SharedKeepsItsShareWhenItIsPassed) {
    std::string log;
    Recorder<Shared> policy(log);
    policy.passAsResult(VArgument{});
    EXPECT_TRUE(policy.isOwnedByLibrary());
    EXPECT_EQ(log, "pass ");
}

TEST(Passing, AssigningToManualReleasesWhatItHadAndOwnsWhateverComes) {
    std::string log;
    Recorder<Manual> target(log);
    std::string unused;
    const Recorder<Automatic> source(unused);
    static_cast<PassingPolicy&>(target) = source;
    EXPECT_EQ(log, "free ");
    EXPECT_TRUE(target.isOwnedByLibrary());
}

TEST(Passing, AssigningToManualThatOwnsNothingReleasesNothing) {
    std::string log;
    Recorder<Manual> target(log);
    target.setOwnedByLibrary(false);
    std::string unused;
    Recorder<Manual> source(unused);
    source.setOwnedByLibrary(false);
    static_cast<Manual&>(target) = source;
    EXPECT_EQ(log, "");
    EXPECT_TRUE(target.isOwnedByLibrary());
}

TEST(Passing, AssigningToTheOthersCopiesTheOwnership) {
    std::string log;
    const Recorder<Manual> owning(log);
    Recorder<Automatic> automatic(log);
    static_cast<PassingPolicy&>(automatic) = owning;
    EXPECT_TRUE(automatic.isOwnedByLibrary());

    const Recorder<Automatic> notOwning(log);
    Recorder<Shared> shared(log);
    static_cast<PassingPolicy&>(shared) = notOwning;
    EXPECT_FALSE(shared.isOwnedByLibrary());
    EXPECT_EQ(log, "");
}
