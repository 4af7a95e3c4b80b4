#include "fuzz/Choices.h"
#include "fuzz/InputParts.h"

namespace radvex::fuzz {

namespace {

constexpr std::size_t kMostFiles = 9; // the directory itself and eight others

std::string writeFiles(Harness& harness, const std::vector<Bytes>& files) {
    const std::string directory = harness.write("DICOMDIR", files[0]);
    for (std::size_t index = 1; index < files.size(); ++index) {
        harness.write(std::string(1, static_cast<char>('A' + index - 1)), files[index]);
    }
    return directory;
}

} // namespace

void runMedium(Bytes input) {
    using velmora::Store;
    static const std::array<std::string, 4> kPatterns{".*", "1\\.2.*", "[^3]*", ""};
    const Choices choices(input);
    Harness& harness = Harness::instance();
    const std::string path = writeFiles(harness, partsOf(Choices::rest(input), kMostFiles));
    const std::string& series = choices.of(1, kPatterns);
    const bool yes = choices.bit(0, 0);
    const auto flags = static_cast<vint>(choices.word(5));
    (void)harness.call("ReadDICOMDIRStructure", {path, ".*", ".*", series, yes});
    (void)harness.call("ReadAllMetadata", {path, Store::empty(), yes});
    (void)harness.call("ReadPatientInfo", {path, Store::ofTexts({"Name", "ID"}), ".*"});
    (void)harness.call("ReadStudyInfo", {path, Store::ofTexts({"UID", "Modalities"}), ".*", ".*"});
    (void)harness.call("ReadSeriesInfo", {path, Store::ofTexts({"UID", "Number"}), ".*", ".*", series});
    (void)harness.call("ReadMetadataRecursive", {path, Store::ofTexts({"PatientID", "PixelData"}), series, yes});
    (void)harness.call("ReadMetadataIntTagsRecursive", {path, Store::of({Store::ofTexts({"0010", "0010"})})});
    (void)harness.call("ReadAllMetadataRecursive", {path, Store::ofTexts({"Rows"}), series, yes});
    (void)harness.call("Read2DImagesDir", {path, scalingOf(choices, 3), yes, flags, ".*", ".*", series});
    (void)harness.call("Read3DImage", {path, ".*", ".*", series, scalingOf(choices, 4), flags});
    for (const char* count : {"GetFrameCount", "GetOverlayCount"}) {
        (void)harness.call(count, {path});
    }
}

} // namespace radvex::fuzz
