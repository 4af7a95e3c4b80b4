#include "text/DatasetTexts.h"

#include <gtest/gtest.h>

#include <random>

#include "dcmtk/dcmdata/dcdeftag.h"
#include "dcmtk/dcmdata/dcsequen.h"
#include "dcmtk/dcmdata/dcuid.h"
#include "tests/support/DicomFiles.h"

using radvex::test::addItem;
using radvex::test::put;
using radvex::test::textOf;
using radvex::test::with;
using namespace radvex::text;

namespace {

const std::string kMountain = "\x1B$B;3\x1B(B";
const std::string kMountainInUtf8 = "\u5C71";
const std::string kBroken = "\x1B$B;";

std::string utf8Of(DcmItem& item, const DcmTagKey& key) { return textOf(item, key); }

/// Texts for which DCMTK's conversion may or may not know the character set.
std::string randomText(std::mt19937& random) {
    static const std::vector<std::string> kParts{"a",        "B c",    "^",    "=",    "\\",       "\r\n",     "\xE9",
                                                 "\xC3\xA9", "\xB1",   "\xD0", "\xFF", "\xB0\xA1", "\x1B$)C",  "\x1B(B",
                                                 "\x1B-F",   "\x1B-A", "\x7F", "~",    "\xC0\xDE", "\xD5\x5C", "\t"};
    std::string text;
    const auto pick = [&](std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
    };
    for (std::size_t left = pick(4); left > 0; --left) {
        text += kParts[pick(kParts.size())];
    }
    return text;
}

std::string dump(DcmItem& item) {
    std::ostringstream out;
    item.print(out);
    return out.str();
}

} // namespace

TEST(DatasetTexts, AreWhatDcmtkMakesOfThemWhereItConvertsThemAll) {
    std::mt19937 random(20261123); // NOLINT: the same texts in every run
    std::size_t converted = 0;
    std::size_t changed = 0;
    for (const char* set : {"", "ISO_IR 6", "ISO_IR 100", "ISO_IR 101", "ISO_IR 126", "ISO_IR 144", "ISO_IR 13",
                            "ISO_IR 166", "ISO_IR 192", "GB18030", "GBK", "\\ISO 2022 IR 149", "ISO 2022 IR 6",
                            "ISO 2022 IR 100\\ISO 2022 IR 126", "ISO 2022 IR 13\\ISO 2022 IR 149", "NO SUCH SET"}) {
        for (int round = 0; round < 400; ++round) {
            DcmDataset theirs;
            put(theirs, {{DCM_PatientName, randomText(random)}, {DCM_PatientComments, randomText(random)}});
            put(theirs, {{DCM_StudyDescription, randomText(random)}, {DCM_Modality, "CT"}});
            put(addItem(theirs, DCM_RequestAttributesSequence), {{DCM_ScheduledProcedureStepID, randomText(random)}});
            if (*set != '\0') {
                put(theirs, {{DCM_SpecificCharacterSet, set}});
            }
            DcmDataset ours(theirs);
            const std::string before = dump(theirs);
            const bool isConverted = theirs.convertToUTF8().good();
            convertToUtf8(ours, OtherTexts::Convert);
            if (isConverted && dump(theirs).find('\x1B') == std::string::npos) {
                ++converted;
                changed += dump(theirs) == before ? 0U : 1U;
                EXPECT_EQ(dump(ours), dump(theirs)) << before;
            }
        }
    }
    EXPECT_GT(converted, 800U) << "that comparisons took place";
    EXPECT_GT(changed, 400U);
}

TEST(DatasetTexts, OfItemsAreInTheSetAroundThemOrInTheirOwn) {
    DcmDataset dataset;
    put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_PatientName, "\xE9"}});
    DcmItem& inherits = addItem(dataset, DCM_RequestAttributesSequence);
    put(inherits, {{DCM_ScheduledProcedureStepDescription, "\xE9"}});
    DcmItem& own = addItem(dataset, DCM_RequestAttributesSequence);
    put(own, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}, {DCM_ScheduledProcedureStepDescription, kMountain}});
    DcmItem& inner = addItem(own, DCM_ScheduledProtocolCodeSequence);
    put(inner, {{DCM_CodeMeaning, kMountain}});
    DcmItem& empty = addItem(own, DCM_ScheduledProtocolCodeSequence);
    put(empty, {{DCM_SpecificCharacterSet, ""}, {DCM_CodeMeaning, kMountain}});
    convertToUtf8(dataset, OtherTexts::Convert);
    EXPECT_EQ(utf8Of(dataset, DCM_PatientName), "\u00E9");
    EXPECT_EQ(utf8Of(inherits, DCM_ScheduledProcedureStepDescription), "\u00E9");
    EXPECT_EQ(utf8Of(own, DCM_ScheduledProcedureStepDescription), kMountainInUtf8);
    EXPECT_EQ(utf8Of(inner, DCM_CodeMeaning), kMountainInUtf8);
    EXPECT_EQ(utf8Of(empty, DCM_CodeMeaning), kMountainInUtf8);
    EXPECT_EQ(utf8Of(dataset, DCM_SpecificCharacterSet), "ISO_IR 192");
    EXPECT_EQ(utf8Of(inherits, DCM_SpecificCharacterSet), "(none)");
    EXPECT_EQ(utf8Of(own, DCM_SpecificCharacterSet), "ISO_IR 192");
}

TEST(DatasetTexts, KeepTheirBytesWhenTheyAreInNoSet) {
    for (const OtherTexts others : {OtherTexts::Convert, OtherTexts::Leave}) {
        const bool areConverted = others == OtherTexts::Convert;
        DcmDataset dataset;
        put(dataset, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}, {DCM_StudyDescription, kMountain}});
        put(dataset, {{DCM_PatientName, kBroken}, {DCM_PatientComments, kMountain}});
        DcmItem& own = addItem(dataset, DCM_RequestAttributesSequence);
        put(own, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_ScheduledProcedureStepDescription, "\xE9"}});
        convertToUtf8(dataset, others);
        convertToUtf8(dataset, others); // for a second time, as a record of a directory is
        EXPECT_EQ(utf8Of(dataset, DCM_PatientName), kBroken);
        EXPECT_EQ(utf8Of(dataset, DCM_StudyDescription), areConverted ? kMountainInUtf8 : kMountain);
        EXPECT_EQ(utf8Of(dataset, DCM_PatientComments), areConverted ? kMountainInUtf8 : kMountain);
        EXPECT_EQ(utf8Of(dataset, DCM_SpecificCharacterSet), "\\ISO 2022 IR 87");
        EXPECT_EQ(utf8Of(own, DCM_ScheduledProcedureStepDescription), "\u00E9") << "of another set";
        EXPECT_EQ(utf8Of(own, DCM_SpecificCharacterSet), "ISO_IR 192");
    }
}

TEST(DatasetTexts, OfADirectoryAreThoseOfItsRecords) {
    DcmFileFormat file;
    put(*file.getMetaInfo(), {{DCM_MediaStorageSOPClassUID, UID_MediaStorageDirectoryStorage}});
    put(*file.getDataset(), {{DCM_FileSetID, "A"}, {DCM_SpecificCharacterSet, "ISO_IR 100"}});
    DcmItem& record = addItem(*file.getDataset(), DCM_DirectoryRecordSequence);
    put(record, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}, {DCM_PatientName, kMountain}});
    convertToUtf8(file, OtherTexts::Convert);
    EXPECT_EQ(utf8Of(*file.getDataset(), DCM_SpecificCharacterSet), "ISO_IR 100") << "not looked at";
    EXPECT_EQ(utf8Of(record, DCM_PatientName), kMountainInUtf8);
    EXPECT_EQ(utf8Of(record, DCM_SpecificCharacterSet), "ISO_IR 192");
}

TEST(DatasetTexts, OfNothingAreNothing) {
    DcmDataset dataset;
    convertToUtf8(dataset, OtherTexts::Convert);
    EXPECT_TRUE(dataset.isEmpty()) << "no character set either";
}
