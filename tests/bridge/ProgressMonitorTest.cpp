#include "tests/bridge/BridgeTest.h"

using GTU::ProgressMonitor;
using GTU::VArgumentManager;

namespace radvex::test {

class Progress : public BridgeTest {
  protected:
    void SetUp() override {
        BridgeTest::SetUp();
        mTensor = velmora::Tensor({1}, std::vector<double>{0.25});
        mTensor.handle()->shares = 1;
    }
    void TearDown() override {
        mTensor = {};
        BridgeTest::TearDown();
    }

    ProgressMonitor monitor(double step = 0.125) {
        return {GTU::Tensor<double, GTU::Passing::Shared>(mTensor.handle()), step};
    }
    /// What the host sees.
    double seen() const { return mTensor.data<double>()[0]; }
    const velmora::Tensor& tensor() const { return mTensor; }

    /// What getProgressMonitor throws for the given cells, of which the last counts.
    Thrown refused(std::vector<VArgument> cells) {
        VArgument result{};
        const VArgumentManager mngr(static_cast<vint>(cells.size()), cells.data(), result);
        return thrownBy([&] { (void)mngr.getProgressMonitor(0.5); });
    }

  private:
    velmora::Tensor mTensor{};
};

TEST_F(Progress, IsTheElementThatTheHostSees) {
    ProgressMonitor progress = monitor();
    EXPECT_EQ(progress.get(), 0.25);
    progress.set(0.5);
    EXPECT_EQ(seen(), 0.5);
    EXPECT_EQ(progress.get(), 0.5);
}

TEST_F(Progress, GrowsAndShrinksByAmountsAndSteps) {
    ProgressMonitor progress = monitor(0.125);
    progress += 0.5;
    EXPECT_EQ(seen(), 0.75);
    progress -= 0.25;
    EXPECT_EQ(seen(), 0.5);
    ++progress;
    EXPECT_EQ(seen(), 0.625);
    ++(++progress);
    EXPECT_EQ(seen(), 0.875);
    --progress;
    EXPECT_EQ(seen(), 0.75);
}

TEST_F(Progress, StepCanBeChanged) {
    ProgressMonitor progress = monitor(0.125);
    EXPECT_EQ(progress.getStep(), 0.125);
    progress.setStep(0.5);
    EXPECT_EQ(progress.getStep(), 0.5);
    --progress;
    EXPECT_EQ(seen(), -0.25);
}

TEST_F(Progress, IsNotClamped) {
    ProgressMonitor progress = monitor();
    progress.set(7.5);
    EXPECT_EQ(seen(), 7.5);
    progress -= 10.0;
    EXPECT_EQ(seen(), -2.5);
}

TEST_F(Progress, StoresTheValueBeforeItNoticesAnAbort) {
    ProgressMonitor progress = monitor();
    services().setAbort(true);
    EXPECT_THAT(thrownBy([&] { progress.set(0.5); }), isError(-56, "Aborted"));
    EXPECT_EQ(seen(), 0.5);
}

TEST_F(Progress, NoticesAnAbortAtEveryChange) {
    ProgressMonitor progress = monitor(0.125);
    services().setAbort(true);
    EXPECT_EQ(thrownBy([&] { progress += 0.5; }).id, -56);
    EXPECT_EQ(seen(), 0.75);
    EXPECT_EQ(thrownBy([&] { progress -= 0.25; }).id, -56);
    EXPECT_EQ(seen(), 0.5);
    EXPECT_EQ(thrownBy([&] { ++progress; }).id, -56);
    EXPECT_EQ(seen(), 0.625);
    EXPECT_EQ(thrownBy([&] { --progress; }).id, -56);
    EXPECT_EQ(seen(), 0.5);
    EXPECT_EQ(thrownBy([&] { progress.setStep(2.0); }).id, -56);
    EXPECT_EQ(progress.getStep(), 2.0);
    EXPECT_EQ(thrownBy([] { ProgressMonitor::checkAbort(); }).id, -56);
}

TEST_F(Progress, IsReadWithoutNoticingAnAbort) {
    const ProgressMonitor progress = monitor();
    services().setAbort(true);
    EXPECT_EQ(progress.get(), 0.25);
    EXPECT_EQ(progress.getStep(), 0.125);
}

TEST_F(Progress, DropsItsShareOnceAndLeavesTheTensor) {
    {
        ProgressMonitor first = monitor();
        const ProgressMonitor second = std::move(first);
        EXPECT_EQ(second.get(), 0.25);
        EXPECT_EQ(tensor().handle()->shares, 1);
    }
    EXPECT_EQ(tensor().handle()->shares, 0);
    EXPECT_EQ(ledger().counts(ObjectKind::tensor).disowned, 1);
    EXPECT_TRUE(ledger().isAlive(ObjectKind::tensor, tensor().handle()));
}

TEST_F(Progress, DropsItsShareWhenItIsAborted) {
    services().setAbort(true);
    thrownBy([&] { monitor().set(1.0); });
    EXPECT_EQ(tensor().handle()->shares, 0);
}

TEST_F(Progress, OfACallIsItsLastArgument) {
    vint number = 5;
    VTensor handle = tensor().handle();
    VArgument cells[] = {{.integer = &number}, {.tensor = &handle}};
    VArgument result{};
    const VArgumentManager mngr(2, cells, result);
    ProgressMonitor progress = mngr.getProgressMonitor(0.5);
    EXPECT_EQ(progress.getStep(), 0.5);
    ++progress;
    EXPECT_EQ(seen(), 0.75);
}

TEST_F(Progress, OfACallWithoutArgumentsIsRefused) {
    EXPECT_THAT(refused({}), isError(-2, "VArgumentIndexError", "Index too small when accessing ProgressMonitor."));
}

TEST_F(Progress, OfANullTensorIsRefused) {
    VTensor null = nullptr;
    EXPECT_EQ(refused({VArgument{.tensor = &null}}).name, "CreateFromNullError");
}

TEST_F(Progress, OfATensorThatIsNotRealIsRefused) {
    const velmora::Tensor integers(std::vector<vint>{1}, std::vector<vint>{0});
    integers.handle()->shares = 1;
    VTensor handle = integers.handle();
    EXPECT_EQ(refused({VArgument{.tensor = &handle}}).name, "TensorTypeError");
    EXPECT_EQ(integers.handle()->shares, 0);
}

} // namespace radvex::test
