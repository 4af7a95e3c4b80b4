#include <filesystem>
#include <stdexcept>

#include "deidentify/Anonymization.h"
#include "fuzz/Choices.h"
#include "fuzz/InputParts.h"
#include "fuzz/ProfileRun.h"
#include "fuzz/Supply.h"

namespace radvex::fuzz {

namespace {

using velmora::Store;

struct Rule {
    const char* keyword;
    std::uint16_t group;
    std::uint16_t element;
};

/// Attributes of every kind, those in sequences, in meta information and outside of the dictionary among them.
constexpr std::array<Rule, 26> kRules{{{"PatientName", 0x0010, 0x0010},
                                       {"PatientID", 0x0010, 0x0020},
                                       {"StudyID", 0x0020, 0x0010},
                                       {"StudyInstanceUID", 0x0020, 0x000D},
                                       {"SOPInstanceUID", 0x0008, 0x0018},
                                       {"SOPClassUID", 0x0008, 0x0016},
                                       {"ReferencedSOPInstanceUID", 0x0008, 0x1155},
                                       {"TransferSyntaxUID", 0x0002, 0x0010},
                                       {"MediaStorageSOPInstanceUID", 0x0002, 0x0003},
                                       {"PatientBirthDate", 0x0010, 0x0030},
                                       {"PatientAge", 0x0010, 0x1010},
                                       {"SpecificCharacterSet", 0x0008, 0x0005},
                                       {"ReferencedImageSequence", 0x0008, 0x1140},
                                       {"Item", 0xFFFE, 0xE000},
                                       {"PixelData", 0x7FE0, 0x0010},
                                       {"Rows", 0x0028, 0x0010},
                                       {"BitsAllocated", 0x0028, 0x0100},
                                       {"NumberOfFrames", 0x0028, 0x0008},
                                       {"SmallestImagePixelValue", 0x0028, 0x0106},
                                       {"OverlayData", 0x6000, 0x3000},
                                       {"LUTData", 0x0028, 0x3006},
                                       {"RealWorldValueSlope", 0x0040, 0x9225},
                                       {"FrameIncrementPointer", 0x0028, 0x0009},
                                       {"PatientComments", 0x0010, 0x4000},
                                       {"CodeMeaning", 0x0008, 0x0104},
                                       {"NoSuchKeyword", 0x0029, 0x1010}}};
const std::array<std::string, 14> kValues{"",
                                          "X",
                                          "Anonymous",
                                          "1.2.3",
                                          "20240229",
                                          "65536",
                                          "-1",
                                          "1\\2\\3\\4",
                                          "ISO_IR 192",
                                          "1.2.840.10008.1.2.4.50",
                                          "(0018,1063)",
                                          "\xFF\xFE\x80",
                                          "00\\ff\\7f",
                                          std::string(5000, 'A')};

/// A run tells of its errors by sentences for the user. @return false  it did
template <typename Step>
bool tries(Step step) {
    try {
        step();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

constexpr const char* kKey = "0123456789abcdef";

/// A run refuses at once what an attribute may not hold.
bool mayBeGiven(const deidentify::GivenValue& value) {
    return tries([&] { (void)deidentify::startAnonymization({kKey, false, {value}}); });
}

struct Replacements {
    Store rules = Store::empty();
    std::vector<deidentify::GivenValue> given{};
};

Replacements replacementsOf(Supply supply) {
    Replacements replacements;
    for (unsigned count = supply.byte() % 8; count > 0; --count) {
        const Rule& rule = supply.of(kRules);
        const unsigned choice = supply.byte();
        const std::string value = choice < 128 ? kValues[choice % kValues.size()] : supply.text();
        replacements.rules.add(rule.keyword, value);
        const deidentify::GivenValue given{rule.group, rule.element, value};
        if (supply.byte() % 4 != 0 && mayBeGiven(given)) {
            replacements.given.push_back(given);
        }
    }
    return replacements;
}

/// @return false  the library refused the file
bool anonymize(Harness& harness, const std::string& from, const std::string& to, const Store& rules) {
    try {
        (void)harness.host().call("DicomAnonymize", {from, to, rules});
    } catch (const velmora::LibraryError&) {
        return false;
    }
    (void)harness.callOnOwn("ReadAllMetadata", {to, Store::empty(), false});
    return true;
}

/// What the command does with the files of a run, after the library.
class Run {
  public:
    Run(Harness& harness, const Choices& choices, const Replacements& replacements)
        : mHarness(harness),
          mRules(replacements.rules),
          mKeepsChanges(choices.bit(0, 1)),
          mRun(deidentify::startAnonymization({kKey, choices.bit(0, 0), replacements.given})) {}

    void add(const std::string& original, const std::string& name) {
        (void)mRun->kindOf(original);
        (void)tries([&] { (void)mRun->fileIdsOf(original); });
        const std::string raw = mHarness.claim(name + ".raw");
        const std::string mapped = mHarness.claim(name);
        if (anonymize(mHarness, original, raw, mRules) && tries([&] { mRun->map(original, raw, mapped, changes()); })) {
            expectOpens(mapped);
            mMapped.push_back({mapped, name});
        }
    }

    void finish() {
        for (const deidentify::Anonymization::Listed& file : mMapped) {
            const std::string& path = file.path;
            (void)mHarness.claim(file.fileId + ".cleaned");
            if (tries([&] { mIsClean = mRun->clean(path, changes()); })) {
                expectOpens(path);
                if (mIsClean && mRun->holdsIdentifier(path)) {
                    throw std::runtime_error("A clean file holds an identifier.");
                }
            }
            (void)tries([&] { (void)mRun->examine(path); });
            (void)mRun->showsIdentity(file.fileId);
        }
        const std::string directory = mHarness.claim("DICOMDIR");
        if (tries([&] { (void)mRun->writeDirectory(directory, mMapped); })) {
            expectOpens(directory);
        }
    }

  private:
    std::vector<deidentify::Change>* changes() { return mKeepsChanges ? &mChanges : nullptr; }

    void expectOpens(const std::string& path) {
        (void)mHarness.callOnOwn("ReadAllMetadata", {path, Store::empty(), false});
    }

    Harness& mHarness;
    const Store& mRules;
    bool mKeepsChanges;
    bool mIsClean = false;
    std::unique_ptr<deidentify::Anonymization> mRun;
    std::vector<deidentify::Anonymization::Listed> mMapped{};
    std::vector<deidentify::Change> mChanges{};
};

} // namespace

void runAnonymize(Bytes input) {
    constexpr std::size_t kMostParts = 3;
    const Choices choices(input);
    const auto parts = partsOf(Choices::rest(input), kMostParts);
    Harness& harness = Harness::instance();
    const Replacements replacements = replacementsOf(Supply(parts.size() > 1 ? parts[1] : Bytes{}));
    const std::string first = harness.write("input.dcm", parts[0]);
    if (choices.bit(1, 0)) {
        std::vector<std::string> files{first};
        if (parts.size() == kMostParts) {
            files.push_back(harness.write("other.dcm", parts[2]));
        }
        runProfile(harness, choices, files);
        return;
    }
    Run run(harness, choices, replacements);
    run.add(first, "A");
    if (parts.size() == kMostParts) {
        run.add(harness.write("other.dcm", parts[2]), "B");
    }
    run.finish();
    if (choices.bit(0, 2)) { // in place
        (void)anonymize(harness, first, first, replacements.rules);
    }
}

} // namespace radvex::fuzz
