#include <gtest/gtest.h>

#include <filesystem>
#include <random>

#include "guard/ParseGuard.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/LoadedTree.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex;
using namespace radvex::test;

namespace {

const std::string kRecordsTooDeep = "directory records nested over 100 levels";
const std::string kNoReason = "nothing";

using Records = std::vector<DirectoryRecord>;

/// Every record is the first of the level below the one before.
Records chain(std::uint32_t levels) {
    Records records(levels);
    for (std::uint32_t number = 1; number < levels; ++number) {
        records[number - 1].lower = number + 1;
    }
    return records;
}

std::string wrapped(const char* syntax, const Form& form, const Records& records, std::uint32_t first,
                    bool isDefined = false) {
    const std::size_t offset = withMeta(syntax, "").size();
    return withMeta(syntax, directory(form, records, first, offset, isDefined));
}

std::string explicitFile(const Records& records, std::uint32_t first = 1) {
    return wrapped("1.2.840.10008.1.2.1", kExplicitForm, records, first);
}

class ParseGuardDirectory : public ::testing::Test {
  protected:
    std::string reason(const std::string& bytes, const ParseLimits& limits = {}) const {
        return reasonNotToParse(fresh("DICOMDIR", bytes), limits).value_or(kNoReason);
    }

    std::size_t levelsInDcmtk(const std::string& bytes) const {
        DcmDicomDir directory(fresh("DICOMDIR", bytes).c_str());
        return levelsOfTree(directory);
    }

    /// Removes the file and writes a new one, since writing over one waits for the disk.
    std::string fresh(const std::string& name, const std::string& bytes) const {
        std::filesystem::remove(folder.file(name));
        return folder.write(name, bytes);
    }

    TemporaryFolder folder{};
};

struct DirectoryForm {
    const char* name;
    const char* syntax;
    Form form;
    bool isDefined;
};

class ParseGuardDirectoryForms : public ParseGuardDirectory, public ::testing::WithParamInterface<DirectoryForm> {
  protected:
    static std::string file(std::uint32_t levels) {
        const DirectoryForm& form = GetParam();
        return wrapped(form.syntax, form.form, chain(levels), 1, form.isDefined);
    }
};

} // namespace

TEST_P(ParseGuardDirectoryForms, PassesAHundredLevelsAndRefusesMore) {
    EXPECT_EQ(levelsInDcmtk(file(7)), 7U);
    EXPECT_EQ(reason(file(100)), kNoReason);
    EXPECT_EQ(reason(file(101)), kRecordsTooDeep);
    EXPECT_EQ(reason(file(3000)), kRecordsTooDeep);
}

INSTANTIATE_TEST_SUITE_P(EveryForm, ParseGuardDirectoryForms,
                         ::testing::Values(DirectoryForm{"Explicit", "1.2.840.10008.1.2.1", kExplicitForm, false},
                                           DirectoryForm{"ExplicitDefined", "1.2.840.10008.1.2.1", kExplicitForm, true},
                                           DirectoryForm{"Implicit", "1.2.840.10008.1.2", kImplicitForm, false},
                                           DirectoryForm{"ImplicitDefined", "1.2.840.10008.1.2", kImplicitForm, true},
                                           DirectoryForm{"BigEndian", "1.2.840.10008.1.2.2", kBigEndianForm, false}),
                         [](const auto& form) { return form.param.name; });

TEST_F(ParseGuardDirectory, FollowsOffsetsOfADeflatedDataset) {
    const auto file = [](std::uint32_t levels) {
        const std::size_t offset = withMeta("1.2.840.10008.1.2.1.99", "").size();
        return withMeta("1.2.840.10008.1.2.1.99", deflated(directory(kExplicitForm, chain(levels), 1, offset)));
    };
    EXPECT_EQ(levelsInDcmtk(file(7)), 7U);
    EXPECT_EQ(reason(file(100)), kNoReason);
    EXPECT_EQ(reason(file(101)), kRecordsTooDeep);
}

TEST_F(ParseGuardDirectory, FollowsOffsetsOfABareDataset) {
    EXPECT_EQ(levelsInDcmtk(directory(kExplicitForm, chain(7), 1, 0)), 7U);
    EXPECT_EQ(reason(directory(kExplicitForm, chain(100), 1, 0)), kNoReason);
    EXPECT_EQ(reason(directory(kExplicitForm, chain(101), 1, 0)), kRecordsTooDeep);
}

// DCMTK makes odd lengths even, with a zero behind.
TEST_F(ParseGuardDirectory, FollowsOffsetsOfThreeBytes) {
    const auto file = [](std::uint32_t levels) {
        const std::size_t offset = withMeta("1.2.840.10008.1.2.1", "").size();
        return withMeta("1.2.840.10008.1.2.1", directory(kExplicitForm, chain(levels), 1, offset, false, 3));
    };
    EXPECT_EQ(levelsInDcmtk(file(7)), 7U);
    EXPECT_EQ(reason(file(100)), kNoReason);
    EXPECT_EQ(reason(file(101)), kRecordsTooDeep);
}

TEST_F(ParseGuardDirectory, AnswersForAHundredThousandLevels) {
    EXPECT_EQ(reason(explicitFile(chain(100'000))), kRecordsTooDeep);
}

TEST_F(ParseGuardDirectory, CountsBackwardReferences) {
    Records records(101);
    for (std::uint32_t number = 2; number <= 101; ++number) {
        records[number - 1].lower = number - 1;
    }
    EXPECT_EQ(reason(explicitFile(records, 101)), kRecordsTooDeep);
    EXPECT_EQ(reason(explicitFile(records, 100)), kNoReason);
}

TEST_F(ParseGuardDirectory, CountsALastRecordWithoutAnEnd) {
    Records records(101);
    for (std::uint32_t number = 2; number <= 101; ++number) {
        records[number - 1].lower = number - 1;
    }
    std::string bytes = explicitFile(records, 101);
    bytes.resize(bytes.size() - 16); // neither the last item nor the sequence ends
    EXPECT_EQ(reason(bytes), kRecordsTooDeep);
}

TEST_F(ParseGuardDirectory, PassesManyRecordsOfOneLevel) {
    Records records(50'000);
    for (std::uint32_t number = 1; number < records.size(); ++number) {
        records[number - 1].next = number + 1;
    }
    EXPECT_EQ(reason(explicitFile(records)), kNoReason);
}

TEST_F(ParseGuardDirectory, PassesChainsThatNoRootRefersTo) {
    EXPECT_EQ(reason(explicitFile(chain(3000), 0)), kNoReason);
    EXPECT_EQ(levelsInDcmtk(explicitFile(chain(300), 0)), 0U);
}

TEST_F(ParseGuardDirectory, EndsAtCyclesAndAtOffsetsPastTheEnd) {
    for (const Records& records : {Records{{1, 0}}, Records{{0, 1}}, Records{{2, 2}, {1, 1}}, Records{{9'999'999, 0}},
                                   Records{{2, 3}, {3, 1}, {1, 2}}}) {
        EXPECT_EQ(reason(explicitFile(records)), kNoReason);
    }
}

TEST_F(ParseGuardDirectory, CountsAsManyLevelsAsDcmtkForReferencesAtRandom) {
    std::mt19937 generator(20'240'607);
    const auto random = [&generator](std::uint32_t below) { return static_cast<std::uint32_t>(generator() % below); };
    for (int round = 0; round < 300; ++round) {
        const std::uint32_t count = 2 + random(20);
        Records records(count);
        for (DirectoryRecord& record : records) {
            record.lower = random(count + 1);
            record.next = random(count + 1);
        }
        const std::string bytes = explicitFile(records, 1 + random(count));
        const std::size_t levels = levelsInDcmtk(bytes);
        ParseLimits limits;
        limits.directoryLevels = levels + 1; // a record that is met again ends DCMTK's way, but counts
        EXPECT_EQ(reason(bytes, limits), kNoReason) << round;
        limits.directoryLevels = levels - 1;
        EXPECT_NE(reason(bytes, limits), kNoReason) << round;
    }
}
