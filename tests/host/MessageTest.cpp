#include "host/Host.h"

#include <gtest/gtest.h>

using velmora::fillMessage;

TEST(FillMessage, ReplacesSlotsAndTheirBackticksInOrder) {
    EXPECT_EQ(fillMessage("Got `1` pixels, expected `2`.", {"5", "6"}), "Got 5 pixels, expected 6.");
}

TEST(FillMessage, LeavesASlotWithoutAValueAsItStands) {
    EXPECT_EQ(fillMessage("Got `1` pixels, expected `2`.", {"5"}), "Got 5 pixels, expected `2`.");
    EXPECT_EQ(fillMessage("Not implemented.", {}), "Not implemented.");
}

TEST(FillMessage, IgnoresAValueWithoutASlot) { EXPECT_EQ(fillMessage("Tag `t`.", {"a", "b"}), "Tag a."); }

TEST(FillMessage, DoesNotFillSlotsThatAValueBringsAlong) {
    EXPECT_EQ(fillMessage("`a` and `b`", {"`x`", "y"}), "`x` and y");
}

TEST(FillMessage, LeavesALoneBacktickAlone) { EXPECT_EQ(fillMessage("It's ` here", {"a"}), "It's ` here"); }
