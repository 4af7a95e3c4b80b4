#include "deidentify/rewriting/DummyValues.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>

#include "deidentify/rewriting/DatasetWalk.h"
#include "tests/support/DicomFiles.h"

using namespace radvex::deidentify;
using radvex::test::addItem;
using radvex::test::put;
using testing::HasSubstr;

namespace {

std::string textAt(DcmItem& item, const DcmTagKey& key) { return radvex::test::textOf(item, key); }

std::unique_ptr<DcmElement> elementOf(DcmEVR vr, const DcmTagKey& key = {0x0009, 0x1001}) {
    DcmElement* element = nullptr;
    EXPECT_TRUE(DcmItem::newDicomElementWithVR(element, DcmTag(key, DcmVR(vr))).good()) << DcmVR(vr).getVRName();
    return std::unique_ptr<DcmElement>(element);
}

/// The document that stands for another one, without padding.
std::string documentFor(const std::string& mimeType, bool hasLength = true) {
    DcmDataset dataset;
    const std::array<Uint8, 4> original{1, 2, 3, 4};
    dataset.putAndInsertUint8Array(DcmTag(DCM_EncapsulatedDocument, EVR_OB), original.data(), original.size());
    put(dataset, {{DCM_MIMETypeOfEncapsulatedDocument, mimeType}});
    if (hasLength) {
        dataset.putAndInsertUint32(DCM_EncapsulatedDocumentLength, 4);
    }
    putDummyDocument(dataset);
    const Uint8* bytes = nullptr;
    unsigned long count = 0;
    EXPECT_TRUE(dataset.findAndGetUint8Array(DCM_EncapsulatedDocument, bytes, &count).good());
    EXPECT_EQ(count % 2, 0U);
    Uint32 length = 0;
    EXPECT_EQ(dataset.findAndGetUint32(DCM_EncapsulatedDocumentLength, length).good(), hasLength);
    length = hasLength ? length : static_cast<Uint32>(count);
    EXPECT_LE(length, count);
    EXPECT_GE(length + 1, count);
    return {reinterpret_cast<const char*>(bytes), std::min<std::size_t>(length, count)};
}

} // namespace

TEST(DummyValues, OfEachTypeOfTextAreValid) { // PS3.5, table 6.2-1
    const std::map<DcmEVR, std::string> forms{
        {EVR_AE, "[ -\\[\\]-~]{1,16}"}, {EVR_AS, "[0-9]{3}[DWMY]"},   {EVR_CS, "[A-Z0-9 _]{1,16}"},
        {EVR_DA, "[0-9]{8}"},           {EVR_DS, "[-+0-9.eE]{1,16}"}, {EVR_DT, "[0-9]{14}"},
        {EVR_IS, "[-+0-9]{1,12}"},      {EVR_LO, "[A-Z]{1,64}"},      {EVR_LT, "[A-Z]{1,64}"},
        {EVR_PN, "[A-Z]{1,64}"},        {EVR_SH, "[A-Z]{1,16}"},      {EVR_ST, "[A-Z]{1,64}"},
        {EVR_TM, "[0-9]{6}"},           {EVR_UC, "[A-Z]{1,64}"},      {EVR_UR, "http://[a-z.]+"},
        {EVR_UT, "[A-Z]{1,64}"}};
    for (const auto& [vr, form] : forms) {
        const auto element = elementOf(vr);
        ASSERT_TRUE(element->putString("1").good());
        putDummy(*element);
        const std::string value = radvex::deidentify::textOf(*element);
        EXPECT_TRUE(std::regex_match(value, std::regex(form))) << DcmVR(vr).getVRName() << ": " << value;
        EXPECT_TRUE(element->checkValue("1").good()) << DcmVR(vr).getVRName();
    }
}

TEST(DummyValues, OfEachTypeOfNumbersAndBytesAreThere) {
    for (const DcmEVR vr : {EVR_US, EVR_SS, EVR_UL, EVR_SL, EVR_UV, EVR_SV, EVR_FL, EVR_FD, EVR_OB, EVR_OW, EVR_UN}) {
        const auto element = elementOf(vr);
        putDummy(*element);
        EXPECT_GT(element->getLength(), 0U) << DcmVR(vr).getVRName() << ": a value of type 1 would be missing";
        EXPECT_EQ(element->getLength() % 2, 0U) << DcmVR(vr).getVRName();
        Uint8* bytes = nullptr;
        if ((vr == EVR_OB || vr == EVR_UN) && element->getUint8Array(bytes).good() && bytes != nullptr) {
            EXPECT_EQ(std::count(bytes, bytes + element->getLength(), 0), static_cast<long>(element->getLength()));
        }
    }
}

TEST(DummyValues, OfNumbersReplaceAllValues) {
    const auto element = elementOf(EVR_US);
    ASSERT_TRUE(element->putString("7\\8\\9").good());
    putDummy(*element);
    Uint16 number = 1;
    EXPECT_TRUE(element->getUint16(number).good());
    EXPECT_EQ(number, 0);
    EXPECT_EQ(element->getVM(), 1U);
}

TEST(DummyValues, OfAnyOtherTypeLeaveNothingOfTheValue) {
    for (const DcmEVR vr : {EVR_AT, EVR_OD, EVR_OF, EVR_OL, EVR_OV}) {
        const auto element = elementOf(vr);
        ASSERT_TRUE(element->putString(vr == EVR_AT ? "(0010,0010)\\(0010,0020)" : "7\\8").good())
            << DcmVR(vr).getVRName();
        putDummy(*element);
        OFString text;
        (void)element->getOFStringArray(text);
        EXPECT_TRUE(text.empty() || text == "0") << DcmVR(vr).getVRName() << ": " << text;
    }
}

TEST(DummyValues, LeaveUidsAndSequencesAlone) {
    DcmDataset dataset;
    put(dataset, {{DCM_SOPInstanceUID, "1.2.3"}});
    put(addItem(dataset, DCM_ReferencedImageSequence), {{DCM_ReferencedSOPInstanceUID, "1.2.4"}});
    for (const DcmTagKey& key : {DCM_SOPInstanceUID, DCM_ReferencedImageSequence}) {
        DcmElement* element = nullptr;
        ASSERT_TRUE(dataset.findAndGetElement(key, element).good());
        putDummy(*element);
    }
    EXPECT_EQ(textAt(dataset, DCM_SOPInstanceUID), "1.2.3");
    DcmSequenceOfItems* sequence = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequence(DCM_ReferencedImageSequence, sequence).good());
    EXPECT_EQ(sequence->card(), 1U);
}

TEST(DummyValues, AReportBecomesOneTextItem) { // PS3.3, C.17.3.2: a text item has a name of its concept
    DcmDataset dataset;
    for (const char* text : {"Quirina", "Zyxwvut"}) {
        put(addItem(addItem(dataset, DCM_ContentSequence), DCM_ContentSequence), {{DCM_TextValue, text}});
    }
    putDummyContent(dataset, DCM_ContentSequence);
    DcmSequenceOfItems* content = nullptr;
    ASSERT_TRUE(dataset.findAndGetSequence(DCM_ContentSequence, content).good());
    ASSERT_EQ(content->card(), 1U);
    DcmItem& item = *content->getItem(0);
    EXPECT_EQ(textAt(item, DCM_RelationshipType), "CONTAINS");
    EXPECT_EQ(textAt(item, DCM_ValueType), "TEXT");
    EXPECT_THAT(textAt(item, DCM_TextValue), HasSubstr("emoved"));
    EXPECT_FALSE(item.tagExists(DCM_ContentSequence));
    DcmItem* name = nullptr;
    ASSERT_TRUE(item.findAndGetSequenceItem(DCM_ConceptNameCodeSequence, name).good());
    EXPECT_EQ(textAt(*name, DCM_CodeValue), "121106");
    EXPECT_EQ(textAt(*name, DCM_CodingSchemeDesignator), "DCM");
}

TEST(DummyValues, APdfHasItsObjectsWhereItsTableSays) { // PDF 1.4, 3.4.3
    const std::string pdf = documentFor("application/pdf");
    ASSERT_EQ(pdf.substr(0, 9), "%PDF-1.4\n");
    ASSERT_TRUE(pdf.ends_with("%%EOF\n"));
    const std::size_t startMark = pdf.rfind("startxref\n");
    ASSERT_NE(startMark, std::string::npos);
    const std::size_t table = std::stoul(pdf.substr(startMark + 10));
    ASSERT_EQ(pdf.substr(table, 9), "xref\n0 6\n");
    const std::size_t firstEntry = table + 9;
    EXPECT_EQ(pdf.substr(firstEntry, 20), "0000000000 65535 f \n") << "an entry has 20 bytes";
    for (std::size_t number = 1; number < 6; ++number) {
        const std::string entry = pdf.substr(firstEntry + 20 * number, 20);
        ASSERT_EQ(entry.substr(10), " 00000 n \n");
        const std::string object = std::to_string(number) + " 0 obj\n";
        EXPECT_EQ(pdf.substr(std::stoul(entry.substr(0, 10)), object.size()), object);
    }
    EXPECT_EQ(pdf.substr(firstEntry + 20 * 6, 8), "trailer\n");
    EXPECT_THAT(pdf.substr(firstEntry + 20 * 6), HasSubstr("/Size 6"));
    const std::size_t stream = pdf.find("stream\n") + 7;
    const std::size_t length = std::stoul(pdf.substr(pdf.find("/Length ") + 8));
    EXPECT_EQ(pdf.substr(stream + length, 10), "\nendstream");
}

TEST(DummyValues, OtherDocumentsAreOfTheirKindWhereALineCanBe) {
    EXPECT_THAT(documentFor("text/XML"), testing::StartsWith("<?xml version=\"1.0\"?><ClinicalDocument "));
    EXPECT_THAT(documentFor("text/XML "), testing::StartsWith("<?xml")) << "padded";
    EXPECT_EQ(documentFor("text/plain"), "Removed by de-identification\n");
    EXPECT_EQ(documentFor(""), "Removed by de-identification\n");
    EXPECT_EQ(documentFor("model/stl", false).substr(0, 29), "Removed by de-identification\n");
}
