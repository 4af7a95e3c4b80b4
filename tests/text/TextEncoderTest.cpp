#include "text/TextEncoder.h"

#include <gtest/gtest.h>

using namespace radvex::text;

namespace {

const std::string kDoesNotFit = "(does not fit)";

std::string encodedText(const std::string& text, const std::string& set, DcmEVR vr = EVR_PN) {
    TextDecoder decoder;
    return TextEncoder(decoder).encoded(text, vr, set).value_or(kDoesNotFit);
}

} // namespace

TEST(TextEncoder, PutsATextIntoASetOfOneByte) {
    EXPECT_EQ(encodedText("M\u00FCller", "ISO_IR 100"), "M\xFCller");
    EXPECT_EQ(encodedText("\u0164", "ISO_IR 101"), "\xAB");
    EXPECT_EQ(encodedText("\u03B1^\u03B2", "ISO_IR 126"), "\xE1^\xE2");
    EXPECT_EQ(encodedText("\uFF94\uFF8F^a", "ISO_IR 13"), "\xD4\xCF^a");
    EXPECT_EQ(encodedText("\u0E01", "ISO_IR 166"), "\xA1");
    EXPECT_EQ(encodedText("\u738B^\u5C0F", "GB18030"), "\xCD\xF5^\xD0\xA1");
    EXPECT_EQ(encodedText("\u8AA0", "GBK"), "\xD5\x5C") << "whose second byte is a backslash";
    EXPECT_EQ(encodedText("M\u00FCller", "ISO_IR 192"), "M\u00FCller");
    EXPECT_EQ(encodedText("Miller", "NO SUCH SET"), "Miller");
}

TEST(TextEncoder, SaysWhatDoesNotFit) {
    EXPECT_EQ(encodedText("\u5C71", "ISO_IR 100"), kDoesNotFit);
    EXPECT_EQ(encodedText("\u00E9", ""), kDoesNotFit);
    EXPECT_EQ(encodedText("\u00E9", "NO SUCH SET"), kDoesNotFit);
    EXPECT_EQ(encodedText("\u00E9\x1B", "ISO_IR 100"), kDoesNotFit) << "an escape that is text would become one";
    EXPECT_EQ(encodedText("\xE9", "ISO_IR 100"), kDoesNotFit) << "no UTF-8";
    EXPECT_EQ(encodedText("\u00E9", "ISO_IR 100", EVR_CS), kDoesNotFit) << "a type without a set";
    EXPECT_EQ(encodedText("\u2460", "\\ISO 2022 IR 87"), kDoesNotFit) << "a vendor's character";
    EXPECT_EQ(encodedText("\uFF5E", "\\ISO 2022 IR 87"), kDoesNotFit) << "it would come back as another one";
    EXPECT_EQ(encodedText("\u20AC", "GBK"), kDoesNotFit) << "not in every table";
    EXPECT_EQ(encodedText("\u20AC", "ISO_IR 166"), kDoesNotFit);
    EXPECT_EQ(encodedText("\uE000", "GB18030"), kDoesNotFit) << "for private use";
    EXPECT_EQ(encodedText("\u00A5", "ISO_IR 13"), kDoesNotFit) << "the Yen sign would come back as a backslash";
    EXPECT_EQ(encodedText("\uAE40", "ISO 2022 IR 149"), kDoesNotFit) << "no set to begin with";
}

TEST(TextEncoder, ChangesTheSetForEachComponentAndReturns) {
    EXPECT_EQ(encodedText("Yamada^Tarou=\u5C71\u7530^\u592A\u90CE", "\\ISO 2022 IR 87"),
              "Yamada^Tarou=\x1B$B;3ED\x1B(B^\x1B$BB@O:\x1B(B")
        << "as the standard's example (PS3.5, H.3.1)";
    EXPECT_EQ(encodedText("\uFF94\uFF8F\uFF80\uFF9E^\uFF80\uFF9B\uFF73=\u5C71\u7530^\u592A\u90CE",
                          "ISO 2022 IR 13\\ISO 2022 IR 87"),
              "\xD4\xCF\xC0\xDE^\xC0\xDB\xB3=\x1B$B;3ED\x1B(J^\x1B$BB@O:\x1B(J")
        << "H.3.2";
    EXPECT_EQ(encodedText("Hong^Gildong=\u6D2A^\u5409\u6D1E", "\\ISO 2022 IR 149"),
              "Hong^Gildong=\x1B$)C\xFB\xF3^\x1B$)C\xD1\xCE\xD4\xD7")
        << "I.2";
    EXPECT_EQ(encodedText("\u4E02\u5C71", "\\ISO 2022 IR 87\\ISO 2022 IR 159"), "\x1B$(D\x30\x21\x1B$B;3\x1B(B");
}

TEST(TextEncoder, ReturnsToAFirstSetOfOneByteWithItsEscape) {
    const std::string sets = "ISO 2022 IR 100\\ISO 2022 IR 126\\ISO 2022 IR 87";
    EXPECT_EQ(encodedText("\u00E9\u03B1^\u00E9", sets), "\xE9\x1B-F\xE1\x1B-A^\xE9");
    EXPECT_EQ(encodedText("\u03B1\r\n\u00E9", sets, EVR_LT), "\x1B-F\xE1\x1B-A\r\n\xE9");
    EXPECT_EQ(encodedText("\u03B1^\u03B2\\\u03B3", sets, EVR_LO), "\x1B-F\xE1^\xE2\x1B-A\\\x1B-F\xE3\x1B-A");
    EXPECT_EQ(encodedText("\u5C71\u00E9", sets), "\x1B$B;3\x1B-A\xE9") << "one character set counts at a time";
}

TEST(TextEncoder, WritesAsciiBehindCharactersOfTwoBytesInAscii) {
    EXPECT_EQ(encodedText("\u5C71 a", "\\ISO 2022 IR 87", EVR_LO), "\x1B$B;3\x1B(B a");
    EXPECT_EQ(encodedText("\u5C0F"
                          "a\u5C0F",
                          "\\ISO 2022 IR 58", EVR_LO),
              "\x1B$)A\xD0\xA1\x1B(Ba\x1B$)A\xD0\xA1\x1B(B");
    EXPECT_EQ(encodedText("\uAE40 a\uAE40", "\\ISO 2022 IR 149", EVR_LO), "\x1B$)C\xB1\xE8 a\xB1\xE8");
}
