#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "guard/ParseGuard.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/LoadedTree.h"
#include "tests/support/OrderWarnings.h"
#include "tests/support/TemporaryFolder.h"

#include "dcmtk/oflog/oflog.h"

using namespace radvex;
using namespace radvex::test;

namespace {

class Mutations {
  public:
    explicit Mutations(std::uint32_t seed) : mGenerator(seed) {}

    std::size_t below(std::size_t bound) { return bound == 0 ? 0 : static_cast<std::size_t>(mGenerator()) % bound; }

    /// A few changes of the kinds that shift, hide and forge headers.
    std::string of(std::string bytes, const std::string& donor) {
        for (std::size_t change = 1 + below(4); change > 0; --change) {
            changeOnce(bytes, donor);
        }
        return bytes;
    }

  private:
    void changeOnce(std::string& bytes, const std::string& donor) {
        const std::size_t offset = below(bytes.size());
        const std::size_t from = below(donor.size());
        switch (below(8)) {
        case 0: bytes.insert(offset, donor.substr(from, below(64))); break;
        case 1: bytes.erase(offset, 1 + below(16)); break;
        case 2: bytes.insert(offset, bytes.substr(below(bytes.size()), below(64))); break;
        case 3: bytes.resize(offset); break;
        case 4: overwrite(bytes, offset, interesting()); break;
        case 5: overwrite(bytes, offset & ~std::size_t{1}, interesting()); break;
        case 6: bytes[offset] = static_cast<char>(mGenerator()); break;
        default: bytes[offset] = static_cast<char>(bytes[offset] ^ 1 << below(8));
        }
        bytes.resize(std::max<std::size_t>(bytes.size(), 1));
    }

    static void overwrite(std::string& bytes, std::size_t offset, const std::string& with) {
        bytes.replace(offset, std::min(with.size(), bytes.size() - offset), with);
    }

    const std::string& interesting() {
        const Form& e = kExplicitForm;
        const Form& b = kBigEndianForm;
        static const std::array pieces{
            e.item(0xFFFEE000, kUndefined),
            e.item(0xFFFEE000, 8),
            e.item(0xFFFEE00D, 0),
            e.item(0xFFFEE0DD, 0),
            b.item(0xFFFEE000, kUndefined),
            b.item(0xFFFEE0DD, 0),
            e.number32(kUndefined),
            e.number32(0),
            e.number32(0xFFFFFFFE),
            std::string("SQ"),
            std::string("UN"),
            std::string("OB"),
            std::string("OW"),
            std::string("UT"),
            std::string("??"),
            std::string("sq"),
            std::string("na"),
            std::string("pi"),
            std::string("px"),
            std::string("ox"),
            std::string(2, '\0'),
            std::string(4, '\0'),
            e.tag(0x7FE00010),
            e.tag(0x00020010),
            e.tag(0x00020000),
            e.tag(0x00041220),
            e.tag(0x00081140),
            e.tag(0x00283010),
            e.tag(0x60003000),
            e.tag(0x54001010),
            e.tag(0x54001004),
            e.tag(0x00091040),
            e.tag(0x00090010),
            std::string("1.2.840.10008.1.2.2"),
        };
        return pieces[below(pieces.size())];
    }

    std::mt19937 mGenerator;
};

/// Seeds without nesting: elements that decide about the VR of others, and pixel data of a private creator.
std::vector<std::string> otherSeeds() {
    const Form& e = kExplicitForm;
    const Form& i = kImplicitForm;
    const std::string fragments = e.item(0xFFFEE000, 4) + "abcd" + e.item(0xFFFEE0DD, 0);
    const Nesting plain;
    return {
        withMeta(kImplicit, i.element(0x54001004, "US", i.number16(8)) + i.header(0x54001010, "OW", kUndefined) +
                                fragments + nested({i, i}, 3)),
        withMeta(kExplicit, e.element(0x7FE10010, "LO", "GEMS_Ultrasound_MovieGroup_001") +
                                e.header(0x7FE11060, "OB", kUndefined) + fragments + nested(plain, 3)),
        withMeta(kImplicit, i.element(0x7FE10010, "LO", "GEMS_Ultrasound_MovieGroup_001") +
                                i.header(0x7FE11060, "OB", kUndefined) + fragments + nested({i, i}, 3)),
        withMeta(kExplicit, e.element(0x7FE10010, "UI", "GEMS_Ultra sound_MovieGroup_001 ") +
                                e.header(0x7FE11060, "OW", kUndefined) + fragments + nested(plain, 3)),
        withMeta(kImplicit, i.element(0x00091001, "", "before") + i.element(0x00090010, "LO", "CARDIO-D.R. 1.0 ") +
                                i.element(0x00090010, "LO", "other ") +
                                nested({i, i, 0x00091040, "SQ", true, true}, 3)),
    };
}

std::vector<std::string> seeds() {
    std::vector<std::string> all = otherSeeds();
    for (const NestingWay& way : nestingWays()) {
        for (const std::size_t levels : {2U, 5U}) {
            all.push_back(way.file(levels));
        }
    }
    return all;
}

/// More rounds than the test needs by default.
int rounds(int usual) {
    const char* factor = std::getenv("RADVEX_FUZZ_FACTOR");
    return usual * (factor == nullptr ? 1 : std::atoi(factor));
}

class ParseGuardMutation : public ::testing::Test {
  protected:
    void SetUp() override { OFLog::configure(OFLogger::OFF_LOG_LEVEL); }

    /// Compares what DCMTK made of a file with what the guard allows.
    void compare(const std::string& bytes) {
        const std::string path = fresh("file.dcm", bytes);
        DcmFileFormat file;
        bool isLoaded = false;
        try {
            isLoaded = loadAsTheLibrary(file, path).good();
        } catch (const std::exception&) {
            return;
        }
        ParseLimits limits;
        limits.levels = levelsOf(file);
        loaded += isLoaded ? 1 : 0;
        deepLoaded += isLoaded && limits.levels > 1 ? 1 : 0;
        stricter += isLoaded && reasonNotToParse(path, limits) ? 1 : 0;
        if (limits.levels > 0) {
            --limits.levels;
            ASSERT_NE(reasonNotToParse(path, limits), std::nullopt) << "laxer than DCMTK";
        }
    }

    /// Removes the file and writes a new one, since writing over one waits for the disk.
    std::string fresh(const std::string& name, const std::string& bytes) const {
        std::filesystem::remove(folder.file(name));
        return folder.write(name, bytes);
    }

    TemporaryFolder folder{};
    int loaded = 0;
    int deepLoaded = 0;
    int stricter = 0;
};

} // namespace

TEST_F(ParseGuardMutation, IsNeverLaxerThanDcmtk) {
    const std::vector<std::string> all = seeds();
    const std::size_t metaSize = withMeta(kExplicit, "").size();
    const int count = rounds(6000);
    for (int round = 0; round < count && !HasFatalFailure(); ++round) {
        SCOPED_TRACE("seed " + std::to_string(round));
        Mutations mutations(static_cast<std::uint32_t>(round));
        const std::string& seed = all[mutations.below(all.size())];
        std::string bytes = mutations.of(seed, all[mutations.below(all.size())]);
        if (mutations.below(8) == 0 && bytes.size() > metaSize) {
            bytes = withMeta(kDeflated, deflated(bytes.substr(metaSize)));
        }
        compare(bytes);
    }
    RecordProperty("loaded", loaded);
    RecordProperty("stricter", stricter);
    EXPECT_GT(loaded, count / 10);
    EXPECT_GT(deepLoaded, count / 20);
    EXPECT_LT(stricter, loaded / 20) << "elements that DCMTK dropped count, but little else";
}

TEST_F(ParseGuardMutation, IsNeverLaxerForAFileThatIsCutShort) {
    for (const std::string& seed : seeds()) {
        const std::size_t step = seed.size() < 2000 ? 1 : 7;
        for (std::size_t size = 0; size < seed.size() && !HasFatalFailure(); size += step) {
            compare(seed.substr(0, size));
        }
    }
    EXPECT_GT(loaded, 500);
}

namespace {

/// Different elements, private creators among them, partly in order.
std::string shuffled(std::uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<std::uint32_t> tags;
    for (std::uint32_t tag = 0x00100000; tag < 0x00100000 + random() % 60; ++tag) {
        tags.push_back(tag);
    }
    for (std::uint32_t tag = 0x0011000E; tag < 0x0011000E + random() % 30; ++tag) {
        tags.push_back(tag);
    }
    for (std::size_t swaps = random() % (2 * tags.size() + 1); swaps > 0; --swaps) {
        std::swap(tags[random() % tags.size()], tags[random() % tags.size()]);
    }
    std::string bytes;
    for (const std::uint32_t tag : tags) {
        bytes += kExplicitForm.element(tag, "LO", "AB");
    }
    return bytes;
}

} // namespace

TEST_F(ParseGuardMutation, CountsTheElementsThatDcmtkInsertsBeforeOthers) {
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        const std::string path = fresh("file.dcm", withMeta(kExplicit, shuffled(seed)));
        DcmFileFormat file;
        const OrderWarnings warnings;
        ASSERT_TRUE(loadAsTheLibrary(file, path).good());
        ParseLimits limits;
        limits.outOfOrder = warnings.count();
        EXPECT_EQ(reasonNotToParse(path, limits), std::nullopt) << seed;
        if (limits.outOfOrder > 0) {
            --limits.outOfOrder;
            EXPECT_NE(reasonNotToParse(path, limits), std::nullopt) << seed;
        }
    }
}
