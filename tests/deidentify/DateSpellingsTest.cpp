#include <gtest/gtest.h>

#include "tests/deidentify/FoundTexts.h"

using namespace radvex::deidentify;
using radvex::test::found;
using radvex::test::Texts;

namespace {

using Kind = IdentifierKind;

/// Whether both a birth date and another date are found as the whole spelling, and not as the day after.
void expectFound(const std::string& date, const std::string& dayAfter, const std::string& spelling) {
    const std::string text = "seen: " + spelling + ".";
    EXPECT_EQ(found(Kind::BirthDate, date, text), Texts{spelling});
    EXPECT_EQ(found(Kind::OtherDate, date, text), Texts{spelling});
    EXPECT_EQ(found(Kind::BirthDate, dayAfter, text), Texts{}) << spelling;
}

} // namespace

TEST(DateSpellings, FindsADateInTheUsualSpellings) {
    for (const std::string spelling :
         {"19700305", "1970-03-05", "1970/03/05", "1970.03.05", "05.03.1970", "5.3.1970", "05/03/1970", "03/05/1970",
          "5/3/1970", "3/5/1970", "05-03-1970", "05MAR1970", "5 March 1970", "5. M\u00E4rz 1970", "March 5, 1970",
          "Mar 5 1970", "5-Mar-70", "5th March 1970"}) {
        EXPECT_EQ(found(Kind::BirthDate, "19700305", "born " + spelling + "."), Texts{spelling});
        EXPECT_EQ(found(Kind::OtherDate, "19700305", spelling + ", then"), Texts{spelling});
        EXPECT_EQ(found(Kind::BirthDate, "19700306", spelling), Texts{}) << spelling;
    }
    EXPECT_EQ(found(Kind::BirthDate, "19700305", "MUELLER_HANS_19700305"), Texts{"19700305"});
}

TEST(DateSpellings, FindsADateInATime) {
    for (const std::string time : {"103000", "103000.123456", "1030", "10", "103000+0100", "103000.1-0500"}) {
        EXPECT_EQ(found(Kind::BirthDate, "19700305", "19700305" + time), Texts{"19700305"}) << time;
    }
    EXPECT_EQ(found(Kind::BirthDate, "19700305", "1970-03-05T10:30:00"), Texts{"1970-03-05"});
    EXPECT_EQ(found(Kind::BirthDate, "19700305", "1970030599 197003051 19700305103 19700305.1 119700305"), Texts{});
    EXPECT_EQ(found(Kind::BirthDate, "19700305", "1.2.19700305.3 1.5.3.1970 5.3.1970.1"), Texts{}) << "UIDs";
}

TEST(DateSpellings, FindsAYearOfTwoDigitsBetweenSeparators) {
    for (const std::string spelling :
         {"17.4.61", "17.04.61", "4/17/61", "17/4/61", "04/17/61", "17/04/61", "17-Apr-61", "17APR61", "17 Apr '61"}) {
        expectFound("19610417", "19610418", spelling);
    }
    for (const std::string spelling : {"23.7.19", "23/07/19", "7/23/19"}) {
        expectFound("20190723", "20190724", spelling);
    }
    EXPECT_EQ(found(Kind::OtherDate, "20190723", "v23.7.19 23.7.19.1 1.23.7.19 23.7.190 23.7.9 2.37.19 23,7,19"),
              Texts{});
}

TEST(DateSpellings, TakesNoVersionForADate) {
    EXPECT_EQ(found(Kind::BirthDate, "20010003", "3.0.1"), Texts{});
    EXPECT_EQ(found(Kind::BirthDate, "20030201", "1.2.3 3.2.1"), Texts{});
    EXPECT_EQ(found(Kind::OtherDate, "20010203", "3.2.1 2/3/1"), Texts{});
}

TEST(DateSpellings, FindsNumbersThatMayBeSomethingElseForABirthDateOnly) {
    for (const std::string spelling : {"610417", "17-04-61", "4-17-61", "17. 4. 61"}) {
        EXPECT_EQ(found(Kind::BirthDate, "19610417", "MEIER_" + spelling + "_1"), Texts{spelling});
        EXPECT_EQ(found(Kind::OtherDate, "19610417", spelling), Texts{}) << spelling;
    }
    EXPECT_EQ(found(Kind::BirthDate, "19610417", "170461 041761 61-04-17 6104170 x610417 610417.5 1.610417 04.17.61"),
              Texts{});
}

TEST(DateSpellings, FindsTheMonthInEightLanguages) {
    for (const std::string spelling :
         {"17 avril 1961", "17 abril 1961", "17 de abril de 1961", "17 de Abril del 1961", "17 aprile 1961",
          "17 april 1961", "17 kwietnia 1961", "17 KWIECIE\u0143 1961", "17th of April, 1961", "1961-Apr-17"}) {
        expectFound("19610417", "19610418", spelling);
    }
    for (const std::string spelling :
         {"1er ao\u00FBt 1970", "1\u00BA de agosto de 1970", "1 sierpnia 1970", "1 augustus 1970", "1 ago 70"}) {
        expectFound("19700801", "19700802", spelling);
    }
    for (const std::string spelling :
         {"5 mars 1970", "5 marzo 1970", "5 mar\u00E7o 1970", "5 mrt 1970", "5-maart-1970", "5 marca 1970"}) {
        expectFound("19700305", "19700306", spelling);
    }
    EXPECT_EQ(found(Kind::BirthDate, "19610417", "17 mai 1961, 17 april of 1962; 17 avrila 1961; avril 1961"), Texts{});
    EXPECT_EQ(found(Kind::BirthDate, "19610417", "17 to april 1961, 17: april: 1961"), Texts{});
}

TEST(DateSpellings, KnowsEachMonthOfEachLanguage) {
    const std::vector<Texts> languages{{"janvier", "f\u00E9vrier", "mars", "avril", "mai", "juin", "juillet",
                                        "ao\u00FBt", "septembre", "octobre", "novembre", "d\u00E9cembre"},
                                       {"enero", "febrero", "marzo", "abril", "mayo", "junio", "julio", "agosto",
                                        "septiembre", "octubre", "noviembre", "diciembre"},
                                       {"gennaio", "febbraio", "marzo", "aprile", "maggio", "giugno", "luglio",
                                        "agosto", "settembre", "ottobre", "novembre", "dicembre"},
                                       {"janeiro", "fevereiro", "mar\u00E7o", "abril", "maio", "junho", "julho",
                                        "agosto", "setembro", "outubro", "novembro", "dezembro"},
                                       {"januari", "februari", "maart", "april", "mei", "juni", "juli", "augustus",
                                        "september", "oktober", "november", "december"},
                                       {"stycznia", "lutego", "marca", "kwietnia", "maja", "czerwca", "lipca",
                                        "sierpnia", "wrze\u015Bnia", "pa\u017Adziernika", "listopada", "grudnia"},
                                       {"I", "II", "III", "IV", "V", "VI", "VII", "VIII", "IX", "X", "XI", "XII"}};
    for (const Texts& months : languages) {
        for (int month = 1; month <= 12; ++month) {
            const std::string date = std::to_string(19610000 + month * 100 + 17);
            const std::string spelling = "17 " + months[static_cast<std::size_t>(month - 1)] + " 1961";
            EXPECT_EQ(found(Kind::OtherDate, date, spelling), Texts{spelling});
            EXPECT_EQ(found(Kind::OtherDate, std::to_string(19610000 + month % 12 * 100 + 117), spelling), Texts{});
        }
    }
}

TEST(DateSpellings, FindsAMonthInRomanDigits) {
    for (const std::string spelling : {"17.IV.1961", "17. iv. 1961", "17-IV-61", "17/IV/1961"}) {
        expectFound("19610417", "19610418", spelling);
    }
    EXPECT_EQ(found(Kind::BirthDate, "19610417", "17 IV 61, 17.VI.1961; IV.17.1961; 17.IIII.1961; 17.IVa.1961"),
              Texts{});
}

TEST(DateSpellings, FindsADateWithSpacesBehindItsDots) {
    expectFound("19610417", "19610418", "17. 4. 1961");
    expectFound("19610417", "19610418", "17. 04. 1961");
    EXPECT_EQ(found(Kind::BirthDate, "19610417", "17 4 1961; 17. 4, 1961; 17 .4 .1961; 17.  4.  1961"), Texts{});
}

TEST(DateSpellings, FindsAYearBeforeADayWithoutZeros) {
    for (const std::string spelling : {"1961-4-7", "1961/4/7", "1961.4.7"}) {
        expectFound("19610407", "19610408", spelling);
    }
    EXPECT_EQ(found(Kind::BirthDate, "19610407", "1961-4-7a 1961.4.7.1 1961-47"), Texts{});
}
