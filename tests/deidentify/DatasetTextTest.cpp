#include "deidentify/rewriting/DatasetText.h"

#include <gtest/gtest.h>

#include "deidentify/rewriting/DatasetWalk.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using radvex::test::addItem;
using radvex::test::put;

namespace {

const std::string kMuellerInLatin1 = "M\xFCller";
const std::string kMuellerInUtf8 = "M\xC3\xBCller";
const std::string kYamadaInUtf8 = "\xE5\xB1\xB1\xE7\x94\xB0"; // 山田
const std::string kTarouInUtf8 = "\xE5\xA4\xAA\xE9\x83\x8E";  // 太郎

DcmElement& elementWith(DcmItem& item, const DcmTagKey& key, const std::string& bytes) {
    EXPECT_TRUE(item.putAndInsertString(key, bytes.c_str()).good());
    DcmElement* element = nullptr;
    EXPECT_TRUE(item.findAndGetElement(key, element).good());
    return *element;
}

std::string read(const DcmTagKey& key, const std::string& bytes, const std::string& characterSet) {
    DcmDataset dataset;
    TextDecoder decoder;
    return decoder.utf8(elementWith(dataset, key, bytes), characterSet);
}

std::string nameFrom(const std::string& bytes, const std::string& characterSet) {
    return read(DCM_PatientName, bytes, characterSet);
}

std::string bytesAt(DcmItem& item, const DcmTagKey& key) {
    DcmElement* element = nullptr;
    return item.findAndGetElement(key, element).good() ? radvex::deidentify::textOf(*element) : "(none)";
}

} // namespace

TEST(TextDecoder, ReadsSetsOfOneByteAndUtf8) {
    EXPECT_EQ(nameFrom(kMuellerInLatin1, "ISO_IR 100"), kMuellerInUtf8);
    EXPECT_EQ(nameFrom(kMuellerInUtf8, "ISO_IR 192"), kMuellerInUtf8);
    EXPECT_EQ(nameFrom("\xBB\xEE\xDA\x63\x65\xDC\xD1\xD5\xE0\xD3", "ISO_IR 144"),
              "\xD0\x9B\xD1\x8E\xD0\xBA"
              "ce\xD0\xBC\xD0\xB1\xD0\xB5\xD1\x80\xD0\xB3");
    EXPECT_EQ(nameFrom("\xCD\xF5^\xD0\xA1\xB6\xAB", "GB18030"), "\xE7\x8E\x8B^\xE5\xB0\x8F\xE4\xB8\x9C"); // 王^小东
}

TEST(TextDecoder, ReadsTextsThatChangeTheirSet) {
    const std::string japanese = "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B";
    EXPECT_EQ(nameFrom(japanese, "\\ISO 2022 IR 87"), "Yamada^Tarou=" + kYamadaInUtf8 + '^' + kTarouInUtf8);
    const std::string korean =
        "Hong^Gildong=\x1B$)C\xFB\xF3^\x1B$)C\xD1\xCE\xD4\xD7=\x1B$)C\xC8\xAB^\x1B$)C\xB1\xE6\xB5\xBF";
    EXPECT_EQ(nameFrom(korean, "\\ISO 2022 IR 149"), "Hong^Gildong=\xE6\xB4\xAA^\xE5\x90\x89\xE6\xB4\x9E="
                                                     "\xED\x99\x8D^\xEA\xB8\xB8\xEB\x8F\x99");
}

TEST(TextDecoder, ReadsEscapesInOddPlaces) {
    const std::string set = "\\ISO 2022 IR 87";
    EXPECT_EQ(nameFrom("\x1B(BYamada^\x1B$BB@O:\x1B(B", set), "Yamada^" + kTarouInUtf8) << "to ASCII at the beginning";
    EXPECT_EQ(nameFrom("\x1B$B;3ED\x1B(B", set), kYamadaInUtf8);
    EXPECT_EQ(nameFrom("\x1B$B;3\x1B(B\x1B$BED\x1B(B", set), kYamadaInUtf8) << "between two characters";
    EXPECT_EQ(nameFrom("Yamada\x1B(B", set), "Yamada") << "at the end, and for nothing";
    EXPECT_EQ(read(DCM_StudyDescription, "CT \x1B$B;3ED\x1B(B 2", set), "CT " + kYamadaInUtf8 + " 2");
}

TEST(TextDecoder, ReadsEscapesOfSetsThatTheFileDoesNotName) {
    for (const char* set : {"", "ISO_IR 100", "ISO_IR 6", "ISO 2022 IR 6"}) {
        EXPECT_EQ(nameFrom("Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B", set),
                  "Yamada^Tarou=" + kYamadaInUtf8 + '^' + kTarouInUtf8)
            << set;
    }
}

TEST(TextDecoder, ReadsEverySetThatATextMayChangeTo) {
    const std::string set = "ISO 2022 IR 13\\ISO 2022 IR 87\\ISO 2022 IR 159";
    EXPECT_EQ(nameFrom("\xD4\xCF\xC0\xDE", set), "\xEF\xBE\x94\xEF\xBE\x8F\xEF\xBE\x80\xEF\xBE\x9E") << "katakana";
    EXPECT_EQ(nameFrom("\x1B(J\xD4=\x1B$B;3ED\x1B(J", set), "\xEF\xBE\x94=" + kYamadaInUtf8);
    EXPECT_EQ(nameFrom("\x1B$(D\x30\x21\x1B(B", set), "\xE4\xB8\x82");
    EXPECT_EQ(nameFrom("\x1B$)A\xCD\xF5 a", "\\ISO 2022 IR 58"), "\xE7\x8E\x8B a");
    EXPECT_EQ(nameFrom("\x1B-F\xC4", "ISO 2022 IR 100\\ISO 2022 IR 126\\ISO 2022 IR 87"), "\xCE\x94") << "Greek";
    EXPECT_EQ(nameFrom("\xBB", "ISO 2022 IR 144\\ISO 2022 IR 87"), "\xD0\x9B") << "Cyrillic, beside Japanese";
}

TEST(TextDecoder, ReturnsToTheFirstSetBehindADelimiter) {
    const std::string set = "ISO 2022 IR 100\\ISO 2022 IR 126\\ISO 2022 IR 87";
    EXPECT_EQ(nameFrom("\x1B-F\xC4^\xC4", set), "\xCE\x94^\xC3\x84");
    EXPECT_EQ(read(DCM_StudyDescription, "\x1B-F\xC4^\xC4", set), "\xCE\x94^\xCE\x94") << "of names only";
    EXPECT_EQ(read(DCM_ImageComments, "\x1B-F\xC4\r\n\xC4", set), "\xCE\x94\r\n\xC3\x84");
}

TEST(TextDecoder, TakesUndeclaredBytesForUtf8OrElseForLatin1) {
    for (const char* set : {"", "ISO_IR 6", "NO SUCH SET", "ISO_IR 192"}) {
        EXPECT_EQ(nameFrom(kMuellerInLatin1, set), kMuellerInUtf8) << set;
        EXPECT_EQ(nameFrom(kMuellerInUtf8, set), kMuellerInUtf8) << set;
    }
}

TEST(TextDecoder, GivesUtf8WhateverTheBytes) {
    for (const char* set : {"", "ISO_IR 100", "ISO_IR 192", "ISO_IR 13", "GB18030", "\\ISO 2022 IR 87",
                            "ISO 2022 IR 13\\ISO 2022 IR 87", "\\ISO 2022 IR 149", "ISO_IR 101\\X", "\\\\\\"}) {
        for (const char* bytes : {"\xFF\xFE\x80", "\x1B", "\x1B$", "\x1B$B", "\x1B$B;", "\x1B$)C\xFF", "\x80^\x81=\xFF",
                                  "\xC3", "\xED\xA0\x80", "\x1B(Z\xE4"}) {
            EXPECT_TRUE(radvex::text::isUtf8(nameFrom(bytes, set)))
                << set << ": " << testing::PrintToString(std::string(bytes));
        }
    }
}

TEST(TextDecoder, DoesNotConvertTypesOfTheDefaultSet) {
    EXPECT_EQ(read(DCM_Modality, "\xC3\xBC", "ISO_IR 100"), "\xC3\xBC") << "a code string, whatever it holds";
}

TEST(CharacterSet, OfAnItemIsItsOwnOrThatAroundIt) {
    DcmDataset dataset;
    DcmItem& item = addItem(dataset, DCM_ReferencedStudySequence);
    EXPECT_EQ(characterSetOf(item, "ISO_IR 100"), "ISO_IR 100");
    put(item, {{DCM_SpecificCharacterSet, "ISO_IR 192"}});
    EXPECT_EQ(characterSetOf(item, "ISO_IR 100"), "ISO_IR 192");
    put(item, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}});
    EXPECT_EQ(characterSetOf(item, "ISO_IR 100"), "\\ISO 2022 IR 87");
}

TEST(TextWriter, LeavesTheSetWhenAllNewTextsAreAscii) {
    DcmDataset dataset;
    put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_StudyDescription, kMuellerInLatin1}});
    DcmElement& name = elementWith(dataset, DCM_PatientName, kMuellerInLatin1);
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, "P1");
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), "P1");
    EXPECT_EQ(bytesAt(dataset, DCM_StudyDescription), kMuellerInLatin1);
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "ISO_IR 100");
}

TEST(TextWriter, AValueThatIsNotAsciiMakesAllTextsUtf8) {
    DcmDataset dataset;
    put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_StudyDescription, kMuellerInLatin1}});
    DcmItem& inherits = addItem(dataset, DCM_RequestAttributesSequence);
    put(inherits, {{DCM_RequestedProcedureDescription, kMuellerInLatin1}});
    DcmItem& own = addItem(dataset, DCM_RequestAttributesSequence);
    put(own, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}, {DCM_RequestedProcedureDescription, "\x1B$B;3ED\x1B(B"}});
    DcmElement& name = elementWith(dataset, DCM_PatientName, "Doe");
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, kTarouInUtf8);
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "ISO_IR 192");
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), kTarouInUtf8);
    EXPECT_EQ(bytesAt(dataset, DCM_StudyDescription), kMuellerInUtf8);
    EXPECT_EQ(bytesAt(inherits, DCM_RequestedProcedureDescription), kMuellerInUtf8);
    EXPECT_EQ(bytesAt(own, DCM_RequestedProcedureDescription), kYamadaInUtf8);
    EXPECT_EQ(bytesAt(own, DCM_SpecificCharacterSet), "(none)") << "it would stand above that of the dataset";
}

TEST(TextWriter, AValueThatFitsStaysInTheSetThatHoldsThere) {
    DcmDataset dataset;
    put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}, {DCM_StudyDescription, kMuellerInLatin1}});
    DcmElement& name = elementWith(dataset, DCM_PatientName, "Doe");
    DcmItem& own = addItem(dataset, DCM_RequestAttributesSequence);
    put(own, {{DCM_SpecificCharacterSet, "\\ISO 2022 IR 87"}});
    DcmElement& inItem = elementWith(own, DCM_RequestedProcedureDescription, "Doe");
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, kMuellerInUtf8);
    writer.put(inItem, kYamadaInUtf8 + " 1");
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "ISO_IR 100");
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), kMuellerInLatin1);
    EXPECT_EQ(bytesAt(dataset, DCM_StudyDescription), kMuellerInLatin1);
    EXPECT_EQ(bytesAt(own, DCM_SpecificCharacterSet), "\\ISO 2022 IR 87");
    EXPECT_EQ(bytesAt(own, DCM_RequestedProcedureDescription), "\x1B$B;3ED\x1B(B 1");
}

TEST(TextWriter, ValuesThatFitBecomeUtf8WithTheOthersWhenOneDoesNot) {
    DcmDataset dataset;
    put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}});
    DcmElement& name = elementWith(dataset, DCM_PatientName, "Doe");
    DcmElement& comments = elementWith(dataset, DCM_PatientComments, "Doe");
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, kMuellerInUtf8);
    writer.put(comments, kYamadaInUtf8);
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "ISO_IR 192");
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), kMuellerInUtf8);
    EXPECT_EQ(bytesAt(dataset, DCM_PatientComments), kYamadaInUtf8);
}

TEST(TextWriter, AValueWhoseBytesWouldBeTakenForUtf8DoesNotFit) {
    DcmDataset dataset;
    put(dataset, {{DCM_SpecificCharacterSet, "ISO_IR 100"}});
    DcmElement& name = elementWith(dataset, DCM_PatientName, "Doe");
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, "\u00C3\u00BC"); // two letters of Latin 1, whose bytes are the umlaut of UTF-8
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "ISO_IR 192");
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), "\u00C3\u00BC");
}

TEST(TextWriter, OfTwoValuesForOneElementTheLastOneStays) {
    DcmDataset dataset;
    DcmElement& name = elementWith(dataset, DCM_PatientName, "Doe");
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, kTarouInUtf8);
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), "") << "the old value is gone at once";
    writer.put(name, "P1");
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_PatientName), "P1");
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "(none)");
}

TEST(TextWriter, ForgetsElementsThatAreDeleted) {
    DcmDataset dataset;
    DcmElement& name = elementWith(dataset, DCM_PatientName, "Doe");
    TextDecoder decoder;
    TextWriter writer(dataset, decoder);
    writer.put(name, kTarouInUtf8);
    writer.forget(name);
    delete dataset.remove(&name);
    writer.finish();
    EXPECT_EQ(bytesAt(dataset, DCM_SpecificCharacterSet), "(none)");
}
