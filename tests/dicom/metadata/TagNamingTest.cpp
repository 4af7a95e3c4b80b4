#include <gtest/gtest.h>

#include <regex>

#include "bridge/ErrorManager.h"
#include "dcmtk/dcmdata/dcdicent.h"
#include "dicom/exports/LibraryErrors.h"
#include "dicom/metadata/TagNaming.h"

using namespace radvex;

namespace {

class TagNaming : public ::testing::Test {
  protected:
    void SetUp() override {
        GTU::LibraryData::setLibraryData(nullptr); // errors go without parameters
        GTU::ErrorManager::registerPlugpackErrors(libraryErrors());
    }
};

DcmTag tag(Uint16 group, Uint16 element) { return {group, element}; }

} // namespace

TEST_F(TagNaming, AKnownTagHasItsKeywordAndItsNumber) {
    EXPECT_EQ(getTagNameAsString(tag(0x0010, 0x0010), false), "PatientName");
    EXPECT_EQ(getTagNameAsString(tag(0x0010, 0x0010), true), "0010_0010");
}

TEST_F(TagNaming, AnUnknownTagIsItsNumberInLowerCaseHexadecimal) {
    EXPECT_EQ(getTagNameAsString(tag(0x0029, 0x1010), false), "0029_1010");
    EXPECT_EQ(getTagNameAsString(tag(0x0029, 0x1010), true), "0029_1010");
    EXPECT_EQ(getTagNameAsString(tag(0x0019, 0x10A5), false), "0019_10a5");
}

TEST_F(TagNaming, ARetiredTagLosesItsMarkerAndIsFoundAgain) {
    EXPECT_EQ(getTagNameAsString(tag(0x0008, 0x0040), false), "DataSetType");
    EXPECT_EQ(getTagKey(GeneralInfoMap, "DataSetType"), DcmTagKey(0x0008, 0x0040));
}

// The marker may stand anywhere, but the first eight characters are cut. A keyword made for this test shows it.
TEST_F(TagNaming, TheFirstEightCharactersGoWhereverTheMarkerStands) {
    DcmTag odd(0x0029, 0x1010);
    odd.setPrivateCreator("RADVEX TEST");
    ASSERT_TRUE(dcmDataDict.isDictionaryLoaded());
    dcmDataDict.wrlock().addEntry(
        new DcmDictEntry(0x0029, 0x10, EVR_LO, "PrefixedRETIRED_Name", 1, 1, nullptr, OFTrue, "RADVEX TEST"));
    dcmDataDict.wrunlock();
    EXPECT_EQ(getTagNameAsString(odd, false), "RETIRED_Name");
}

TEST_F(TagNaming, OverlayGroupsShareOneKey) {
    EXPECT_EQ(getTagNameAsString(tag(0x6000, 0x3000), false), "OverlayData");
    EXPECT_EQ(getTagNameAsString(tag(0x6002, 0x3000), false), "OverlayData");
}

TEST_F(TagNaming, AKeywordOfARepeatingGroupGivesTheLowestGroup) {
    EXPECT_EQ(getTagKey(GeneralInfoMap, "OverlayRows"), DcmTagKey(0x6000, 0x0010));
}

TEST_F(TagNaming, UnknownAndEmptyKeywordsAreRefused) {
    for (const char* word : {"", "NoSuchWord", "patientname", "RETIRED_"}) {
        try {
            getTagKey(GeneralInfoMap, word);
            ADD_FAILURE() << word << " was found";
        } catch (const GTU::GantryError& error) {
            EXPECT_EQ(error.name(), "InvalidTagName");
            EXPECT_EQ(error.getDebugInfo(), "");
        }
    }
}

TEST_F(TagNaming, NumbersAreHexadecimalAndCutTo16Bits) {
    EXPECT_EQ(stringToUint16("7FE0"), 0x7FE0);
    EXPECT_EQ(stringToUint16("7fe0"), 0x7FE0);
    EXPECT_EQ(stringToUint16("17FE0"), 0x7FE0);
    EXPECT_EQ(stringToUint16("  0x10 rubbish"), 0x10);
    EXPECT_EQ(stringToUint16("-1"), 0xFFFF);
}

TEST_F(TagNaming, NumbersThatAreNoneThrowPlainExceptions) {
    EXPECT_THROW(stringToUint16("xyz"), std::invalid_argument);
    EXPECT_THROW(stringToUint16(""), std::invalid_argument);
    try {
        stringToUint16("FFFFFFFFFFFFFFFFFFFF");
        ADD_FAILURE() << "accepted";
    } catch (const std::out_of_range& error) {
        EXPECT_STREQ(error.what(), "stoi");
    }
}

TEST_F(TagNaming, DateAndTimeAreEightAndSixDigitsOfLocalTime) {
    const std::time_t before = std::time(nullptr);
    const std::string date = getCurrentDateAsDcmDT();
    const std::string time = getCurrentTimeAsDcmTM();
    EXPECT_TRUE(std::regex_match(date, std::regex("[0-9]{8}"))) << date;
    EXPECT_TRUE(std::regex_match(time, std::regex("[0-9]{6}"))) << time;
    char expected[16];
    std::strftime(expected, sizeof expected, "%Y%m%d%H%M", std::localtime(&before));
    EXPECT_LE(expected, date + time);
}
