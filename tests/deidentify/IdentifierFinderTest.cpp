#include "deidentify/identifiers/IdentifierFinder.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "tests/deidentify/FoundTexts.h"
#include "workers/Parcel.h"

using namespace radvex::deidentify;
using radvex::test::finderOf;
using radvex::test::found;
using radvex::test::name;
using radvex::test::Texts;

namespace {

using Kind = IdentifierKind;

} // namespace

TEST(KnownIdentifiers, ForgetPaddingAndTravelBetweenProcesses) {
    KnownIdentifiers known;
    known.add(Kind::PatientId, std::string(" 4711 \0", 7));
    known.add(Kind::PatientId, "4711");
    known.add(Kind::PatientId, " ");
    KnownIdentifiers others;
    others.add(Kind::OtherName, "Doe^Jane");
    known.merge(others);
    const auto same = radvex::workers::fromParcel<KnownIdentifiers>(radvex::workers::toParcel(known));
    EXPECT_EQ(same.all(), (std::set<Identifier>{{Kind::PatientId, "4711"}, {Kind::OtherName, "Doe^Jane"}}));
}

TEST(IdentifierFinder, FindsAUidAsAWholeOnly) {
    EXPECT_EQ(found(Kind::Uid, "1.2.3", "see 1.2.3, CT.1.2.3.dcm 1.2.3_1"), Texts(3, "1.2.3"));
    EXPECT_EQ(found(Kind::Uid, "1.2.3", "ends with 1.2.3."), Texts{"1.2.3"});
    EXPECT_EQ(found(Kind::Uid, "1.2.3", "1.2.3.4 0.1.2.3 11.2.3 1.2.30 x1.2.3 1.2.3x 1 2 3 1.2-3"), Texts{});
}

TEST(IdentifierFinder, FindsAnIdAsWholeWordsWithoutCase) {
    EXPECT_EQ(found(Kind::PatientId, "Abc123", "ABC123 of abc123_x"), (Texts{"ABC123", "abc123"}));
    EXPECT_EQ(found(Kind::PatientId, "Abc123", "ABC1234 xabc123 abc1-23"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "MRN 12-34", "mrn_12_34, MRN 12-34"), (Texts{"mrn_12_34", "MRN 12-34"}));
    EXPECT_EQ(found(Kind::PatientId, "MRN 12-34", "MRN 12 MRN 12-345 MRN, 12-34"), Texts{});
    EXPECT_EQ(found(Kind::Device, "A:12#34", "A:12#34 a:12#34"), (Texts{"A:12#34", "a:12#34"}));
    EXPECT_EQ(found(Kind::Device, "A:12#34", "A#12:34"), Texts{});
    EXPECT_EQ(found(Kind::OtherId, "1234567", "1.2.1234567.3 1234567.8"), Texts{}) << "numbers that go on";
}

TEST(IdentifierFinder, FindsAShortIdAsTheWholeTextOnly) {
    EXPECT_EQ(found(Kind::PatientId, "12", " 12 "), Texts{"12"});
    EXPECT_EQ(found(Kind::PatientId, "12", "12 months"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "abc", "ABC"), Texts{"ABC"});
    EXPECT_EQ(found(Kind::PatientId, "abc", "abc 1"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "1234", "nr 1234"), Texts{"1234"});
    EXPECT_EQ(found(Kind::PatientId, "--", "--"), Texts{"--"});
}

TEST(IdentifierFinder, FindsAnIdWithoutTheZerosThatItBeginsWith) {
    EXPECT_EQ(found(Kind::PatientId, "0001234", "1234 and 0001234"), (Texts{"1234", "0001234"}));
    EXPECT_EQ(found(Kind::PatientId, "0001234", "01234"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "000123", "123"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "1234", "0001234"), Texts{}) << "zeros are significant";
}

TEST(IdentifierFinder, FindsEachWordOfANameAndNeighboursTogether) {
    EXPECT_EQ(name("Smith^John", "Report for JOHN of the smith family"), (Texts{"JOHN", "smith"}));
    EXPECT_EQ(name("Smith^John", "John Smith; Smith, John; SMITH_JOHN_1970; Smith^John"),
              (Texts{"John Smith", "Smith, John", "SMITH_JOHN", "Smith^John"}));
    EXPECT_EQ(name("Smith^John", "blacksmith smiths Johnson"), Texts{});
    EXPECT_EQ(name("Smith-Jones^Mary Ann", "jones ANN"), (Texts{"jones ANN"}));
    EXPECT_EQ(name("Doe^Jane\\Roe^Rick", "jane rick"), (Texts{"jane", "rick"}));
}

TEST(IdentifierFinder, FindsShortWordsOfANameBesideOthersOnly) {
    EXPECT_EQ(name("Li^Wei", "Li Wei; Wei, Li; LI_WEI"), (Texts{"Li Wei", "Wei, Li", "LI_WEI"}));
    EXPECT_EQ(name("Li^Wei", "Li is here. wei"), Texts{"wei"});
    EXPECT_EQ(name("Wu^Li", "Wu Li but not Wu or Li"), Texts{"Wu Li"});
    EXPECT_EQ(name("Smith^John", "J. Smith and Smith J; J is"), (Texts{"J. Smith", "Smith J"}));
    EXPECT_EQ(name("Smith^John", "J"), Texts{});
    EXPECT_EQ(name("von Berg^Eva", "von hier. Von Berg"), Texts{"Von Berg"});
    EXPECT_EQ(name("de la Cruz^Ana", "de la Cruz; de la casa"), Texts{"de la Cruz"});
    EXPECT_EQ(name("Li^Wei", "Li\nWei"), Texts{"Wei"}) << "of another line";
}

TEST(IdentifierFinder, FindsANameWithAndWithoutUmlauts) {
    const Texts all{"muller", "Mueller", "M\u00DCLLER", "Mu\u0308ller"};
    const std::string text = "muller; Mueller; M\u00DCLLER; Mu\u0308ller; miller";
    EXPECT_EQ(name("M\u00FCller^X", text), all);
    EXPECT_EQ(name("Mueller^X", text), all);
    EXPECT_EQ(name("Muller^X", text), (Texts{"muller", "M\u00DCLLER", "Mu\u0308ller"}));
    EXPECT_EQ(name("Bauer^X", "baur"), Texts{});
    EXPECT_EQ(name("Stra\u00DFer^X", "STRASSER"), Texts{"STRASSER"});
}

TEST(IdentifierFinder, FindsNamesOfScriptsWithoutSpacesAnywhere) {
    const std::string yamada = "\u5C71\u7530";
    const std::string tarou = "\u592A\u90CE";
    EXPECT_EQ(name("Yamada^Tarou=" + yamada + "^" + tarou, "x" + yamada + "\u6C0F tarou"), (Texts{yamada, "tarou"}));
    EXPECT_EQ(name("=" + yamada + "^" + tarou, yamada + tarou + "\u69D8"), Texts{yamada + tarou});
    EXPECT_EQ(name("\u738B^\u660E", "\u738B\u660E; \u738B \u660E; \u738B"), (Texts{"\u738B\u660E", "\u738B \u660E"}));
    EXPECT_EQ(name("\u738B^\u660E", "\u738B\u56FD \u8AAC\u660E"), Texts{}) << "one character alone";
    EXPECT_EQ(name("\uAE40^\uBBFC\uC218", "\uAE40\uBBFC\uC218\uB294"), Texts{"\uAE40\uBBFC\uC218"});
    EXPECT_EQ(name("\u0418\u0432\u0430\u043D\u043E\u0432^\u0418",
                   "\u0418\u0412\u0410\u041D\u041E\u0412\u0410 \u0418\u0412\u0410\u041D\u041E\u0412"),
              Texts{"\u0418\u0412\u0410\u041D\u041E\u0412"})
        << "Cyrillic has spaces";
}

TEST(IdentifierFinder, PartsANameOfAScriptWithoutSpacesWhereItHasNoLetter) {
    const std::string yamada = "\u5C71\u7530";
    const std::string tarou = "\u592A\u90CE";
    for (const std::string separator : {" ", "\u3000", "\u30FB", "\uFF65", "\u00B7", ",", ", ", "\u3001", "\uFF3E"}) {
        const std::string whole = yamada + separator + tarou;
        for (const std::string& known : {whole, "Yamada^Tarou=" + whole}) {
            EXPECT_EQ(name(known, "CT " + yamada + "\u69D8"), Texts{yamada}) << known;
            EXPECT_EQ(name(known, tarou + "\u541B"), Texts{tarou}) << known;
            EXPECT_EQ(name(known, yamada + tarou + "\u69D8 " + tarou + yamada),
                      (Texts{yamada + tarou, tarou + yamada}));
            EXPECT_EQ(name(known, "\u7530\u5C71 \u90CE\u592A"), Texts{}) << "characters, but no part of " << known;
        }
    }
    EXPECT_EQ(name("\uD64D \uAE38\uB3D9", "\uAE38\uB3D9\uB2D8\uC758 CT"), Texts{"\uAE38\uB3D9"});
    EXPECT_EQ(name("\u6B27\u9633 \u5A1C\u5A1C", "\u60A3\u8005\u5A1C\u5A1C\u7684\u5934\u90E8"), Texts{"\u5A1C\u5A1C"});
    EXPECT_EQ(name("\u0E2A\u0E21\u0E0A\u0E32\u0E22 \u0E43\u0E08\u0E14\u0E35",
                   "\u0E04\u0E19\u0E44\u0E02\u0E49\u0E2A\u0E21\u0E0A\u0E32\u0E22\u0E04\u0E23\u0E31\u0E1A"),
              Texts{"\u0E2A\u0E21\u0E0A\u0E32\u0E22"});
    EXPECT_EQ(name("\u6797\u30FB\u660E", "\u6797\u30FB\u660E \u660E\u6797"),
              (Texts{"\u6797\u30FB\u660E", "\u660E\u6797"}));
    EXPECT_EQ(name("\u6797 \u660E", "\u8AAC\u660E (\u6797)"), Texts{}) << "one character alone";
}

TEST(IdentifierFinder, LeavesOutTitlesOfScriptsWithoutSpaces) {
    const std::string doctor = "\u5148\u751F";
    EXPECT_EQ(name("\u5C71\u7530 " + doctor, doctor + " CT"), Texts{});
    EXPECT_EQ(name("\u5C71\u7530^^^^" + doctor, doctor + " \u5C71\u7530"), Texts{"\u5C71\u7530"});
    EXPECT_EQ(name("\u0E19\u0E32\u0E22 \u0E2A\u0E21\u0E0A\u0E32\u0E22 \u0E43\u0E08\u0E14\u0E35",
                   "\u0E19\u0E32\u0E22\u0E41\u0E1E\u0E17\u0E22\u0E4C"),
              Texts{});
    EXPECT_EQ(name("\u0E19\u0E32\u0E22 \u0E2A\u0E21\u0E0A\u0E32\u0E22 \u0E43\u0E08\u0E14\u0E35",
                   "\u0E19\u0E32\u0E22\u0E2A\u0E21\u0E0A\u0E32\u0E22"),
              Texts{"\u0E2A\u0E21\u0E0A\u0E32\u0E22"});
}

TEST(IdentifierFinder, FindsANameThatIsRunTogether) {
    EXPECT_EQ(name("Smith^John", "SmithJohn smithjohn JohnSmith JSmith SmithJ JohnS"),
              (Texts{"SmithJohn", "smithjohn", "JohnSmith", "JSmith", "SmithJ", "JohnS"}));
    EXPECT_EQ(name("Smith^John", "SmithJo SJohnny KSmith"), Texts{});
    EXPECT_EQ(name("Li^Wei", "LiWei; WLi"), Texts{"LiWei"}) << "an initial before a short family name says nothing";
    EXPECT_EQ(name("Smith John", "smithjohn jsmith"), (Texts{"smithjohn", "jsmith"}));
    EXPECT_EQ(name("M\u00FCller^Jan", "muellerjan, M\u00FCllerJan"), (Texts{"muellerjan", "M\u00FCllerJan"}));
}

TEST(IdentifierFinder, LeavesOutTitlesAndWordsThatSayNothing) {
    EXPECT_EQ(name("Doe^Jane^^Dr^PhD", "Dr of a PhD"), Texts{});
    EXPECT_EQ(name("Anonymous^Patient", "anonymous patient"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "PHANTOM", "phantom"), Texts{});
    EXPECT_EQ(found(Kind::PatientId, "PHANTOM7", "phantom7"), Texts{"phantom7"});
    EXPECT_EQ(found(Kind::Organization, "Hospital", "hospital"), Texts{});
}

TEST(IdentifierFinder, FindsAnAddressAndItsTellingParts) {
    const std::string address = "Hauptstra\u00DFe 12\r\n10115 Berlin, Germany";
    EXPECT_EQ(found(Kind::Address, address, "in HAUPTSTRASSE 12 / 10115 berlin; Germany."),
              Texts{"HAUPTSTRASSE 12 / 10115 berlin; Germany"});
    EXPECT_EQ(found(Kind::Address, address, "hauptstrasse, 12"), Texts{"hauptstrasse, 12"});
    EXPECT_EQ(found(Kind::Address, address, "Germany, Berlin, hauptstrasse 13"), Texts{});
    EXPECT_EQ(found(Kind::Address, "12 A^Rue X", "12 A Rue X"), Texts{"12 A Rue X"});
    EXPECT_EQ(found(Kind::Address, "12 A^Rue X", "12 A"), Texts{}) << "of fewer than 5 characters";
}

TEST(IdentifierFinder, FindsATelephoneNumberHoweverItIsGrouped) {
    const std::string number = "+49 30 1234567";
    for (const std::string spelling : {"+49 30 1234567", "+49 (0)30 123 45 67", "030 1234567", "(030) 123-4567",
                                       "0301234567", "004930.1234567", "1234567"}) {
        const Texts texts = found(Kind::Telephone, number, "Tel. " + spelling + ", 2 pm");
        ASSERT_EQ(texts.size(), 1U) << spelling;
        EXPECT_EQ(texts[0], spelling.starts_with("(") ? spelling.substr(1) : spelling);
    }
    EXPECT_EQ(found(Kind::Telephone, number, "234567 0891234567 030 12345678 1.2.1234567 x1234567"), Texts{});
    EXPECT_EQ(found(Kind::Telephone, "030 1234567", "+49301234567"), Texts{"+49301234567"});
    EXPECT_EQ(found(Kind::Telephone, "030 1234567", "0301234567 2020"), Texts{"0301234567"});
    EXPECT_EQ(found(Kind::Telephone, "123456", "12 34 56"), Texts{"12 34 56"});
    EXPECT_EQ(found(Kind::Telephone, "12345", "12345"), Texts{});
}

TEST(IdentifierFinder, FindsAnOrganizationWithAnyPunctuation) {
    EXPECT_EQ(found(Kind::Organization, "St. Mary's Hospital", "ST MARY'S-HOSPITAL, Bern"),
              Texts{"ST MARY'S-HOSPITAL"});
    EXPECT_EQ(found(Kind::Organization, "St. Mary's Hospital", "Mary, hospital"), Texts{});
    EXPECT_EQ(found(Kind::Organization, "ABC", "abc"), Texts{});
    EXPECT_EQ(found(Kind::Organization, "ABCD", "abcd"), Texts{"abcd"});
}

TEST(IdentifierFinder, TakesTheLongestOfFindsThatOverlap) {
    const IdentifierFinder finder = finderOf({{Kind::PatientName, "Smith^John"},
                                              {Kind::Address, "Smith Street 12"},
                                              {Kind::PatientId, "1234"},
                                              {Kind::OtherId, "1234-5678"}});
    const std::string text = "John Smith Street 12: 1234-5678 1234";
    Texts texts;
    for (const Find& find : finder.findAll(text)) {
        texts.push_back(text.substr(find.begin, find.length));
    }
    EXPECT_EQ(texts, (Texts{"John", "Smith Street 12", "1234-5678", "1234"}));
}

TEST(IdentifierFinder, FindsNothingInOrOfNothing) {
    EXPECT_TRUE(finderOf({}).isEmpty());
    EXPECT_TRUE(finderOf({}).findAll("Smith").empty());
    EXPECT_TRUE(finderOf({{Kind::PatientName, "Smith"}}).findAll("").empty());
    for (const Kind kind : {Kind::Uid, Kind::PatientId, Kind::PatientName, Kind::BirthDate, Kind::Address,
                            Kind::Telephone, Kind::Organization}) {
        for (const std::string text : {"^", "^^^^", "=", "\\", ",", "\xFF", "\xC3", "\u0301", "00000", "-", "a"}) {
            EXPECT_TRUE(finderOf({{kind, text}}).findAll("nothing, of this, is here").empty()) << text;
        }
    }
}

TEST(IdentifierFinder, FindsBesideBytesThatAreNoText) {
    EXPECT_EQ(name("Smith^John", "\xFF"
                                 "Smith\xC3"),
              Texts{"Smith"});
    EXPECT_EQ(name("M\u00FCller", "\xFF\xFEM\u00FCller\x80"), Texts{"M\u00FCller"});
    EXPECT_EQ(found(Kind::PatientId, "4711", std::string("\0004711\0", 6)), Texts{"4711"});
}

TEST(IdentifierFinder, FindsWhatIsPlantedInAnyText) {
    const std::vector<Identifier> identifiers{
        {Kind::Uid, "1.2.840.99.17"},    {Kind::PatientId, "PX-90817"},
        {Kind::OtherId, "00778899"},     {Kind::PatientName, "Gr\u00FCnwald^Ottokar"},
        {Kind::BirthDate, "19610417"},   {Kind::Organization, "Praxis am Ring"},
        {Kind::Telephone, "089 5554433"}};
    const Texts planted{"1.2.840.99.17",   "px_90817",   "778899",         "GRUENWALD",       "O. Gr\u00FCnwald",
                        "ottokargrunwald", "17.04.1961", "April 17, 1961", "17.4.61",         "610417",
                        "PX90817",         "px 90817",   "praxis-am-ring", "+49 89 555 44 33"};
    const Texts others{"ct",   "17",     "1.2.840.99", "lung", "19610418", "\u00E9t\u00E9",
                       "\xFF", "778898", "Otto",       "ring", "am",       "\u5C71"};
    const Texts separators{" ", "; ", "\n", " \u2013 ", ": "};
    const IdentifierFinder finder = finderOf(identifiers);
    std::mt19937 random(7);
    const auto pick = [&](const Texts& from) { return from[random() % from.size()]; };
    for (int round = 0; round < 5000; ++round) {
        std::string text;
        std::vector<std::pair<std::size_t, std::size_t>> expected;
        for (std::size_t count = random() % 8 + 1; count > 0; --count) {
            text += pick(others) + "; ";
            if (random() % 2 == 0) {
                const std::string what = pick(planted);
                expected.emplace_back(text.size(), what.size());
                text += what + " | ";
            }
            text += pick(separators);
        }
        std::vector<std::pair<std::size_t, std::size_t>> finds;
        for (const Find& find : finder.findAll(text)) {
            finds.emplace_back(find.begin, find.length);
        }
        ASSERT_EQ(finds, expected) << text;
    }
}

TEST(IdentifierFinder, TakesAnyBytesAsIdentifiersAndAsTexts) {
    std::mt19937 random(11);
    const std::string characters = "aB1290.-^=\\ ,;/(\xC3\xBC\xE5\xB1\xB1\xFF\n+_'";
    const auto noise = [&](std::size_t size) {
        std::string text;
        while (text.size() < size) {
            text += characters[random() % characters.size()];
        }
        return text;
    };
    for (int round = 0; round < 100; ++round) {
        std::vector<Identifier> identifiers;
        for (int kind = 0; kind <= static_cast<int>(Kind::Device); ++kind) {
            identifiers.push_back({static_cast<Kind>(kind), noise(random() % 40)});
        }
        const IdentifierFinder finder = finderOf(identifiers);
        for (int count = 0; count < 10; ++count) {
            const std::string text = noise(random() % 200);
            std::size_t end = 0;
            for (const Find& find : finder.findAll(text)) {
                ASSERT_GE(find.begin, end);
                ASSERT_GT(find.length, 0U);
                end = find.begin + find.length;
                ASSERT_LE(end, text.size());
            }
            (void)finder.findInBytes(text);
        }
    }
}

TEST(IdentifierFinder, TakesLinearTimeForHugeTextsAndManyIdentifiers) {
    std::vector<Identifier> identifiers;
    for (int number = 0; number < 5000; ++number) {
        identifiers.push_back({Kind::PatientName, "Smith^" + std::string(1, static_cast<char>('a' + number % 26)) +
                                                      std::to_string(number)});
        identifiers.push_back({Kind::PatientId, "MRN " + std::to_string(100000 + number)});
    }
    identifiers.push_back({Kind::Address, std::string(20000, 'a') + " 1"});
    std::string repeated;
    for (int count = 0; count < 2000; ++count) {
        repeated += "a ";
    }
    identifiers.push_back({Kind::Address, repeated});
    const IdentifierFinder finder = finderOf(identifiers);
    std::string text = repeated;
    for (int count = 0; count < 5000; ++count) {
        text += "mrn 99 smith, ";
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_GE(finder.findAll(text).size(), 5000U);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}
