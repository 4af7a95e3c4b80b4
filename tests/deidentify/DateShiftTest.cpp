#include "deidentify/rewriting/DateShift.h"

#include <gtest/gtest.h>

using radvex::deidentify::shiftDates;

namespace {

std::string shifted(const std::string& value, int days) { return shiftDates(value, days).value_or("(no date)"); }

} // namespace

TEST(DateShift, KnowsTheLengthsOfMonthsAndYears) {
    EXPECT_EQ(shifted("20200301", -1), "20200229");
    EXPECT_EQ(shifted("20190301", -1), "20190228");
    EXPECT_EQ(shifted("19000301", -1), "19000228") << "a century that is no leap year";
    EXPECT_EQ(shifted("20000229", 366), "20010301");
    EXPECT_EQ(shifted("20240115", -365), "20230115");
    EXPECT_EQ(shifted("20201231", 1), "20210101");
    EXPECT_EQ(shifted("20200331", -1826), "20150401");
    EXPECT_EQ(shifted("20200331", 0), "20200331");
}

TEST(DateShift, MovesAPartOfADateFromItsMiddle) {
    EXPECT_EQ(shifted("2020", -30), "2020") << "from the first of July to the first of June";
    EXPECT_EQ(shifted("2020", -365), "2019");
    EXPECT_EQ(shifted("202002", -31), "202001") << "from the 15th to the 15th";
    EXPECT_EQ(shifted("202003", -14), "202003");
    EXPECT_EQ(shifted("202003", -15), "202002");
}

TEST(DateShift, LeavesTimesFractionsAndOffsets) {
    EXPECT_EQ(shifted("20200301235959.123456+0100", -1), "20200229235959.123456+0100");
    EXPECT_EQ(shifted("2020030112", -1), "2020022912");
    EXPECT_EQ(shifted("20200301-0500", -1), "20200229-0500");
    EXPECT_EQ(shifted("202003-0500", -31), "202002-0500") << "from 15 March to 13 February";
    EXPECT_EQ(shifted("2020+0000", -365), "2019+0000");
}

TEST(DateShift, MovesEachOfSeveralValues) {
    EXPECT_EQ(shifted("20200301\\20210301", -1), "20200229\\20210228");
    EXPECT_EQ(shifted("20200301 \\ 20210301 ", -1), "20200229\\20210228");
    EXPECT_EQ(shifted("\\20200301\\", -1), "\\20200229\\") << "empty values stay empty";
    EXPECT_EQ(shifted("", -1), "");
    EXPECT_EQ(shifted("20200301\\yesterday", -1), "(no date)");
}

TEST(DateShift, ReadsTheOldFormWithDots) {
    EXPECT_EQ(shifted("2020.03.01", -1), "20200229");
    EXPECT_EQ(shifted("2020.3.1", -1), "(no date)");
    EXPECT_EQ(shifted("2020.03-01", -1), "(no date)");
}

TEST(DateShift, IsNothingForWhatIsNoDate) {
    for (const char* value :
         {"yesterday", "20201301", "20200001", "20200132", "20190229", "20200100", "202013", "20200", "2020010", "202",
          "-2020101", "2020-01-31", "2020/01/31", "0999", "09990101", "00000000"}) {
        EXPECT_EQ(shiftDates(value, -30), std::nullopt) << value;
    }
}

TEST(DateShift, IsNothingForADateBeforeOtherText) {
    for (const char* value :
         {"20200301-20200401", "20200301 19560317", "20200301born", "20200301235959 Zyxwvut", "20200301+1", "20200301.",
          "20200301.1234567", "20200301123456789", "2020 for Jane", "202003-", "20200301235959.5+0100x"}) {
        EXPECT_EQ(shiftDates(value, -30), std::nullopt) << value;
    }
}

TEST(DateShift, StaysWithinYearsOfFourDigits) {
    EXPECT_EQ(shifted("10000101", -1826), "09950101");
    EXPECT_EQ(shifted("99991230", 1), "99991231");
    EXPECT_EQ(shifted("99991231", 1), "(no date)");
    EXPECT_EQ(shifted("9999", 365), "(no date)");
}
