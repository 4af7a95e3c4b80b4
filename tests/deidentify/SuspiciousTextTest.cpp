#include "deidentify/identifiers/SuspiciousText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>

using radvex::deidentify::suspiciousParts;
using radvex::deidentify::TextSpan;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

std::vector<std::string> partsOf(const std::string& text) {
    std::vector<std::string> parts;
    std::size_t end = 0;
    for (const TextSpan& span : suspiciousParts(text)) {
        EXPECT_GE(span.begin, end) << text << ": the parts overlap, or stand in no order";
        EXPECT_LE(span.begin + span.length, text.size());
        end = span.begin + span.length;
        parts.push_back(text.substr(span.begin, span.length));
    }
    return parts;
}

} // namespace

TEST(SuspiciousText, LeavesTheWordsOfProtocols) {
    for (const char* text : {"T2 AX 5mm 3.0T 512x512 TE 98 B1000 2mm/pixel v1.2.3 L4/5 C5/6 10/20 EEG",
                             "CT Abdomen 120kV 200mAs 0.625mm",

                             "TR/TE 2500/98",
                             "Ax DWI b-1000 (ADC)",
                             "1.2.840.10008.5.1.4",
                             "1/2",
                             "3-4-5",
                             "10.5.3",
                             "FOV 240 x 240 x 160",
                             "5 x 10.25 mm",
                             "100%",
                             "I30f 3",
                             "0.123456789",
                             "+/- 5 deg",
                             "T1 +C",
                             "2024",
                             "12.2024",
                             "123456",
                             "Frau",
                             "Dr",
                             "Name",
                             "name of the series",
                             "MRN",
                             "patient supine",
                             "pat 2",
                             "a@b",
                             "http",
                             ""}) {
        EXPECT_THAT(partsOf(text), IsEmpty()) << text;
    }
}

TEST(SuspiciousText, FindsFullDates) {
    EXPECT_THAT(partsOf("born on 17.3.1956, seen 2024-02-29"), ElementsAre("17.3.1956", "2024-02-29"));
    EXPECT_THAT(partsOf("3/17/1956"), ElementsAre("3/17/1956"));
    EXPECT_THAT(partsOf("19560317"), ElementsAre("19560317"));
    EXPECT_THAT(partsOf("(19560317)."), ElementsAre("19560317"));
    EXPECT_THAT(partsOf("1.2.3"), IsEmpty());
    EXPECT_THAT(partsOf("3/2024"), IsEmpty()) << "a month is no day";
    EXPECT_THAT(partsOf("17.3/1956"), IsEmpty()) << "two separators";
    EXPECT_THAT(partsOf("17.3.19567"), IsEmpty());
}

TEST(SuspiciousText, FindsLongNumbers) {
    EXPECT_THAT(partsOf("no 1234567 of"), ElementsAre("1234567"));
    EXPECT_THAT(partsOf("no 123456 of"), IsEmpty());
    EXPECT_THAT(partsOf("call +49(30)12345-67!"), ElementsAre("+49(30)12345-67"));
    EXPECT_THAT(partsOf("555-1234"), ElementsAre("555-1234"));
    EXPECT_THAT(partsOf("12345.67"), IsEmpty()) << "a measure";
}

TEST(SuspiciousText, FindsLongNumbersBehindLetters) {
    EXPECT_THAT(partsOf("see A1234567, E123456"), ElementsAre("A1234567"));
    EXPECT_THAT(partsOf("ACC2024000123"), ElementsAre("ACC2024000123"));
}

TEST(SuspiciousText, FindsTelephoneNumbersInGroups) {
    EXPECT_THAT(partsOf("call 555.123.4567."), ElementsAre("555.123.4567"));
    EXPECT_THAT(partsOf("tel 01.23.45.67.89"), ElementsAre("01.23.45.67.89"));
    EXPECT_THAT(partsOf("call +49 30 123 45 67 today"), ElementsAre("+49 30 123 45 67"));
    for (const char* text : {"v10.20.30", "1.2.840.10008.1.2", "2.16.840.1.113883", "12.345.6", "T1 +10 20 30",
                             "+49 30", "256 256 128 120 200"}) {
        EXPECT_THAT(partsOf(text), IsEmpty()) << text;
    }
}

TEST(SuspiciousText, FindsAddressesOfMailAndOfTheWeb) {
    EXPECT_THAT(partsOf("to jane.doe@clinic.example, please"), ElementsAre("jane.doe@clinic.example"));
    EXPECT_THAT(partsOf("at https://pacs.example/doe?x=1 now"), ElementsAre("https://pacs.example/doe?x=1"));
    EXPECT_THAT(partsOf("WWW.example.org."), ElementsAre("WWW.example.org"));
    EXPECT_THAT(partsOf("jane@home"), IsEmpty()) << "no address of mail has no dot";
    EXPECT_THAT(partsOf("www"), IsEmpty());
}

TEST(SuspiciousText, FindsWhatFollowsALabel) {
    EXPECT_THAT(partsOf("MRN: 12-34, supine"), ElementsAre("12-34"));
    EXPECT_THAT(partsOf("mrn 77"), ElementsAre("77"));
    EXPECT_THAT(partsOf("MRN unknown"), IsEmpty());
    EXPECT_THAT(partsOf("Name: Doe, Jane"), ElementsAre("Doe, Jane"));
    EXPECT_THAT(partsOf("Patient=M\xC3\xBCller"), ElementsAre("M\xC3\xBCller"));
    EXPECT_THAT(partsOf("name: unknown"), IsEmpty());
    EXPECT_THAT(partsOf("Name Doe"), IsEmpty()) << "no sign stands behind the label";
    EXPECT_THAT(partsOf("Name:"), IsEmpty());
    EXPECT_THAT(partsOf("MRN:"), IsEmpty());
}

TEST(SuspiciousText, FindsATelephoneNumberBehindItsLabel) {
    EXPECT_THAT(partsOf("tel 0711 123456"), ElementsAre("0711 123456"));
    EXPECT_THAT(partsOf("Tel. 0711/123456, supine"), ElementsAre("0711/123456"));
    EXPECT_THAT(partsOf("Fax: 12345 of"), ElementsAre("12345"));
    EXPECT_THAT(partsOf("phone 555 12 34."), ElementsAre("555 12 34"));
    EXPECT_THAT(partsOf("mobile 0171 12345"), ElementsAre("0171 12345"));
    EXPECT_THAT(partsOf("Mobile phone no. 555-12"), ElementsAre("555-12"));
    EXPECT_THAT(partsOf("Handy: +49 (171) 123"), ElementsAre("+49 (171) 123"));
    EXPECT_THAT(partsOf("Fon (0711) 12-34"), ElementsAre("(0711) 12-34"));
    EXPECT_THAT(partsOf("Telefon-Nr.: 123"), ElementsAre("123"));
    EXPECT_THAT(partsOf("(phone) 555 12"), ElementsAre("555 12"));
    EXPECT_THAT(partsOf("tel"), IsEmpty());
    EXPECT_THAT(partsOf("tel."), IsEmpty());
}

TEST(SuspiciousText, TakesNoOtherNumberForATelephone) {
    for (const char* text :
         {"telescope 10", "telescope 12345", "hotel 12345", "intel 1234", "Tel Aviv 12345", "tel 12", "phone 125kV",
          "mobile 125 kV", "Mobile 2 chest", "handy 1234", "phones 12345", "microphone 12345", "cell 10 x 10",
          "fax, 12345", "telemetry: 12345", "fon 3.0T", "tel +"}) {
        EXPECT_THAT(partsOf(text), IsEmpty()) << text;
    }
    EXPECT_THAT(partsOf("tel 0711 123456 and 20 mm"), ElementsAre("0711 123456"));
    EXPECT_THAT(partsOf("tel 123456789012345 99"), ElementsAre("123456789012345")) << "no number has more digits";
}

TEST(SuspiciousText, FindsAShortDateBehindABirth) {
    EXPECT_THAT(partsOf("born 17.4.61"), ElementsAre("17.4.61"));
    EXPECT_THAT(partsOf("DOB 4/17/61"), ElementsAre("4/17/61"));
    EXPECT_THAT(partsOf("DOB: 17-04-61,"), ElementsAre("17-04-61"));
    EXPECT_THAT(partsOf("born on 17.4.61."), ElementsAre("17.4.61"));
    EXPECT_THAT(partsOf("geb. am 17.4.61"), ElementsAre("17.4.61"));
    EXPECT_THAT(partsOf("n\u00E9e le 17/4/61"), ElementsAre("17/4/61"));
    EXPECT_THAT(partsOf("date of birth: 4/17/61"), ElementsAre("4/17/61"));
    EXPECT_THAT(partsOf("Birth date 4/17/61"), ElementsAre("4/17/61"));
    for (const char* text : {"17.4.61", "seen 17.4.61", "birth 3500", "birth weight 3.5", "stillborn 17.4.61",
                             "birth 17.4", "birth 1.2.3.4", "birth 17.4/61", "birth on 5", "born at term", "birth"}) {
        EXPECT_THAT(partsOf(text), IsEmpty()) << text;
    }
}

TEST(SuspiciousText, FindsTheNameBehindATitle) {
    EXPECT_THAT(partsOf("for Dr. Meier-Schulz by bus"), ElementsAre("Meier-Schulz"));
    EXPECT_THAT(partsOf("Mrs O'Hara"), ElementsAre("O'Hara"));
    EXPECT_THAT(partsOf("Mr Smith, Ms. Jones"), ElementsAre("Smith, Ms. Jones"));
    EXPECT_THAT(partsOf("PROF KLEIN"), ElementsAre("KLEIN"));
    EXPECT_THAT(partsOf("dr. unknown"), IsEmpty());
}

TEST(SuspiciousText, TakesAModalityAndAUnitForNoTitle) {
    for (const char* text : {"MR Brain", "MR Head Neck", "TE 98 ms Axial", "500 ms T2", "MS Protocol"}) {
        EXPECT_THAT(partsOf(text), IsEmpty()) << text;
    }
    EXPECT_THAT(partsOf("MR. SMITH"), ElementsAre("SMITH"));
}

TEST(SuspiciousText, TakesLinearTimeForAHugeTextWithoutSpaces) {
    for (const std::string part : {"a-", "mrn-", "tel-", "dob-", "tel 1 ", "1-", "mail@", "Dr.", "Name:", "geb.1/"}) {
        std::string text;
        while (text.size() < 200000) {
            text += part;
        }
        const auto start = std::chrono::steady_clock::now();
        (void)suspiciousParts(text);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << part;
    }
}

TEST(SuspiciousText, ReadsAnyBytes) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte) {
        all += static_cast<char>(byte);
    }
    for (std::size_t begin = 0; begin < all.size(); ++begin) {
        (void)partsOf(all.substr(begin) + "Dr. " + all.substr(0, begin));
    }
    EXPECT_THAT(partsOf("Dr. \xFF\xFE"), IsEmpty());
    EXPECT_THAT(partsOf("Name: \xFF"), ElementsAre("\xFF"));
}

TEST(SuspiciousText, AMeasureBehindATelephoneNumberIsNoPartOfIt) {
    EXPECT_THAT(partsOf("tel 0711 123456 5mm slices"), ElementsAre("0711 123456"));
    EXPECT_THAT(partsOf("+49 30 123 45 67 3.0 T"), ElementsAre("+49 30 123 45 67"));
    EXPECT_THAT(partsOf("+49 30 123 45 67 89"), ElementsAre("+49 30 123 45 67 89"));
}
