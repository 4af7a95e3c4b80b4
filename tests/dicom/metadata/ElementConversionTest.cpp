#include "dicom/metadata/ElementConversion.h"
#include "host/Value.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex;
using namespace radvex::test;
using velmora::NodeView;
using velmora::StoreView;

namespace {

class ElementConversion : public ResultListTest {
  protected:
    /// Converts the element that `fill` put under a tag.
    template <typename Put>
    StoreView convert(const DcmTag& tag, Put put, bool useTensors = true, bool named = true, bool numericName = false) {
        put(dataset);
        DcmElement* element = nullptr;
        if (dataset.findAndGetElement(tag, element).bad()) {
            throw std::logic_error("The test's own element is missing.");
        }
        saveDcmElementToDataList(*list, element, useTensors, named, numericName);
        return StoreView(list->getInternal());
    }

    NodeView only() const {
        EXPECT_EQ(list->getInternal()->length, 1);
        return *StoreView(list->getInternal()).begin();
    }
};

const DcmTag kPrivateFD(0x0029, 0x1010, EVR_FD);

} // namespace

TEST_F(ElementConversion, OneNumberIsANodeOfItsOwn) {
    convert(DCM_Rows, [](DcmItem& item) { item.putAndInsertUint16(DCM_Rows, 512); });
    EXPECT_EQ(only().name(), "Rows");
    EXPECT_EQ(only().type(), VType_Integer);
    EXPECT_EQ(only().cell().integer, 512);
}

TEST_F(ElementConversion, NumbersAreExtendedByTheirSign) {
    const DcmTag tag(0x0029, 0x1010, EVR_US);
    convert(tag, [&](DcmItem& item) { item.putAndInsertUint16(tag, 0xFFFF); });
    EXPECT_EQ(only().cell().integer, 65535);
}

TEST_F(ElementConversion, SignedNumbersStayNegative) {
    const DcmTag tag(0x0029, 0x1010, EVR_SS);
    convert(tag, [&](DcmItem& item) { item.putAndInsertSint16(tag, -1); });
    EXPECT_EQ(only().cell().integer, -1);
}

TEST_F(ElementConversion, AnUnsignedLongKeepsItsBits) {
    const DcmTag tag(0x0029, 0x1010, EVR_UL);
    convert(tag, [&](DcmItem& item) { item.putAndInsertUint32(tag, 0xFFFFFFFFU); });
    EXPECT_EQ(only().cell().integer, -1);
}

TEST_F(ElementConversion, SeveralRealsAreAListInTheirOrder) {
    convert(kPrivateFD, [](DcmItem& item) {
        const Float64 values[] = {0.5, -2.25, 1e300};
        item.putAndInsertFloat64Array(kPrivateFD, values, 3);
    });
    EXPECT_EQ(only().name(), "0029_1010") << "unknown to the dictionary";
    ASSERT_EQ(only().type(), VType_DataStore);
    std::vector<double> values;
    for (const NodeView node : StoreView(only().cell().dataStore)) {
        EXPECT_EQ(node.name(), "");
        EXPECT_EQ(node.type(), VType_Real);
        values.push_back(node.cell().real);
    }
    EXPECT_EQ(values, (std::vector<double>{0.5, -2.25, 1e300}));
}

TEST_F(ElementConversion, SeveralIntegersAreAListInTheirOrder) {
    const auto convertTexts = [&](Uint16 number, DcmEVR vr, const char* texts) {
        const DcmTag tag(0x0029, number, vr);
        convert(tag, [&](DcmItem& item) { item.putAndInsertString(tag, texts); });
    };
    convertTexts(0x1010, EVR_US, "0\\65535\\3");
    convertTexts(0x1011, EVR_SS, "-32768\\32767\\-1");
    convertTexts(0x1012, EVR_SL, "-2147483648\\2147483647");
    convertTexts(0x1013, EVR_UL, "7\\4294967295\\5");
    EXPECT_EQ(outline(result()),
              "0029_1010{0,65535,3},0029_1011{-32768,32767,-1},0029_1012{-2147483648,2147483647},0029_1013{7,-1,5}")
        << "an unsigned long keeps its bits";
}

TEST_F(ElementConversion, AListOfIntegersHasNoNameInAListWithoutNames) {
    const DcmTag tag(0x0029, 0x1010, EVR_US);
    convert(
        tag, [&](DcmItem& item) { item.putAndInsertString(tag, "4\\5"); }, true, false);
    EXPECT_EQ(outline(result()), "{4,5}");
}

TEST_F(ElementConversion, FloatsAreWidened) {
    const DcmTag tag(0x0029, 0x1010, EVR_FL);
    convert(tag, [&](DcmItem& item) { item.putAndInsertFloat32(tag, 0.1F); });
    EXPECT_EQ(only().cell().real, static_cast<double>(0.1F));
}

TEST_F(ElementConversion, SeveralTextsStayOneText) {
    convert(DCM_ImagerPixelSpacing, with({{DCM_ImagerPixelSpacing, "0.5\\0.5"}}));
    EXPECT_EQ(only().name(), "ImagerPixelSpacing");
    EXPECT_EQ(only().type(), VType_UTF8String);
    EXPECT_STREQ(only().cell().utf8String, "0.5\\0.5");
}

TEST_F(ElementConversion, EmptyElementsLeaveNoNode) {
    convert(DCM_InstitutionName, [](DcmItem& item) { item.insertEmptyElement(DCM_InstitutionName); });
    convert(DCM_Rows, [](DcmItem& item) { item.insertEmptyElement(DCM_Rows); });
    convert(DcmTag(0x0029, 0x1010, EVR_OB),
            [](DcmItem& item) { item.insert(new DcmOtherByteOtherWord(DcmTag(0x0029, 0x1010, EVR_OB))); });
    EXPECT_EQ(list->getInternal()->length, 0);
}

// DCMTK pads a value of odd length as soon as it loads it. The odd length shows only while the value is in its file.
TEST_F(ElementConversion, WordsAreHalfTheLengthWithItsLowestBitCleared) {
    const auto path = writeDicom(folder.file("a.dcm"), {});
    std::string odd("\x29\x00\x10\x10OW\x00\x00\x07\x00\x00\x00", 12);
    odd += std::string("\x01\x00\x02\x00\x03\x00\x09", 7);
    folder.write("odd.dcm", readFile(path) + odd);
    DcmFileFormat file;
    ASSERT_TRUE(file.loadFile(folder.file("odd.dcm").c_str(), EXS_Unknown, EGL_noChange, 4).good());
    DcmElement* element = nullptr;
    ASSERT_TRUE(file.getDataset()->findAndGetElement(DcmTag(0x0029, 0x1010), element).good());
    ASSERT_EQ(element->getLength(), 7U);
    saveDcmElementToDataList(*list, element, true, true, false);
    ASSERT_EQ(only().type(), VType_Tensor);
    EXPECT_THAT(elementsOf<vint>(*only().cell().tensor), ElementsAre(1, 2, 3));
}

TEST_F(ElementConversion, BytesAreAnIntegerTensorOrAnArrayOfBytes) {
    const DcmTag tag(0x0029, 0x1010, EVR_OB);
    const auto put = [&](DcmItem& item) {
        const Uint8 bytes[] = {0, 255, 7, 1};
        item.putAndInsertUint8Array(tag, bytes, 4);
    };
    convert(tag, put, true);
    const StoreView both = convert(tag, put, false);
    auto node = both.begin();
    ASSERT_EQ((*node).type(), VType_Tensor);
    EXPECT_THAT(elementsOf<vint>(*(*node).cell().tensor), ElementsAre(0, 255, 7, 1));
    ++node;
    ASSERT_EQ((*node).type(), VType_NumericArray);
    EXPECT_EQ((*node).cell().numericArray->type, VNumericArray_U8);
    EXPECT_EQ((*node).cell().numericArray->dimensions, (std::vector<vint>{4}));
}

TEST_F(ElementConversion, WordsAreAnArrayOfWordsWhenTensorsAreNotWanted) {
    const DcmTag tag(0x0029, 0x1010, EVR_OW);
    convert(
        tag,
        [&](DcmItem& item) {
            const Uint16 words[] = {1, 65535};
            item.putAndInsertUint16Array(tag, words, 2);
        },
        false);
    ASSERT_EQ(only().cell().numericArray->type, VNumericArray_U16);
    EXPECT_EQ(elementsOf<Uint16>(*only().cell().numericArray)[1], 65535);
}

TEST_F(ElementConversion, BytesKeepTheirNameInAListWithoutNames) {
    const DcmTag tag(0x0029, 0x1010, EVR_OB);
    convert(
        tag,
        [&](DcmItem& item) {
            const Uint8 bytes[] = {1, 2};
            item.putAndInsertUint8Array(tag, bytes, 2);
        },
        true, false);
    EXPECT_EQ(only().name(), "0029_1010");
}

TEST_F(ElementConversion, NumbersHaveNoNameInAListWithoutNames) {
    convert(
        DCM_Rows, [](DcmItem& item) { item.putAndInsertUint16(DCM_Rows, 5); }, true, false);
    EXPECT_EQ(only().name(), "");
}

TEST_F(ElementConversion, ANumericNameIsTheNumber) {
    convert(
        DCM_Rows, [](DcmItem& item) { item.putAndInsertUint16(DCM_Rows, 5); }, true, true, true);
    EXPECT_EQ(only().name(), "0028_0010");
}

TEST_F(ElementConversion, RepresentationsWithoutTextLeaveNoNode) {
    convert(DCM_FrameIncrementPointer,
            [](DcmItem& item) { item.putAndInsertTagKey(DCM_FrameIncrementPointer, DCM_FrameTime); });
    const DcmTag unknown(0x0029, 0x1010, EVR_UN);
    convert(unknown, [&](DcmItem& item) {
        const Uint8 bytes[] = {1, 2};
        auto element = std::make_unique<DcmOtherByteOtherWord>(unknown);
        element->putUint8Array(bytes, 2);
        item.insert(element.release());
    });
    EXPECT_EQ(list->getInternal()->length, 0);
}
