#include "tests/faults/Scripts.h"

#include "fuzz/SeedFiles.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/MediumFiles.h"
#include "tests/support/Results.h"

namespace radvex::faults {

namespace {

using velmora::Image;
using velmora::Store;
using velmora::Tensor;
using velmora::Value;

struct Call {
    std::string function;
    std::vector<Value> arguments{};
};

Outcome runCalls(velmora::Host& host, const std::vector<Call>& calls) {
    Outcome outcome;
    for (const Call& call : calls) {
        try {
            const std::vector<Value> arguments = call.arguments; // the library takes stores out of stores
            const Value result = host.call(call.function, arguments);
            outcome.codes.push_back(0);
            outcome.digests.push_back(test::digestOf(result));
        } catch (const velmora::LibraryError& error) {
            outcome.codes.push_back(error.code());
            outcome.digests.push_back(0);
        }
    }
    return outcome;
}

/// A script of calls after which nothing is kept open.
Script scriptOf(const std::string& name, std::vector<Call> calls) {
    calls.push_back({"ClearCache"});
    return {.name = name, .run = [calls = std::move(calls)](velmora::Host& host) { return runCalls(host, calls); }};
}

Tensor scaling(double width = 0.0, double centre = 0.0) {
    return {std::vector<vint>{2}, std::vector<double>{width, centre}};
}

Store metadata() {
    Store store = Store::empty();
    store.add("PatientName", "Doe^Jane");
    store.add("PatientID", "P1");
    Store item = Store::empty();
    item.add("ReferencedFrameNumber", "1");
    store.add("ReferencedImageSequence", Store::of({item}));
    return store;
}

Image picture() {
    Image image(0, 16, 16, 1, VImage_U8, VColorSpace_Grey, true);
    vint index = 0;
    for (std::byte& pixel : image.bytes()) {
        pixel = static_cast<std::byte>(index++ / 16);
    }
    return image;
}

/// Calls that write a file and read back what was written.
std::vector<Call> writeCalls(const std::string& path, const std::string& compression, bool hasOverlay) {
    Store overlays = Store::empty();
    Store options = Store::empty();
    if (hasOverlay) {
        overlays = Store::of({Image(0, 1, 1, 1, VImage_Bit, VColorSpace_Grey, true)});
        Store properties = Store::empty();
        properties.add("OverlayType", "R");
        options.add("1", properties);
    }
    return {{"WriteImage", {path, picture(), metadata(), overlays, compression, 0, 0, options}},
            {"ReadImage", {path, 0, 0, scaling(), false, 1}}};
}

std::vector<Script> readScripts(const ScriptFiles& files) {
    const std::string attributes = files.path("attributes");
    const auto tags = Store::of({Store::ofTexts({"0010", "0010"}), Store::ofTexts({"0008", "1140"})});
    const auto pixelNames = Store::ofTexts({"PhotometricInterpretation", "PixelData"});
    const auto pixels = [&](const std::string& file) { return Call{"ReadImage", {file, 0, 0, scaling(), true, 1}}; };
    return {
        scriptOf("counts", {{"GetFrameCount", {attributes}},
                            {"GetRepresentativeFrameIndex", {attributes}},
                            {"GetOverlayCount", {files.path("overlays")}},
                            {"CloseReader", {attributes}}}),
        scriptOf("attributes",
                 {{"ReadMetadata", {attributes, Store::ofTexts({"PatientName", "ReferencedImageSequence"}), true}},
                  {"ReadMetadataIntTags", {attributes, tags}}}),
        scriptOf("all metadata", {{"ReadAllMetadata", {attributes, Store::ofTexts({"PatientID"}), false}}}),
        scriptOf("image", {pixels(files.path("rescaled"))}),
        scriptOf("JPEG-LS image", {pixels(files.path("jpegls8"))}),
        scriptOf("JPEG image", {pixels(files.path("lossless8"))}),
        scriptOf("RLE image", {pixels(files.path("rleFrames"))}),
        scriptOf("deflated image", {pixels(files.path("deflated"))}),
        scriptOf("image data", {{"ReadImageData", {files.path("overlays"), 0, 0, scaling(400, 40), true, 1}}}),
        scriptOf("intermediate", {{"ReadIntermediatePixelData", {files.path("rescaled"), 1, 0}}}),
        scriptOf("overlays", {{"ReadOverlay", {files.path("overlays")}}, {"ReadOverlays", {files.path("overlays")}}}),
        scriptOf("long values", {pixels(files.path("long")),
                                 {"ReadMetadata", {files.path("long"), Store::ofTexts({"PixelData"}), false}},
                                 {"ReadIntermediatePixelData", {files.path("long"), 1, 0}},
                                 {"ReadAllMetadata", {files.path("long"), Store::empty(), true}}}),
        scriptOf("long deflated image", {pixels(files.path("longDeflated"))}),
        scriptOf("compressed pixels", {{"ReadMetadata", {files.path("lossless8"), pixelNames, false}},
                                       {"ReadMetadata", {files.path("lossless8"), pixelNames, false}},
                                       {"ReadMetadata", {files.path("jpegls8"), pixelNames, false}},
                                       {"GetFrameCount", {files.path("jpegls8")}},
                                       {"ReadMetadata", {files.path("jpegls8"), pixelNames, false}}}),
        scriptOf("missing file", {{"ReadImage", {files.path("missing"), 0, 0, scaling(), false, 1}}}),
    };
}

/// Nothing else takes memory where no watch of the library sees it, and says so in many ways.
Script jpeg2000Script(const ScriptFiles& files) {
    const std::string path = files.path("jpeg2000-1-12");
    Script script = scriptOf("JPEG 2000 values", {{"ReadIntermediatePixelData", {path, 1, 0}}});
    script.tellsMemoryApart = true;
    return script;
}

std::vector<Script> directoryScripts(const ScriptFiles& files) {
    const std::string directory = files.path("DICOMDIR");
    return {
        scriptOf("directory structure", {{"ReadDICOMDIRStructure", {directory, ".*", ".*", ".*", true}}}),
        scriptOf("directory information", {{"ReadPatientInfo", {directory, Store::ofTexts({"Name", "ID"}), ".*"}},
                                           {"ReadStudyInfo", {directory, Store::ofTexts({"UID"}), ".*", ".*"}},
                                           {"ReadSeriesInfo", {directory, Store::ofTexts({"UID"}), ".*", ".*", ".*"}}}),
        scriptOf("directory images", {{"Read2DImagesDir", {directory, scaling(), true, 1, ".*", ".*", "1.2.3"}}}),
        scriptOf("directory volume", {{"Read3DImage", {directory, ".*", ".*", "1.2.3", scaling(), 1}}}),
        scriptOf("recursive metadata",
                 {{"ReadMetadataRecursive", {directory, Store::ofTexts({"PatientID"}), ".*", true}}}),
        scriptOf("all recursive metadata", {{"ReadAllMetadataRecursive", {directory, Store::empty(), "1.2.4", false}}}),
    };
}

std::vector<Script> writeScripts(const ScriptFiles& files) {
    Store replacements = Store::empty();
    replacements.add("PatientName", "X");
    const std::string out = files.path("out.dcm");
    return {
        scriptOf("write", writeCalls(out, "Uncompressed", true)),
        scriptOf("write JPEG-LS", writeCalls(out, "JPEG-LSLossless", false)),
        scriptOf("write RLE", writeCalls(out, "RLE", false)),
        scriptOf("anonymize", {{"DicomAnonymize", {files.path("attributes"), out, replacements}},
                               {"ReadMetadata", {out, Store::ofTexts({"PatientName"}), false}}}),
        scriptOf("anonymize long values", {{"DicomAnonymize", {files.path("long"), out, replacements}},
                                           {"ReadMetadata", {out, Store::ofTexts({"PixelData"}), false}}}),
        scriptOf("defaults", {{"SetDefaultTagValue", {"Manufacturer", "M"}}, {"GetDefaultTagValue", {"Manufacturer"}}}),
        scriptOf("names", {{"ReadVRName", {Store::ofTexts({"PatientName", "Rows"})}},
                           {"GetGroupElemNumbers", {"PatientName"}},
                           {"GetKeyword", {"0010", "0010"}}}),
        scriptOf("dictionary", {{"GetDictionaryInfo"}}),
    };
}

/// Pixels that are read from their file in several pieces, also where it is deflated.
test::ImageFile longImage() {
    test::ImageFile image{.rows = 100, .columns = 300};
    for (std::uint32_t index = 0; index < 30000; ++index) {
        image.words.push_back(static_cast<Uint16>(index * 2654435761U >> 16));
    }
    return image;
}

} // namespace

ScriptFiles::ScriptFiles() {
    test::writeImageFile(path("long"), longImage());
    test::writeImageFile(path("longDeflated"), longImage(), EXS_DeflatedLittleEndianExplicit);
    for (const char* name :
         {"attributes", "overlays", "rescaled", "deflated", "jpegls8", "lossless8", "rleFrames", "jpeg2000-1-12"}) {
        for (const fuzz::SeedFile& seed : fuzz::seedFiles()) {
            if (seed.name == name) {
                mFolder.write(name, seed.bytes);
            }
        }
    }
    mFolder.write("DICOMDIR", fuzz::seedDirectory());
    for (const char* name : {"A", "B", "C"}) {
        mFolder.write(name, fuzz::seedImage());
    }
}

std::vector<Script> scriptsFor(const ScriptFiles& files) {
    std::vector<Script> scripts = readScripts(files);
    std::vector<Script> directories = directoryScripts(files);
    for (Script& script : directories) {
        script.leavesOut = true;
    }
    std::vector<Script> writing = writeScripts(files);
    for (Script& script : writing) {
        script.writes = true;
    }
    scripts.push_back(jpeg2000Script(files));
    for (const auto& more : {directories, writing}) {
        scripts.insert(scripts.end(), more.begin(), more.end());
    }
    const std::vector<Call> calls{{"ReadAllMetadata", {files.path("rescaled"), Store::empty(), false}}, {"ClearCache"}};
    scripts.push_back(
        {.name = "load", .loads = true, .run = [calls](velmora::Host& host) { return runCalls(host, calls); }});
    return scripts;
}

} // namespace radvex::faults
