#include "formats/json/Base64.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace radvex::formats;

namespace {

std::string encode(std::string_view text) { return toBase64(std::as_bytes(std::span(text.data(), text.size()))); }

std::string decode(std::string_view text) {
    const auto bytes = fromBase64(text);
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

} // namespace

// The vectors of RFC 4648, section 10.
TEST(Base64, EncodesThePublishedVectors) {
    EXPECT_EQ(encode(""), "");
    EXPECT_EQ(encode("f"), "Zg==");
    EXPECT_EQ(encode("fo"), "Zm8=");
    EXPECT_EQ(encode("foo"), "Zm9v");
    EXPECT_EQ(encode("foob"), "Zm9vYg==");
    EXPECT_EQ(encode("fooba"), "Zm9vYmE=");
    EXPECT_EQ(encode("foobar"), "Zm9vYmFy");
}

TEST(Base64, DecodesThePublishedVectors) {
    EXPECT_EQ(decode("Zg=="), "f");
    EXPECT_EQ(decode("Zm8="), "fo");
    EXPECT_EQ(decode("Zm9vYmFy"), "foobar");
}

TEST(Base64, CarriesEveryByte) {
    std::string bytes;
    for (int value = 0; value < 256; ++value) {
        bytes.push_back(static_cast<char>(value));
    }
    EXPECT_EQ(decode(encode(bytes)), bytes);
}

TEST(Base64, RefusesWhatIsNone) {
    EXPECT_THROW(fromBase64("Zg="), std::invalid_argument);
    EXPECT_THROW(fromBase64("Z?=="), std::invalid_argument);
    EXPECT_THROW(fromBase64("===="), std::invalid_argument);
    EXPECT_THROW(fromBase64("Zg==Zg=="), std::invalid_argument);
}
