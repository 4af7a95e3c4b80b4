#include "guard/ParseGuard.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <zlib.h>

#include "tests/support/DicomFiles.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/LoadedTree.h"
#include "tests/support/Process.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex;
using namespace radvex::test;

namespace {

const std::string kNestedTooDeep = "sequences nested over 100 levels";
const std::string kOutOfOrder = "over 20000 elements of one item out of order";
const std::string kTooLarge = "inflated data over 1073741824 bytes";
const std::string kNothing = "nothing";

class ParseGuard : public ::testing::Test {
  protected:
    /// The guard's answer to a file of these bytes.
    std::string reason(const std::string& bytes, const ParseLimits& limits = {}) const {
        return reasonNotToParse(fresh("file.dcm", bytes), limits).value_or(kNothing);
    }

    /// Removes the file and writes a new one, since writing over one waits for the disk.
    std::string fresh(const std::string& name, const std::string& bytes) const {
        std::filesystem::remove(folder.file(name));
        return folder.write(name, bytes);
    }

    TemporaryFolder folder{};
};

class ParseGuardNesting : public ParseGuard, public ::testing::WithParamInterface<NestingWay> {};

/// So many different elements of an item, the largest tag first: one less is out of order.
std::string descending(const Form& form, std::uint32_t count) {
    std::string bytes;
    for (std::uint32_t number = count; number > 0; --number) {
        bytes += form.element(0x00110000 + number, "UN", "");
    }
    return bytes;
}

} // namespace

TEST_P(ParseGuardNesting, PassesAHundredLevelsAndRefusesOneMore) {
    EXPECT_EQ(reason(GetParam().file(1)), kNothing);
    EXPECT_EQ(reason(GetParam().file(100)), kNothing);
    EXPECT_EQ(reason(GetParam().file(101)), kNestedTooDeep);
}

TEST_P(ParseGuardNesting, CountsTheLevelsThatDcmtkReads) {
    for (const std::size_t levels : {1U, 2U, 7U, 30U}) {
        const std::string path = fresh("file.dcm", GetParam().file(levels));
        DcmFileFormat file;
        EXPECT_EQ(loadAsTheLibrary(file, path).good(), GetParam().isLoaded);
        EXPECT_EQ(levelsOf(file), levels);
    }
}

INSTANTIATE_TEST_SUITE_P(EveryWay, ParseGuardNesting, ::testing::ValuesIn(nestingWays()),
                         [](const auto& way) { return way.param.name; });

TEST_F(ParseGuard, AnswersWithoutRecursion) {
    Nesting nesting;
    EXPECT_EQ(reason(withMeta(kExplicit, nested(nesting, 200'000))), kNestedTooDeep);
    ParseLimits limits;
    limits.levels = 200'000;
    EXPECT_EQ(reason(withMeta(kExplicit, nested(nesting, 200'000)), limits), kNothing);
}

TEST_F(ParseGuard, CountsNoLevelsInValues) {
    const std::string deep = nested({kImplicitForm, kImplicitForm}, 101);
    for (const std::string vr : {"UN", "OB", "UT", "ZZ"}) {
        EXPECT_EQ(reason(withMeta(kExplicit, kExplicitForm.element(0x00091001, vr, deep))), kNothing) << vr;
    }
}

TEST_F(ParseGuard, CountsEachBranchForItself) {
    std::string branches;
    for (std::uint32_t number = 1; number <= 200; ++number) {
        Nesting nesting;
        nesting.tag = 0x00110000 + number;
        branches += nested(nesting, 60);
    }
    EXPECT_EQ(reason(withMeta(kExplicit, branches)), kNothing);
}

TEST_F(ParseGuard, PassesTwentyThousandElementsOutOfOrder) {
    for (const Form& form : {kExplicitForm, kImplicitForm}) {
        const char* syntax = form.isExplicit ? kExplicit : kImplicit;
        EXPECT_EQ(reason(withMeta(syntax, descending(form, 20'001))), kNothing);
        EXPECT_EQ(reason(withMeta(syntax, descending(form, 20'002))), kOutOfOrder);
    }
    EXPECT_EQ(reason(withMeta(kDeflated, deflated(descending(kExplicitForm, 20'001)))), kNothing);
    EXPECT_EQ(reason(withMeta(kDeflated, deflated(descending(kExplicitForm, 20'002)))), kOutOfOrder);
}

TEST_F(ParseGuard, CountsElementsOutOfOrderInNestedItems) {
    const Nesting nesting;
    EXPECT_EQ(reason(withMeta(kExplicit, nested(nesting, 3, descending(kExplicitForm, 20'001)))), kNothing);
    EXPECT_EQ(reason(withMeta(kExplicit, nested(nesting, 3, descending(kExplicitForm, 20'002)))), kOutOfOrder);
}

TEST_F(ParseGuard, CountsElementsOutOfOrderInMetaInformation) {
    EXPECT_EQ(reason(withMeta(kExplicit, "", descending(kExplicitForm, 20'001))), kNothing);
    EXPECT_EQ(reason(withMeta(kExplicit, "", descending(kExplicitForm, 20'002))), kOutOfOrder);
}

TEST_F(ParseGuard, CountsSequencesOutOfOrder) {
    std::string bytes;
    for (std::uint32_t number = 20'002; number > 0; --number) {
        bytes += kExplicitForm.header(0x00110000 + number, "SQ", 0);
    }
    EXPECT_EQ(reason(withMeta(kExplicit, bytes)), kOutOfOrder);
}

TEST_F(ParseGuard, PassesElementsInOrderHoweverMany) {
    std::string bytes;
    for (std::uint32_t number = 0; number < 300'000; ++number) {
        bytes += kImplicitForm.element(0x00110000 + number, "UN", "");
    }
    EXPECT_EQ(reason(withMeta(kImplicit, bytes)), kNothing);
}

TEST_F(ParseGuard, PassesZerosAfterTheData) {
    const std::string data = kExplicitForm.element(0x00100010, "PN", "A^B ");
    EXPECT_EQ(reason(withMeta(kExplicit, data + std::string(1'000'000, '\0'))), kNothing);
}

TEST_F(ParseGuard, RefusesManyItemsThatAreEachJustInOrderEnough) {
    const std::string content = descending(kExplicitForm, 20'001);
    std::string items;
    for (int item = 0; item < 6; ++item) {
        items += kExplicitForm.item(0xFFFEE000, static_cast<std::uint32_t>(content.size())) + content;
    }
    EXPECT_EQ(reason(withMeta(kExplicit, kExplicitForm.element(0x00081140, "SQ", items))),
              "too many elements out of order");
}

TEST_F(ParseGuard, RefusesMorePrivateCreatorsThanCanBeSearched) {
    std::string bytes;
    for (std::uint32_t group = 0x0009; group < 0x0900; group += 2) {
        for (std::uint32_t block = 0x10; block < 0x40; ++block) {
            bytes += kImplicitForm.element(group << 16 | block, "LO", "A ");
        }
    }
    const std::string creators = bytes;
    for (std::uint32_t element = 0x1000; element < 0xFFFF; ++element) {
        bytes += kImplicitForm.element(0x09010000 | element, "UN", "");
    }
    EXPECT_EQ(reason(withMeta(kImplicit, creators)), kNothing);
    EXPECT_EQ(reason(withMeta(kImplicit, bytes)), "too many private creators");
}

namespace {

/// Files whose deflated dataset is one value of zeros, so many bytes in all.
class Bomb {
  public:
    explicit Bomb(std::uint64_t size) {
        deflateInit2(&mStream, 1, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
        const auto length = static_cast<std::uint32_t>(size - 12);
        add(kExplicitForm.header(0x7FE00010, "OB", length), Z_NO_FLUSH);
        const std::string zeros(1 << 20, '\0');
        for (std::uint64_t left = length; left > 0; left -= std::min<std::uint64_t>(left, zeros.size())) {
            add(zeros.substr(0, static_cast<std::size_t>(std::min<std::uint64_t>(left, zeros.size()))), Z_NO_FLUSH);
        }
        add("", Z_FINISH);
        (void)deflateEnd(&mStream);
    }

    std::string file() const { return withMeta(kDeflated, mBytes); }

  private:
    void add(std::string bytes, int flush) {
        std::string output(1 << 16, '\0');
        mStream.next_in = reinterpret_cast<Bytef*>(bytes.data());
        mStream.avail_in = static_cast<uInt>(bytes.size());
        do {
            mStream.next_out = reinterpret_cast<Bytef*>(output.data());
            mStream.avail_out = static_cast<uInt>(output.size());
            (void)deflate(&mStream, flush);
            mBytes.append(output, 0, output.size() - mStream.avail_out);
        } while (mStream.avail_out == 0);
    }

    z_stream mStream{};
    std::string mBytes{};
};

constexpr std::uint64_t kGibibyte = std::uint64_t{1} << 30;

} // namespace

TEST_F(ParseGuard, PassesOneGibibyteInflatedAndRefusesMore) {
    EXPECT_EQ(reason(Bomb(kGibibyte).file()), kNothing);
    EXPECT_EQ(reason(Bomb(kGibibyte + 2).file()), kTooLarge);
}

TEST_F(ParseGuard, RefusesManySmallElementsInflated) {
    ParseLimits limits;
    limits.inflatedBytes = 8'000'000;
    EXPECT_EQ(reason(withMeta(kDeflated, deflated(std::string(8'000'000, '\0'))), limits), kNothing);
    EXPECT_EQ(reason(withMeta(kDeflated, deflated(std::string(8'000'008, '\0'))), limits),
              "inflated data over 8000000 bytes");
}

TEST_F(ParseGuard, CountsElementsItemsAndFragmentsOfAFile) {
    ParseLimits limits;
    limits.objects = 6;
    const std::string element = kExplicitForm.element(0x00080060, "CS", "CT");
    const std::string item = kExplicitForm.item(0xFFFEE000, 0);
    const std::string ofItems = kExplicitForm.header(0x00081140, "SQ", 16) + item + item;
    const std::string fragments =
        kExplicitForm.header(0x7FE00010, "OB", 0xFFFFFFFF) + item + item + kExplicitForm.item(0xFFFEE0DD, 0);
    EXPECT_EQ(reason(withMeta(kExplicit, ofItems + fragments), limits), kNothing);
    EXPECT_EQ(reason(withMeta(kExplicit, element + ofItems + fragments), limits), "over 6 elements");
}

TEST_F(ParseGuard, RefusesAPromiseOfMuchInflatedDataForWhichDcmtkWouldReserveIt) {
    const auto promising = [&](std::uint32_t length) {
        const std::string promise = kExplicitForm.header(0x7FE00010, "OB", length) + "few bytes";
        return reason(withMeta(kDeflated, deflated(promise)));
    };
    EXPECT_EQ(promising(0xFFFFFFFE), kTooLarge);
    EXPECT_EQ(promising(kGibibyte), kTooLarge); // with the header before it
    EXPECT_EQ(promising(1000), kNothing) << "what is cut short is DCMTK's to report";
}

TEST_F(ParseGuard, LeavesWhatIsNoFileToDcmtkAndDoesNotWait) {
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string& path :
         {pipe, folder.path().string(), folder.file("missing"), std::string{}, std::string{"/dev/zero"}}) {
        EXPECT_EQ(reasonNotToParse(path), std::nullopt) << path;
    }
}

TEST_F(ParseGuard, TakesAHyphenForAFile) {
    const std::filesystem::path before = std::filesystem::current_path();
    folder.write("-", withMeta(kExplicit, nested({}, 101)));
    std::filesystem::current_path(folder.path());
    const auto answer = reasonNotToParse("-");
    std::filesystem::current_path(before);
    EXPECT_EQ(answer, kNestedTooDeep);
}

TEST_F(ParseGuard, PassesFilesThatAreNoDicom) {
    for (const std::string& bytes : {std::string{}, std::string{"x"}, std::string(131, 'x'), std::string(5000, 'x'),
                                     std::string(5000, '\xFF'), std::string(128, '\0') + "DICM"}) {
        EXPECT_EQ(reason(bytes), kNothing) << bytes.size();
    }
}

TEST_F(ParseGuard, PassesADeepStructuredReport) {
    const std::string path = writeDicom(folder.file("report.dcm"), [](DcmDataset& dataset) {
        DcmItem* item = &dataset;
        for (int level = 0; level < 25; ++level) {
            DcmItem* next = nullptr;
            ASSERT_TRUE(item->findOrCreateSequenceItem(DCM_ContentSequence, next).good());
            ASSERT_TRUE(item->findOrCreateSequenceItem(DCM_ConceptNameCodeSequence, next).good());
            ASSERT_TRUE(item->findOrCreateSequenceItem(DCM_ContentSequence, next).good());
            item = next;
        }
    });
    EXPECT_EQ(reasonNotToParse(path), std::nullopt);
}

TEST_F(ParseGuard, PassesPublicSamples) {
    const ProcessResult found = runProcess({RADVEX_SOURCE_DIR "/scripts/samples.sh"});
    const std::filesystem::path samples = found.output.substr(0, found.output.find('\n'));
    if (!std::filesystem::is_directory(samples)) {
        GTEST_SKIP() << "python3-pydicom is not installed";
    }
    int files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(samples)) {
        if (entry.is_regular_file()) {
            EXPECT_EQ(reasonNotToParse(entry.path().string()), std::nullopt) << entry.path();
            ++files;
        }
    }
    EXPECT_GT(files, 100);
}

TEST_F(ParseGuard, DoesNotReadTheValuesOfALargeFile) {
    const std::string header = withMeta(kExplicit, kExplicitForm.header(0x7FE00010, "OW", 0xFFFFFFF0));
    const std::string path = folder.write("large.dcm", header);
    std::filesystem::resize_file(path, header.size() + 0xFFFFFFF0); // four sparse gigabytes
    const std::string behind = kExplicitForm.header(0x7FE10001, "SQ", 8) + kExplicitForm.item(0xFFFEE000, 0);
    std::ofstream(path, std::ios::binary | std::ios::app) << behind;
    ParseLimits limits;
    limits.levels = 0;
    EXPECT_EQ(reasonNotToParse(path, limits), "sequences nested over 0 levels") << "what is behind 4 GiB counts";
}
