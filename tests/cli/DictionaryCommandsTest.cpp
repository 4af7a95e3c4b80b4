#include "tests/cli/Commands.h"

using namespace radvex::test;

TEST(DictionaryCommands, AnswerInTheFormsThatPeopleWrite) {
    EXPECT_EQ(runRadvex({"keyword", "0010,0010"}).output, "PatientName\n");
    EXPECT_EQ(runRadvex({"keyword", "(7fe0,0010)"}).output, "PixelData\n");
    EXPECT_EQ(runRadvex({"number", "PixelData"}).output, "7FE0,0010\n");
    EXPECT_EQ(runRadvex({"vr", "PatientName"}).output, "PN\n");
    EXPECT_EQ(runRadvex({"vr", "0028,0010"}).output, "US\n");
    EXPECT_EQ(runRadvex({"keyword", "PatientName"}).status, 2);
    EXPECT_EQ(runRadvex({"number", "patientname"}).output, "0010,0010\n");
    EXPECT_EQ(runRadvex({"vr", "PATIENTNAME"}).output, "PN\n");
}

TEST(DictionaryCommands, KnowWhatIsNotInTheDictionary) {
    for (const char* const command : {"number", "vr"}) {
        EXPECT_THAT(runRadvex({command, "PatentName"}),
                    exitsSaying(1, HasSubstr("There is no attribute 'PatentName'; did you mean PatientName?")));
    }
    EXPECT_THAT(runRadvex({"keyword", "0010,0011"}), exitsSaying(1, HasSubstr("has no attribute 0010,0011.")));
    EXPECT_EQ(runRadvex({"vr", "0029,1010"}).output, "UN\n") << "which any private attribute may have";
}
