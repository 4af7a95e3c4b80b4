#include "view/Catalogue.h"

#include <gtest/gtest.h>

using radvex::formats::Json;
using radvex::view::Catalogue;

namespace {

Json seriesOf(const Json& files) { return {{"key", "k"}, {"modality", "CT"}, {"files", files}, {"bytes", 5}}; }

Catalogue catalogue() {
    const Json studies =
        Json::array({{{"key", "s"}, {"series", Json::array({seriesOf({"/a/1", "/a/2"}), seriesOf({"/a/3"})})}}});
    return Catalogue(
        {{"patients", Json::array({{{"key", "p"}, {"studies", studies}}})},
         {"leftOut",
          {{"skipped", 3}, {"refused", Json::array({{{"path", "/secret"}, {"reason", "it is cut off"}}})}}}});
}

} // namespace

TEST(Catalogue, NumbersSeriesAndFiles) {
    const Catalogue all = catalogue();
    EXPECT_EQ(all.seriesCount(), 2U);
    EXPECT_EQ(*all.fileOf(0, 1), "/a/2");
    EXPECT_EQ(*all.fileOf(1, 0), "/a/3");
    EXPECT_EQ(all.fileOf(0, 2), nullptr);
    EXPECT_EQ(all.fileOf(2, 0), nullptr);
    EXPECT_EQ(all.fileOf(SIZE_MAX, SIZE_MAX), nullptr);
    EXPECT_EQ(all.filesOf(2), nullptr);
}

TEST(Catalogue, ShowsNoPath) {
    const std::string shown = catalogue().shown().dump();
    EXPECT_EQ(shown.find('/'), std::string::npos) << shown;
    EXPECT_NE(shown.find("\"files\":2"), std::string::npos) << shown;
    EXPECT_NE(shown.find("it is cut off"), std::string::npos) << shown;
}
