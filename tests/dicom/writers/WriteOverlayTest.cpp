#include <map>

#include "dicom/writers/DcmOverlay.h"
#include "dicom/writers/WriteOptions.h"
#include "tests/dicom/DicomTest.h"
#include "tests/support/WriterTest.h"

using namespace radvex::test;
using namespace velmora;

namespace {

Image bitImage(vint slices, vint rows, vint columns, const std::vector<int>& values) {
    Image image(slices, rows, columns, 1, VImage_Bit, VColorSpace_Grey, true);
    std::copy(values.begin(), values.end(), image.data<std::int8_t>().begin());
    return image;
}

class WriteOverlays : public WriterTest {
  protected:
    static WriteArguments withOverlays(std::vector<Value> overlays, Store options = Store::empty()) {
        return {.image = spelledImage(VImage_U8, 0, 4, 4, 1),
                .overlays = Store::of(std::move(overlays)),
                .overlayOptions = std::move(options)};
    }
    static Store options(const std::string& number, const std::vector<std::pair<std::string, std::string>>& entries) {
        Store store = Store::empty();
        store.add(number, texts(entries));
        return store;
    }
    std::vector<Uint16> wordsOf(Uint16 group) {
        const Uint16* words = nullptr;
        unsigned long count = 0;
        (void)loaded.getDataset()->findAndGetUint16Array(DcmTagKey(group, 0x3000), words, &count);
        return {words, words + count};
    }
    std::string value(Uint16 group, Uint16 element) { return valueOf(DcmTagKey(group, element)); }
    void expectPlane(Uint16 group, const std::map<Uint16, std::string>& expected) {
        for (const auto& [element, text] : expected) {
            EXPECT_EQ(value(group, element), text) << std::hex << group << ' ' << element;
        }
    }

    static Image dot() { return bitImage(0, 1, 2, {1, 0}); }
};

} // namespace

TEST_F(WriteOverlays, AttributesOfAPlane) {
    load(write(withOverlays({bitImage(0, 2, 3, {1, 0, 1, 0, 0, 1})})));
    expectPlane(0x6000, {{0x0010, "2"},
                         {0x0011, "3"},
                         {0x0015, "1"},
                         {0x0022, "(none)"},
                         {0x0040, "G"},
                         {0x0045, "(none)"},
                         {0x0050, "1\\1"},
                         {0x0051, "1"},
                         {0x0100, "1"},
                         {0x0102, "0"},
                         {0x1500, "(none)"}});
    EXPECT_THAT(wordsOf(0x6000), ElementsAre(0b100101));
}

TEST_F(WriteOverlays, BitsRunOnWithoutPaddingLowestFirst) {
    load(write(withOverlays({bitImage(0, 3, 3, {1, 0, 0, 0, 0, 0, 0, 0, 1}), bitImage(0, 4, 4, std::vector<int>(16, 1)),
                             bitImage(0, 1, 17, std::vector<int>(17, 1))})));
    EXPECT_THAT(wordsOf(0x6000), ElementsAre(0x0101)) << "nine bits are one word";
    EXPECT_THAT(wordsOf(0x6002), ElementsAre(0xFFFF));
    EXPECT_THAT(wordsOf(0x6004), ElementsAre(0xFFFF, 0x0001)) << "seventeen are two";
}

TEST_F(WriteOverlays, OnlyOneIsASetBit) {
    load(write(withOverlays({bitImage(0, 1, 5, {2, 1, -1, 127, 0})})));
    EXPECT_THAT(wordsOf(0x6000), ElementsAre(0b00010));
}

TEST_F(WriteOverlays, SlicesStayInOneGroup) {
    load(write(withOverlays({bitImage(3, 1, 2, {1, 0, 0, 1, 1, 1})})));
    EXPECT_EQ(value(0x6000, 0x0015), "3");
    EXPECT_THAT(wordsOf(0x6000), ElementsAre(0b111001));
    EXPECT_EQ(value(0x6002, 0x0010), "(none)");
}

TEST_F(WriteOverlays, OptionsGoToTheOverlayOfTheirNumber) {
    Store all = options("2", {{"OriginRow", "2"},
                              {"OriginColumn", "-3"},
                              {"ImageFrameOrigin", "65535"},
                              {"OverlayType", "R"},
                              {"OverlayDescription", "what"},
                              {"OverlaySubtype", "USER"},
                              {"OverlayLabel", "L"},
                              {"NoSuchProperty", "ignored"}});
    load(write(withOverlays({dot(), dot()}, std::move(all))));
    expectPlane(0x6000, {{0x0050, "1\\1"}, {0x0040, "G"}, {0x0022, "(none)"}});
    expectPlane(
        0x6002,
        {{0x0050, "2\\-3"}, {0x0051, "65535"}, {0x0040, "R"}, {0x0022, "what"}, {0x0045, "USER"}, {0x1500, "L"}});
}

TEST_F(WriteOverlays, AnEmptyTextIsPresentAllTheSame) {
    load(write(withOverlays({dot()}, options("1", {{"OverlayDescription", ""}}))));
    EXPECT_EQ(value(0x6000, 0x0022), "");
}

TEST_F(WriteOverlays, NumbersThatDoNotFitAreNamed) {
    for (const auto& [property, number] :
         std::vector<std::pair<std::string, std::string>>{{"OriginRow", "40000"},
                                                          {"OriginRow", "-32769"},
                                                          {"OriginColumn", "32768"},
                                                          {"ImageFrameOrigin", "65536"},
                                                          {"ImageFrameOrigin", "-1"}}) {
        const auto arguments = withOverlays({dot()}, options("1", {{property, number}}));
        EXPECT_EQ(writeCode(arguments), kOverlayPropertyError) << property << ' ' << number;
        EXPECT_EQ(writeMessage(arguments), "Invalid value for overlay property " + property + ".");
    }
    for (const auto& [property, number] : std::vector<std::pair<std::string, std::string>>{
             {"OriginRow", "32767"}, {"OriginColumn", "-32768"}, {"ImageFrameOrigin", "0"}, {"OriginRow", " 5 rest"}}) {
        EXPECT_EQ(writeCode(withOverlays({dot()}, options("1", {{property, number}}))), 0) << property << ' ' << number;
    }
}

TEST_F(WriteOverlays, TextThatIsNoNumberIsAGeneralFailure) {
    for (const char* number : {"abc", "", "99999999999999999999"}) {
        EXPECT_EQ(writeCode(withOverlays({dot()}, options("1", {{"OriginRow", number}}))), 6) << number;
        EXPECT_EQ(writeCode(withOverlays({dot()}, options("1", {{"ImageFrameOrigin", number}}))), 6) << number;
    }
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteOverlays, OptionsOfAnOverlayThatThereIsNotAreAGeneralFailure) {
    for (const char* number : {"0", "2", "-1", "99999999999", "one", ""}) {
        EXPECT_EQ(writeCode(withOverlays({dot()}, options(number, {{"OverlayType", "R"}}))), 6) << number;
    }
    EXPECT_EQ(writeCode(withOverlays({}, options("1", {}))), 6) << "there is none at all";
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteOverlays, SixteenAreWrittenAndSeventeenAreTooMany) {
    load(write(withOverlays(std::vector<Value>(16, dot()))));
    for (Uint16 group = 0x6000; group <= 0x601E; group = static_cast<Uint16>(group + 2)) {
        EXPECT_THAT(wordsOf(group), ElementsAre(1)) << group;
    }
    const WriteArguments arguments = withOverlays(std::vector<Value>(17, dot()));
    EXPECT_EQ(codeOf("WriteImage", valuesOf(folder.file("many.dcm"), arguments)), kOverlayCountError);
    EXPECT_EQ(writeMessage(arguments), "Maximum number of overlay planes (16) exceeded.");
    EXPECT_FALSE(std::filesystem::exists(folder.file("many.dcm")));
}

TEST_F(WriteOverlays, OnlyBitImagesAreOverlays) {
    EXPECT_EQ(writeCode(withOverlays({spelledImage(VImage_U8, 0, 2, 2, 1)})), kImageTypeError);
    EXPECT_EQ(writeCode(withOverlays({Value("text")})), -50) << "and only images";
    EXPECT_FALSE(wasWritten());
}

TEST_F(WriteOverlays, ReplaceWhatMetadataPutThere) {
    WriteArguments arguments = withOverlays({dot()});
    arguments.metadata = texts({{"OverlayType", "R"}, {"OverlayOrigin", "9\\9"}});
    load(write(arguments));
    EXPECT_EQ(value(0x6000, 0x0040), "G");
    EXPECT_EQ(value(0x6000, 0x0050), "1\\1");
}

TEST_F(WriteOverlays, TheLibraryReadsBackWhatItWrote) {
    const std::vector<int> bits{1, 0, 1, 1, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 1, 0};
    const auto path = write(withOverlays({bitImage(0, 4, 4, bits), dot()}));
    EXPECT_EQ(call("GetOverlayCount", {path}).get<vint>(), 2);
    const Value first = call("ReadOverlay", {path});
    EXPECT_THAT(elementsOf<std::int8_t>(first.get<Image>()), ElementsAreArray(bits));
}

namespace {

/// The classes themselves, which throw through the host's link.
class OverlayPlanes : public ClassTest {
  protected:
    static void add(radvex::DcmOverlay& overlay, unsigned short rows, unsigned short columns, const signed char* data) {
        overlay.addOverlayPlane(data, rows, columns, 1, 1, 1, 1, "G");
    }
};

} // namespace

TEST_F(OverlayPlanes, AnEmptyPlaneWritesAnEmptyValue) {
    radvex::DcmOverlay overlay;
    add(overlay, 0, 5, nullptr);
    DcmDataset dataset;
    overlay.writeOverlayToDataset(dataset);
    DcmElement* data = nullptr;
    ASSERT_TRUE(dataset.findAndGetElement(DcmTagKey(0x6000, 0x3000), data).good());
    EXPECT_EQ(data->getLength(), 0U);
}

TEST_F(OverlayPlanes, TheSeventeenthIsRefused) {
    radvex::DcmOverlay overlay;
    const signed char pixel = 1;
    for (int plane = 0; plane < 16; ++plane) {
        add(overlay, 1, 1, &pixel);
    }
    EXPECT_EQ(errorOf([&] { add(overlay, 1, 1, &pixel); }), "OverlayCountError");
}

TEST_F(OverlayPlanes, TextsBelongToAPlaneThatThereIs) {
    radvex::DcmOverlay overlay;
    const signed char pixel = 1;
    add(overlay, 1, 1, &pixel);
    EXPECT_EQ(errorOf([&] { overlay.setOverlayLabel(0, "x"); }), "");
    EXPECT_EQ(errorOf([&] { overlay.setOverlayLabel(1, "x"); }), "OverlayIndexOutOfBounds");
    EXPECT_EQ(errorOf([&] { overlay.setOverlaySubtype(-1, "x"); }), "OverlayIndexOutOfBounds");
    EXPECT_EQ(errorOf([&] { overlay.setOverlayDescription(16, "x"); }), "OverlayIndexOutOfBounds");
}

TEST_F(OverlayPlanes, AValueThatNoLengthCanTellIsRefusedBeforeItIsMade) {
    radvex::DcmOverlay overlay;
    const signed char pixel = 1; // 65535 cubed bits are 32 TiB
    EXPECT_EQ(errorOf([&] { overlay.addOverlayPlane(&pixel, 65535, 65535, 65535, 1, 1, 1, "G"); }), "ImageWriteError");
}

TEST_F(OverlayPlanes, PropertiesAreReadAsTheirType) {
    using radvex::overlayPropertyFromString;
    EXPECT_EQ(overlayPropertyFromString<short>("-32768", "P"), -32768);
    EXPECT_EQ(overlayPropertyFromString<short>(" 12x", "P"), 12);
    EXPECT_EQ(errorOf([] { (void)overlayPropertyFromString<short>("32768", "P"); }), "OverlayPropertyError");
    EXPECT_THROW((void)overlayPropertyFromString<short>("x", "P"), std::invalid_argument);
    EXPECT_THROW((void)overlayPropertyFromString<short>("9223372036854775808", "P"), std::out_of_range);
}
