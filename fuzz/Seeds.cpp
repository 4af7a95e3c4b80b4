#include "fuzz/Seeds.h"

#include "dcmtk/config/osconfig.h"
#include "fuzz/Targets.h"
#include "tests/support/HostileFiles.h"
#include "tests/support/Jpeg2000Streams.h"

#include "dcmtk/dcmdata/dctk.h"

namespace radvex::fuzz {

namespace {

std::string choiceBytes(unsigned char first) {
    std::string choices(kChoiceBytes, '\0');
    choices[0] = static_cast<char>(first);
    return choices;
}

std::vector<SeedFile> fileSeeds() {
    std::vector<SeedFile> seeds;
    for (const SeedFile& file : seedFiles()) {
        seeds.push_back({file.name, choiceBytes(0) + file.bytes});
    }
    return seeds;
}

std::vector<SeedFile> mediumSeeds() {
    const std::string directory = seedDirectory();
    const std::string next = kNextFile;
    std::vector<SeedFile> seeds{{"directoryAlone", choiceBytes(1) + directory}};
    const auto& files = seedFiles();
    for (std::size_t index = 0; index < files.size(); ++index) {
        const SeedFile& other = files[(index + 1) % files.size()];
        seeds.push_back({files[index].name + "-" + other.name, choiceBytes(0) + directory + next + files[index].bytes +
                                                                   next + files[index].bytes + next + other.bytes});
    }
    return seeds;
}

/// Every operation once, with small numbers behind it.
std::vector<SeedFile> tetherSeeds() {
    std::string all;
    for (int operation = 0; operation < 48; ++operation) {
        for (char variant = 0; variant < 9; ++variant) {
            all += {static_cast<char>(operation), variant, 2, 'a', 'b', 1, 0, 0, 0, 0};
        }
    }
    return {{"all", all}, {"list", {0, 2, 3, 1, 2, 3, 0, 3, 12, 2}}, {"text", {7, 0, 2, 'a', 'b', 7, 1, 8, 1}}};
}

std::vector<SeedFile> callSeeds() {
    const std::vector<std::string> lines{
        R"(["GetFrameCount","A"])",
        R"(["ReadAllMetadata","input.dcm",[],false])",
        R"(["ReadMetadata","A",["PatientName","PixelData"],true])",
        R"(["ReadMetadataIntTags","input.dcm",[["0010","0010"],["7fe0","0010"]]])",
        R"(["ReadVRName",["PatientName","Rows"]])",
        R"(["ReadVRNameIntTags",[["0028","0010"]]])",
        R"(["GetGroupElemNumbers","PatientName"])",
        R"(["GetKeyword","0010","0010"])",
        R"(["ReadPatientInfo","A",["Name","ID"],"P[0-9]+|.*"])",
        R"(["ReadStudyInfo","A",["UID"],".*","1\\.2.*"])",
        R"(["ReadSeriesInfo","DICOMDIR",["UID"],".*","(a|b)*\\1",".{1,9}"])",
        R"(["ReadImage","A",0,0,{"tensor":{"type":"real","dims":[2],"data":[0.0,0.0]}},false,1])",
        R"(["ReadImageData","input.dcm",0,1,{"tensor":{"type":"real","dims":[2],"data":[400.0,{"real":"nan"}]}},true,1])",
        R"(["ReadIntermediatePixelData","A",1,0])",
        R"(["ReadOverlays","input.dcm"])",
        R"(["ReadDICOMDIRStructure","DICOMDIR",".*",".*",".*",true])",
        R"(["Read3DImage","DICOMDIR",".*",".*",".*",{"tensor":{"type":"real","dims":[2],"data":[-2.0,0.0]}},1])",
        R"(["ReadMetadataRecursive","DICOMDIR",["PatientID"],".*",true])",
        R"(["CloseReader","A"])",
        R"(["ClearCache"])",
        R"(["setExceptionDetailsContext","Host`"])",
        R"(["GetFrameCount",{"complex":[1.0,2.0]},{"bytes":"/w=="},{"store":[["a",1],["",null]]}])",
        R"(["ReadImage",{"array":{"type":"u16","dims":[1,2],"base64":"AQACAA=="}},{"image":{"type":"u8","rank":2,)"
        R"("slices":1,"rows":1,"columns":2,"channels":1,"colorSpace":0,"interleaved":true,"base64":"AQI="}}])"};
    std::vector<SeedFile> seeds;
    std::string all;
    for (const std::string& line : lines) {
        seeds.push_back({"line" + std::to_string(seeds.size()), line});
        all += line + "\n";
    }
    for (const SeedFile& file : seedFiles()) {
        seeds.push_back({"all-" + file.name, all + kNextFile + file.bytes});
    }
    return seeds;
}

/// Every type with every compression, grey and in colour; then some with metadata, overlays and other defaults.
std::vector<SeedFile> writeSeeds() {
    constexpr unsigned kTypes = 5;
    constexpr unsigned kCompressions = 9;
    constexpr unsigned kPlanar = 128;
    std::vector<SeedFile> seeds;
    for (unsigned type = 0; type < kTypes; ++type) {
        for (unsigned compression = 0; compression < kCompressions; ++compression) {
            for (const unsigned kind : {type, type + kTypes, type + kTypes + kPlanar}) {
                const std::string choices{static_cast<char>(kind),
                                          static_cast<char>(seeds.size() % 4),
                                          11,
                                          9,
                                          static_cast<char>(compression),
                                          1,
                                          0,
                                          1};
                seeds.push_back({"kind" + std::to_string(kind) + "-" + std::to_string(compression), choices});
            }
        }
    }
    for (unsigned start = 0; start < 64; ++start) {
        std::string rest;
        for (unsigned index = 0; index < 96; ++index) {
            rest += static_cast<char>(start + 3 * index);
        }
        seeds.push_back({"more" + std::to_string(start), seeds[start].bytes + rest});
    }
    return seeds;
}

/// Of a run with a profile: no option, then all kinds of options.
std::string profileChoices(std::size_t index) {
    std::string choices = choiceBytes(0);
    choices[1] = 1;
    choices[2] = static_cast<char>(index * 37);
    choices[3] = static_cast<char>(index % 4);
    choices[4] = static_cast<char>(index % 8);
    return choices;
}

std::vector<SeedFile> anonymizeSeeds() {
    const std::string next = kNextFile;
    const std::string rules{3, 0, 2, 1, 6, 1, 1, 13, 1, 0};
    std::vector<SeedFile> seeds;
    const auto& files = seedFiles();
    for (std::size_t index = 0; index < files.size(); ++index) {
        const SeedFile& other = files[(index + 1) % files.size()];
        const std::string choices = choiceBytes(static_cast<unsigned char>(index % 8));
        seeds.push_back({files[index].name, choices + files[index].bytes});
        seeds.push_back(
            {files[index].name + "-" + other.name, choices + files[index].bytes + next + rules + next + other.bytes});
        const std::string profile = profileChoices(index);
        seeds.push_back({"profile-" + files[index].name, profile + files[index].bytes + next + next + other.bytes});
    }
    seeds.push_back({"directory", choiceBytes(0) + seedDirectory() + next + rules});
    return seeds;
}

/// Whole files, and as datasets those of the ways to nest: the target puts them into files of every kind.
std::vector<SeedFile> guardSeeds() {
    std::vector<SeedFile> seeds = fileSeeds();
    const std::size_t metaSize = test::withMeta(test::kExplicit, "").size();
    for (const test::NestingWay& way : test::nestingWays()) {
        for (const std::size_t levels : {2U, 100U}) {
            seeds.push_back({way.name + std::to_string(levels), choiceBytes(0) + way.file(levels)});
        }
        const std::string file = way.file(3);
        for (unsigned char form = 1; form < 8 && file.size() > metaSize; ++form) {
            seeds.push_back({way.name + "-as" + std::to_string(form), choiceBytes(form) + file.substr(metaSize)});
        }
    }
    seeds.push_back({"directory", choiceBytes(0) + seedDirectory()});
    return seeds;
}

/// Codestreams of all kinds that OpenJPEG encodes, in files of all kinds.
std::vector<SeedFile> jpeg2000Seeds() {
    using test::Jpeg2000Progression;
    constexpr int kSide = 19;
    std::vector<SeedFile> seeds;
    for (int index = 0; index < 40; ++index) {
        test::Jpeg2000Source source{.rows = kSide, .columns = kSide - index % 3};
        source.components = index % 4 == 0 ? 3 : 1;
        source.precision = 8 + index % 9;
        source.isSigned = index % 5 == 1;
        source.isReversible = index % 2 == 0;
        source.hasTransformation = source.components == 3 && index % 8 == 0;
        source.tileSize = index % 3 == 0 ? 8 : 0;
        source.resolutions = 1 + index % 4;
        source.layers = 1 + index % 3;
        source.precinctSize = index % 7 == 0 ? 8 : 0;
        source.blockSize = index % 2 == 0 ? 64 : 4;
        source.progression = static_cast<Jpeg2000Progression>(index % 5);
        source.hasPartsOfResolutions = index % 11 == 0;
        source.isFile = index % 13 == 0;
        const int start = source.isSigned ? -(1 << (source.precision - 1)) : 0;
        for (int sample = 0; sample < source.rows * source.columns * source.components; ++sample) {
            source.samples.push_back(start + sample * sample % (1 << source.precision));
        }
        std::string choices = choiceBytes(static_cast<unsigned char>(index % 16));
        choices[2] = static_cast<char>(index % 3);
        choices[3] = static_cast<char>(index);
        choices[4] = static_cast<char>(index);
        seeds.push_back({"stream" + std::to_string(index), choices + test::jpeg2000Stream(source)});
    }
    return seeds;
}

std::string tagBytes(const DcmTagKey& key) {
    return {static_cast<char>(key.getGroup() & 0xFF), static_cast<char>(key.getGroup() >> 8),
            static_cast<char>(key.getElement() & 0xFF), static_cast<char>(key.getElement() >> 8)};
}

} // namespace

std::vector<SeedFile> seedsOf(const std::string& target) {
    (void)targetNamed(target);
    if (target == "medium") {
        return mediumSeeds();
    }
    if (target == "tether") {
        return tetherSeeds();
    }
    if (target == "write") {
        return writeSeeds();
    }
    if (target == "anonymize") {
        return anonymizeSeeds();
    }
    if (target == "guard") {
        return guardSeeds();
    }
    if (target == "jpeg2000") {
        return jpeg2000Seeds();
    }
    return target == "call" ? callSeeds() : fileSeeds();
}

std::vector<std::string> dictionaryWords() {
    std::vector<std::string> words{UID_LittleEndianImplicitTransferSyntax,
                                   UID_LittleEndianExplicitTransferSyntax,
                                   UID_BigEndianExplicitTransferSyntax,
                                   UID_DeflatedExplicitVRLittleEndianTransferSyntax,
                                   UID_RLELosslessTransferSyntax,
                                   UID_JPEGProcess1TransferSyntax,
                                   UID_JPEGProcess2_4TransferSyntax,
                                   UID_JPEGProcess14SV1TransferSyntax,
                                   UID_JPEGLSLosslessTransferSyntax,
                                   UID_JPEG2000TransferSyntax,
                                   "DICM",
                                   "MONOCHROME1 ",
                                   "MONOCHROME2 ",
                                   "PALETTE COLOR ",
                                   "RGB ",
                                   "YBR_FULL",
                                   "YBR_FULL_422",
                                   "YBR_PARTIAL_422 ",
                                   "ARGB",
                                   "CMYK",
                                   "HSV ",
                                   "ISO 2022 IR 87",
                                   "ISO_IR 192",
                                   "GB18030 ",
                                   "PATIENT ",
                                   "STUDY ",
                                   "SERIES",
                                   "IMAGE ",
                                   "AEASATCSDADS",
                                   "SQ",
                                   "OB",
                                   "OW",
                                   "UN",
                                   "UT",
                                   "US",
                                   "SS",
                                   kNextFile};
    words.emplace_back("\xFF\xFF\xFF\xFF");
    for (const DcmTagKey& key : {DCM_Item,
                                 DCM_ItemDelimitationItem,
                                 DCM_SequenceDelimitationItem,
                                 DCM_PixelData,
                                 DCM_Rows,
                                 DCM_Columns,
                                 DCM_BitsAllocated,
                                 DCM_BitsStored,
                                 DCM_HighBit,
                                 DCM_PixelRepresentation,
                                 DCM_SamplesPerPixel,
                                 DCM_PlanarConfiguration,
                                 DCM_NumberOfFrames,
                                 DCM_PhotometricInterpretation,
                                 DCM_RescaleSlope,
                                 DCM_RescaleIntercept,
                                 DCM_WindowCenter,
                                 DCM_WindowWidth,
                                 DCM_PixelAspectRatio,
                                 DCM_SmallestImagePixelValue,
                                 DCM_LargestImagePixelValue,
                                 DCM_PixelPaddingValue,
                                 DCM_ModalityLUTSequence,
                                 DCM_VOILUTSequence,
                                 DCM_LUTDescriptor,
                                 DCM_LUTData,
                                 DCM_RedPaletteColorLookupTableDescriptor,
                                 DCM_FloatPixelData,
                                 DCM_DoubleFloatPixelData,
                                 DCM_SpecificCharacterSet,
                                 DCM_TransferSyntaxUID,
                                 DCM_DirectoryRecordSequence,
                                 DCM_OffsetOfTheNextDirectoryRecord,
                                 DCM_OffsetOfReferencedLowerLevelDirectoryEntity,
                                 DCM_DirectoryRecordType,
                                 DCM_ReferencedFileID,
                                 DCM_ReferencedTransferSyntaxUIDInFile,
                                 DcmTagKey(0x6000, 0x0010),
                                 DcmTagKey(0x6000, 0x0011),
                                 DcmTagKey(0x6000, 0x0050),
                                 DcmTagKey(0x6000, 0x0100),
                                 DcmTagKey(0x6000, 0x0102),
                                 DcmTagKey(0x6000, 0x3000),
                                 DcmTagKey(0x6000, 0x0015)}) {
        words.push_back(tagBytes(key));
    }
    return words;
}

} // namespace radvex::fuzz
