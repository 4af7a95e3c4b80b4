#include "fuzz/Choices.h"

namespace radvex::fuzz {

namespace {

using velmora::Store;

/// Kinds of attributes that are converted each in its own way.
const std::vector<std::string> kNames{"PatientName",
                                      "SpecificCharacterSet",
                                      "Rows",
                                      "NumberOfFrames",
                                      "PixelSpacing",
                                      "PixelData",
                                      "OverlayData",
                                      "FloatPixelData",
                                      "DoubleFloatPixelData",
                                      "ReferencedImageSequence",
                                      "DirectoryRecordSequence",
                                      "PixelAspectRatio",
                                      "AcquisitionDateTime",
                                      "LUTData",
                                      "NoSuchAttribute",
                                      "PerFrameFunctionalGroupsSequence",
                                      "PatientID",
                                      "TransferSyntaxUID",
                                      "Item",
                                      "RedPaletteColorLookupTableData"};
const std::vector<std::string> kPatientFields{"Name", "ID", "BirthDate", "Age", "Weight", "State", "NoSuchField"};
const std::vector<std::string> kStudyFields{"ID", "UID", "Date", "Modalities"};
const std::vector<std::string> kSeriesFields{"UID", "Date", "Description", "Number"};
const std::array<std::string, 4> kPatterns{".*", "1.*|P[0-9]+", "^$", "(a*)*b"};

Store tags() {
    return Store::of({Store::ofTexts({"0010", "0010"}), Store::ofTexts({"7fe0", "0010"}),
                      Store::ofTexts({"6000", "3000"}), Store::ofTexts({"0008", "1140"}),
                      Store::ofTexts({"0002", "0010"}), Store::ofTexts({"fffe", "e000"})});
}

} // namespace

void runMetadata(Bytes input) {
    const Choices choices(input);
    const bool validate = choices.bit(0, 0);
    const std::string& pattern = choices.of(1, kPatterns);
    Harness& harness = Harness::instance();
    const std::string file = harness.write("input.dcm", Choices::rest(input));
    (void)harness.call("ReadAllMetadata", {file, Store::empty(), validate});
    (void)harness.call("ReadMetadata", {file, Store::ofTexts(kNames), validate});
    (void)harness.call("ReadMetadataIntTags", {file, tags()});
    (void)harness.call("ReadPatientInfo", {file, Store::ofTexts(kPatientFields), pattern});
    (void)harness.call("ReadStudyInfo", {file, Store::ofTexts(kStudyFields), pattern, ".*"});
    (void)harness.call("ReadSeriesInfo", {file, Store::ofTexts(kSeriesFields), ".*", ".*", pattern});
    for (const char* count : {"GetFrameCount", "GetRepresentativeFrameIndex", "GetOverlayCount"}) {
        (void)harness.call(count, {file});
    }
}

} // namespace radvex::fuzz
