// Codestreams that are damaged inside: decoded as OpenJPEG decodes them without a complaint, or refused.

#include "dicom/pixels/Jpeg2000Picture.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "guard/pixels/Jpeg2000Codestream.h"
#include "tests/support/Jpeg2000Parts.h"

using namespace radvex::test;
using radvex::Jpeg2000Codestream;
using radvex::Jpeg2000Picture;

namespace {

Jpeg2000Codestream headersOf(const std::string& stream) {
    return Jpeg2000Codestream({reinterpret_cast<const Uint8*>(stream.data()), stream.size()});
}

/// Component by component.
std::vector<std::int32_t> samplesIn(const Jpeg2000Picture& picture, const Jpeg2000Codestream& headers) {
    std::vector<std::int32_t> samples;
    for (std::size_t component = 0; component < picture.components(); ++component) {
        const auto found = picture.samples(component, headers.columns(), headers.rows());
        samples.insert(samples.end(), found.begin(), found.end());
    }
    return samples;
}

/// Counts what becomes of damaged codestreams.
struct Outcomes {
    int refusedByHeaders = 0;
    int refusedByOpenJpeg = 0;
    int decoded = 0;
};

void look(const std::string& stream, Outcomes& outcomes) {
    const Jpeg2000Codestream headers = headersOf(stream);
    if (!headers.problem().empty()) {
        ++outcomes.refusedByHeaders;
        return;
    }
    const Jpeg2000Picture picture(headers.bytes());
    const std::vector<std::int32_t> samples = samplesIn(picture, headers);
    ASSERT_EQ(samples.empty(), !picture.problem().empty());
    if (samples.empty()) {
        EXPECT_FALSE(picture.hasRunOutOfMemory()) << picture.problem();
        ++outcomes.refusedByOpenJpeg;
        return;
    }
    const DecodedJpeg2000 plainly = decodedJpeg2000(stream);
    EXPECT_EQ(plainly.complaint, "");
    EXPECT_EQ(plainly.samples, samples);
    ++outcomes.decoded;
}

/// Flips bits behind the main header of a codestream, each time in another place.
Outcomes damageAtRandom(const std::string& stream, int times) {
    Outcomes outcomes;
    std::mt19937 random(17);
    const Jpeg2000Parts parts = partsOf(stream);
    for (int index = 0; index < times; ++index) {
        std::string damaged = stream;
        for (auto flips = 1 + random() % 3; flips > 0; --flips) {
            const std::size_t size = stream.size() - parts.header.size() - 14 - 2; // without SOT, SOD and the mark
            const std::size_t offset = parts.header.size() + 14 + random() % size;
            damaged[offset] = static_cast<char>(static_cast<unsigned char>(damaged[offset]) ^ 1U << random() % 8);
        }
        look(damaged, outcomes);
    }
    return outcomes;
}

} // namespace

TEST(Jpeg2000Pictures, AreThoseOfTheirCodestream) {
    const Jpeg2000Source source = jpeg2000Picture(7, 5, 3, 12);
    const std::string stream = jpeg2000Stream(source);
    const Jpeg2000Codestream headers = headersOf(stream);
    const Jpeg2000Picture picture(headers.bytes());
    EXPECT_EQ(picture.problem(), "");
    EXPECT_EQ(picture.components(), 3U);
    EXPECT_EQ(samplesIn(picture, headers), source.samples);
    EXPECT_TRUE(picture.samples(0, 7, 5).empty()) << "of another size";
    EXPECT_TRUE(picture.samples(3, 5, 7).empty()) << "there are three components";
}

TEST(Jpeg2000Pictures, ThatAreDamagedAreOpenJpegsOrNone) {
    Jpeg2000Source source = jpeg2000Picture(40, 60, 1, 12);
    source.blockSize = 8; // many headers
    for (const bool isDivided : {false, true}) {
        source.layers = isDivided ? 3 : 1;
        source.tileSize = isDivided ? 32 : 0;
        source.hasPartsOfResolutions = isDivided;
        source.isReversible = !isDivided;
        const Outcomes outcomes = damageAtRandom(jpeg2000Stream(source), 300);
        EXPECT_GT(outcomes.decoded, 0);
        EXPECT_GT(outcomes.refusedByOpenJpeg, 0);
        EXPECT_EQ(outcomes.refusedByHeaders > 0, isDivided) << "headers of tile parts";
    }
}

TEST(Jpeg2000Pictures, OfHtj2kThatAreDamagedAreOpenJpegsOrNone) {
    const Outcomes outcomes = damageAtRandom(htj2kStream(), 1000);
    EXPECT_GT(outcomes.decoded, 0);
    EXPECT_GT(outcomes.refusedByOpenJpeg, 0);
}

// OpenJPEG's strict mode refuses it; the tile parts say that nothing is missing.
TEST(Jpeg2000Pictures, NeedNoMarkOfTheEnd) {
    const Jpeg2000Source source = jpeg2000Picture(7, 5);
    const std::string stream = jpeg2000Stream(source);
    const std::string without = stream.substr(0, stream.size() - 2);
    EXPECT_EQ(decodedJpeg2000(without).samples, std::vector<std::int32_t>());
    for (const std::string& bytes : {without, without + '\0', stream + "padding", stream + '\0', stream + stream}) {
        const Jpeg2000Codestream headers = headersOf(bytes);
        EXPECT_EQ(headers.problem(), "");
        const Jpeg2000Picture picture(headers.bytes());
        EXPECT_EQ(picture.problem(), "");
        EXPECT_EQ(samplesIn(picture, headers), source.samples);
    }
    EXPECT_NE(headersOf(without + "padding").problem(), "") << "the data may have been longer";
}

// OpenJPEG warns of both, and the picture is right.
TEST(Jpeg2000Pictures, AreTakenInSpiteOfHarmlessWarnings) {
    const Jpeg2000Source source = jpeg2000Picture(7, 5);
    Jpeg2000Parts parts = partsOf(jpeg2000Stream(source));
    parts.header += jpeg2000Segment(0x79, "unknown!");
    EXPECT_NE(decodedJpeg2000(parts.joined()).complaint, "");
    const std::string unknown = parts.joined();
    EXPECT_EQ(Jpeg2000Picture(headersOf(unknown).bytes()).problem(), "");
    EXPECT_EQ(samplesIn(Jpeg2000Picture(headersOf(unknown).bytes()), headersOf(unknown)), source.samples);
    Jpeg2000Source divided = source;
    divided.hasPartsOfResolutions = true;
    divided.progression = Jpeg2000Progression::resolutions;
    parts = partsOf(jpeg2000Stream(divided));
    ASSERT_EQ(parts.tileParts.size(), 3U);
    for (std::string& part : parts.tileParts) {
        part[11] = 2; // counted from 0
    }
    const std::string lower = parts.joined();
    EXPECT_NE(decodedJpeg2000(lower).complaint, "");
    EXPECT_EQ(samplesIn(Jpeg2000Picture(headersOf(lower).bytes()), headersOf(lower)), source.samples);
}

TEST(Jpeg2000Pictures, SayWhyThereAreNone) {
    const EmptyJpeg2000 source{.levels = 1, .precincts = {0x11, 0x01}, .bytesOfTile = 600};
    const std::string bytes = source.stream();
    const Jpeg2000Codestream headers = headersOf(bytes);
    ASSERT_EQ(headers.problem(), "");
    const Jpeg2000Picture picture(headers.bytes());
    EXPECT_EQ(picture.problem(), "Invalid precinct size");
    EXPECT_FALSE(picture.hasRunOutOfMemory());
    EXPECT_EQ(picture.components(), 0U);
    EXPECT_TRUE(picture.samples(0, 16, 16).empty());
    EXPECT_NE(Jpeg2000Picture({}).problem(), "");
}
