// The fault hook, and how every function answers a null link, an earlier error and a refusal.

#include <algorithm>

#include "tests/tether/LinkCalls.h"
#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

/// Refuses the functions of one name and keeps the names of all.
struct Refusal {
    std::string refused{};
    std::vector<std::string> called{};

    static int hook(const char* function, void* context) {
        auto* refusal = static_cast<Refusal*>(context);
        refusal->called.emplace_back(function);
        return refusal->refused == function ? 1 : 0;
    }
};

class EveryCall : public LoopbackTest, public ::testing::WithParamInterface<LinkCall> {
  protected:
    /// After a call that failed: nothing was put, and nothing that was there is gone.
    void expectNothingHappened() {
        TTClearError(link);
        if (GetParam().puts) {
            expectNothingLeft(link);
        }
        EXPECT_NE(GetParam().call(link), 0) << "error " << TTError(link);
    }
};

TEST_P(EveryCall, SucceedsAndLeavesNoError) {
    GetParam().prepare(link);
    EXPECT_NE(GetParam().call(link), 0);
    EXPECT_EQ(TTError(link), TTE_OK);
}

TEST_P(EveryCall, FailsOnANullLink) { EXPECT_EQ(GetParam().call(nullptr), 0); }

TEST_P(EveryCall, AnswersANullLinkWithoutAskingTheHook) {
    Refusal refusal;
    TTSetFaultHook(environment(), Refusal::hook, &refusal);
    GetParam().call(nullptr);
    EXPECT_TRUE(refusal.called.empty());
    TTSetFaultHook(environment(), nullptr, nullptr);
}

TEST_P(EveryCall, FailsWhileAnErrorStandsAndWorksOnceItIsCleared) {
    GetParam().prepare(link);
    EXPECT_EQ(TTPutFunction(link, "f", -1), 0);
    EXPECT_EQ(GetParam().call(link), 0);
    EXPECT_EQ(TTError(link), TTE_SEQUENCE) << "the first error stands";
    expectNothingHappened();
}

TEST_P(EveryCall, FailsWhenItIsRefusedAndWorksOnceItIsNot) {
    GetParam().prepare(link);
    Refusal refusal{.refused = GetParam().name};
    TTSetFaultHook(environment(), Refusal::hook, &refusal);
    EXPECT_EQ(GetParam().call(link), 0);
    EXPECT_EQ(TTError(link), TTE_REFUSED);
    TTSetFaultHook(environment(), nullptr, nullptr);
    expectNothingHappened();
}

TEST_P(EveryCall, TellsTheHookItsNameOnce) {
    GetParam().prepare(link);
    Refusal refusal;
    TTSetFaultHook(environment(), Refusal::hook, &refusal);
    EXPECT_NE(GetParam().call(link), 0);
    TTSetFaultHook(environment(), nullptr, nullptr);
    EXPECT_EQ(std::count(refusal.called.begin(), refusal.called.end(), GetParam().name), 1);
}

INSTANTIATE_TEST_SUITE_P(Functions, EveryCall, ::testing::ValuesIn(linkCalls()),
                         [](const auto& tested) { return tested.param.name; });

class FaultHook : public TetherTest {
  protected:
    void refuse(const std::string& function) {
        mRefusal.refused = function;
        TTSetFaultHook(environment(), Refusal::hook, &mRefusal);
    }
    void refuseNothing() { TTSetFaultHook(environment(), nullptr, nullptr); }

  private:
    Refusal mRefusal{};
};

TEST_F(FaultHook, ARefusedLoopbackIsNullAndTellsSo) {
    refuse("TTLoopbackOpen");
    int error = -1;
    EXPECT_EQ(TTLoopbackOpen(environment(), &error), nullptr);
    EXPECT_EQ(error, TTE_REFUSED);
    EXPECT_EQ(TTLoopbackOpen(environment(), nullptr), nullptr);
    EXPECT_EQ(TTOpenLinkCount(environment()), 0);
    refuseNothing();
    const TTLink link = TTLoopbackOpen(environment(), nullptr); // whoever does not want the code need not take it
    EXPECT_NE(link, nullptr);
    TTClose(link);
}

TEST_F(FaultHook, ARefusedPairOpensNeitherEndAndTellsSo) {
    refuse("TTOpenPair");
    TTLink first = nullptr;
    TTLink second = nullptr;
    int error = -1;
    EXPECT_EQ(TTOpenPair(environment(), &first, &second, &error), 0);
    EXPECT_EQ(error, TTE_REFUSED);
    EXPECT_EQ(TTOpenPair(environment(), &first, &second, nullptr), 0);
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(second, nullptr);
    EXPECT_EQ(TTOpenLinkCount(environment()), 0);
}

TEST_F(FaultHook, ARefusedSentenceIsNullAndTheErrorStays) {
    const TTLink link = openLoopback();
    EXPECT_EQ(TTPutFunction(link, "f", -1), 0);
    refuse("TTErrorMessage");
    EXPECT_EQ(TTErrorMessage(link), nullptr);
    EXPECT_EQ(TTError(link), TTE_SEQUENCE);
    refuseNothing();
    const char* message = TTErrorMessage(link);
    EXPECT_NE(message, nullptr);
    TTReleaseErrorMessage(link, message);
    TTClose(link);
}

TEST_F(FaultHook, DoesNotStandInTheWayOfCleaningUp) {
    const TTLink link = openLoopback();
    EXPECT_NE(TTPutString(link, "text"), 0);
    const char* text = nullptr;
    EXPECT_NE(TTGetString(link, &text), 0);
    const TTMark mark = TTCreateMark(link);
    TTSetFaultHook(
        environment(), [](const char*, void*) { return 1; }, nullptr);
    EXPECT_EQ(TTPutSymbol(link, "x"), 0);
    EXPECT_EQ(TTError(link), TTE_REFUSED);
    EXPECT_NE(TTClearError(link), 0);
    EXPECT_NE(TTReset(link), 0);
    TTReleaseString(link, text);
    TTDestroyMark(link, mark);
    TTClose(link);
    EXPECT_EQ(TTOpenLinkCount(environment()), 0);
}

} // namespace
