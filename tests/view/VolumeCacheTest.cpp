#include "view/VolumeCache.h"

#include <gtest/gtest.h>

using radvex::view::Message;
using radvex::view::VolumeCache;

namespace {

std::shared_ptr<const Message> ofBytes(std::size_t count) {
    return std::make_shared<const Message>(Message{nullptr, std::string(count, 'x')});
}

} // namespace

TEST(VolumeCache, ForgetsWhatWasNotAskedForTheLongest) {
    VolumeCache cache(10);
    cache.keep("a", ofBytes(4));
    cache.keep("b", ofBytes(4));
    EXPECT_NE(cache.find("a"), nullptr); // b is the older one from here on
    cache.keep("c", ofBytes(4));
    EXPECT_NE(cache.find("a"), nullptr);
    EXPECT_EQ(cache.find("b"), nullptr);
    EXPECT_NE(cache.find("c"), nullptr);
}

TEST(VolumeCache, KeepsWhatFitsExactlyAndNothingLarger) {
    VolumeCache cache(10);
    cache.keep("exact", ofBytes(10));
    EXPECT_NE(cache.find("exact"), nullptr);
    cache.keep("larger", ofBytes(11));
    EXPECT_EQ(cache.find("larger"), nullptr);
    EXPECT_NE(cache.find("exact"), nullptr) << "what is not kept makes no room for itself";
}

TEST(VolumeCache, KeepsOneOfTwoWithTheSameKey) {
    VolumeCache cache(10);
    const auto first = ofBytes(6);
    cache.keep("a", first);
    cache.keep("a", ofBytes(6));
    EXPECT_EQ(cache.find("a"), first);
    cache.keep("b", ofBytes(4));
    EXPECT_EQ(cache.find("a"), first) << "the second one must not count";
}

TEST(VolumeCache, AVolumeInUseOutlivesItsPlace) {
    VolumeCache cache(10);
    cache.keep("a", ofBytes(10));
    const auto used = cache.find("a");
    cache.keep("b", ofBytes(10));
    EXPECT_EQ(used->body.size(), 10U);
}
