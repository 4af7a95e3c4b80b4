// Null environments, links and out parameters outside of the functions that LinkCalls lists.

#include "tests/tether/TetherTest.h"

using namespace tether::test;

namespace {

TEST(NullEnvironment, OpensNothingAndTellsSo) {
    int error = -1;
    EXPECT_EQ(TTLoopbackOpen(nullptr, &error), nullptr);
    EXPECT_EQ(error, TTE_NULL);
    TTLink first = nullptr;
    TTLink second = nullptr;
    error = -1;
    EXPECT_EQ(TTOpenPair(nullptr, &first, &second, &error), 0);
    EXPECT_EQ(error, TTE_NULL);
    EXPECT_EQ(TTLoopbackOpen(nullptr, nullptr), nullptr);
    EXPECT_EQ(TTOpenPair(nullptr, &first, &second, nullptr), 0);
}

TEST(NullEnvironment, HasNoLinksAndNoBuffers) {
    EXPECT_EQ(TTOpenLinkCount(nullptr), 0);
    EXPECT_EQ(TTOpenBufferCount(nullptr), 0);
    TTSetFaultHook(
        nullptr, [](const char*, void*) { return 1; }, nullptr);
    TTDeinitialize(nullptr);
}

TEST(NullLink, IsAnErrorOfTheErrorFunctions) {
    EXPECT_EQ(TTError(nullptr), TTE_NULL);
    EXPECT_EQ(TTErrorMessage(nullptr), nullptr);
    EXPECT_EQ(TTClearError(nullptr), 0);
    EXPECT_EQ(TTReset(nullptr), 0);
    EXPECT_EQ(TTLinkEnvironment(nullptr), nullptr);
}

TEST(NullLink, HasNoMarks) {
    EXPECT_EQ(TTCreateMark(nullptr), nullptr);
    EXPECT_EQ(TTSeekMark(nullptr, nullptr, 0), nullptr);
    TTDestroyMark(nullptr, nullptr);
    TTClose(nullptr);
}

using OpenPair = TetherTest;

TEST_F(OpenPair, NeedsAPointerForBothEnds) {
    TTLink end = nullptr;
    int error = -1;
    EXPECT_EQ(TTOpenPair(environment(), nullptr, &end, &error), 0);
    EXPECT_EQ(error, TTE_NULL);
    error = -1;
    EXPECT_EQ(TTOpenPair(environment(), &end, nullptr, &error), 0);
    EXPECT_EQ(error, TTE_NULL);
    EXPECT_EQ(end, nullptr);
}

/// Every release function, called with what `buffer` points to.
void releaseEverywhere(TTLink link, const void* buffer) {
    TTReleaseErrorMessage(link, static_cast<const char*>(buffer));
    TTReleaseSymbol(link, static_cast<const char*>(buffer));
    TTReleaseString(link, static_cast<const char*>(buffer));
    TTReleaseByteString(link, static_cast<const unsigned char*>(buffer), 0);
    TTReleaseUTF8String(link, static_cast<const unsigned char*>(buffer), 0);
    TTReleaseUTF16String(link, static_cast<const uint16_t*>(buffer), 0);
    TTReleaseUCS2String(link, static_cast<const uint16_t*>(buffer), 0);
    TTReleaseUTF32String(link, static_cast<const uint32_t*>(buffer), 0);
#define TETHER_RELEASE(Name, Type)                                                                                     \
    TTRelease##Name##List(link, static_cast<const Type*>(buffer), 0);                                                  \
    TTRelease##Name##Array(link, static_cast<const Type*>(buffer), nullptr, nullptr, 0);
    TETHER_RELEASE(Integer8, unsigned char)
    TETHER_RELEASE(Integer16, short)
    TETHER_RELEASE(Integer32, int)
    TETHER_RELEASE(Integer64, long long)
    TETHER_RELEASE(Real32, float)
    TETHER_RELEASE(Real64, double)
#undef TETHER_RELEASE
}

using Release = LoopbackTest;

TEST_F(Release, ThroughANullLinkReleasesNothing) {
    EXPECT_NE(TTPutString(link, "text"), 0);
    const char* text = nullptr;
    ASSERT_NE(TTGetString(link, &text), 0);
    releaseEverywhere(nullptr, text);
    EXPECT_EQ(TTOpenBufferCount(environment()), 1);
    EXPECT_STREQ(text, "text");
    TTReleaseString(link, text);
}

TEST_F(Release, OfNullOrOfSomethingForeignReleasesNothing) {
    EXPECT_NE(TTPutString(link, "text"), 0);
    const char* text = nullptr;
    ASSERT_NE(TTGetString(link, &text), 0);
    releaseEverywhere(link, nullptr);
    const double foreign = 0.0;
    releaseEverywhere(link, &foreign);
    EXPECT_EQ(TTOpenBufferCount(environment()), 1);
    EXPECT_EQ(TTError(link), TTE_OK);
    TTReleaseString(link, text);
}

TEST_F(Release, WorksWhileAnErrorStands) {
    EXPECT_NE(TTPutString(link, "text"), 0);
    const char* text = nullptr;
    ASSERT_NE(TTGetString(link, &text), 0);
    EXPECT_EQ(TTGetNext(link), TTTK_ERROR);
    TTReleaseString(link, text);
    EXPECT_EQ(TTOpenBufferCount(environment()), 0);
}

} // namespace
