#include "tests/dicom/readers/Refusals.h"

using namespace radvex::test;
using velmora::ledger;
using velmora::Operation;

TEST_F(Refusals, OfASuccessfulCallLeaveItsCode) {
    const auto path = writeDicom(folder.file("a.dcm"), {});
    for (const char* name : {"GetFrameCount", "GetRepresentativeFrameIndex", "GetOverlayCount"}) {
        sweep(
            [&] {
                const int code = codeOf(name, {path});
                call("ClearCache"); // so that the next run asks the host again
                return code;
            },
            0, {{"validatePath", {{0, -59}}}});
    }
}

// Values are first kept on a loopback, where a refusal becomes the error itself, and then delivered, where a refusal
// must not replace the error that is being raised.
TEST_F(Refusals, OfAFailingCallKeepItsErrorUnlessItsValuesCannotBeKept) {
    for (const char* name : {"GetFrameCount", "GetOverlayCount"}) {
        sweep([&] { return codeOf(name, {folder.file("missing")}); }, -62,
              {{"validatePath", {{0, -59}}}, {"TTPutFunction", {{1, -31}}}, {"TTPutUTF8String", {{0, -40}}}});
    }
}

TEST_F(Refusals, OfDeliveryCostOnlyTheValues) {
    const std::string path = folder.file("missing");
    ledger().refuse(Operation::processTetherLink, 1);
    EXPECT_EQ(messageOf("GetFrameCount", {path}), "Error when opening file `fileName`: `reason`.");
    EXPECT_EQ(messageOf("GetFrameCount", {path}), "Error when opening file " + path + ": No such file or directory.");
}

TEST_F(Refusals, InCallsThatMakeNothingChangeNothing) {
    sweep([&] { return codeOf("setExceptionDetailsContext", {"Host`"}); }, 0, {});
    sweep([&] { return codeOf("CloseReader", {"/missing"}); }, 0, {});
    sweep([&] { return codeOf("ClearCache"); }, 0, {});
}

TEST_F(Refusals, OfAMetadataReadAreTheErrorsOfWhatCouldNotBeMade) {
    const auto path = writeDicom(folder.file("m.dcm"), [](DcmDataset& dataset) {
        const Uint16 words[] = {1, 2, 3, 4, 5, 6};
        const Uint8 bytes[] = {1, 2};
        DcmItem& item = addItem(dataset, DCM_ReferencedImageSequence);
        item.putAndInsertUint8Array(DcmTag(0x0029, 0x1010, EVR_OB), bytes, 2);
        dataset.putAndInsertUint16Array(DcmTag(0x0029, 0x1011, EVR_US), words, 3);
        put(dataset, {{DCM_Rows, "2"}, {DCM_Columns, "3"}, {DCM_SamplesPerPixel, "1"}, {DCM_BitsAllocated, "16"}});
        dataset.putAndInsertUint16Array(DCM_PixelData, words, 6);
    });
    using velmora::Store;
    sweep(
        [&] {
            const int code = codeOf("ReadAllMetadata", {path, Store::ofTexts({"PatientName"}), false});
            call("ClearCache");
            return code;
        },
        0,
        {{"validatePath", {{0, -59}}},
         {"createDataStore", {{0, -25}}},
         {"VTensor_new", {{0, -15}}},
         {"VNumericArray_new", {{0, -9}}},
         {"DataStoreNode_getDataType", {{0, -50}}},
         {"DataStoreNode_getData", {{0, -51}}}});
    sweep(
        [&] {
            const int code = codeOf("ReadMetadataIntTags", {path, Store::of({Store::ofTexts({"0028", "0010"})})});
            call("ClearCache");
            return code;
        },
        0,
        {{"validatePath", {{0, -59}}},
         {"createDataStore", {{0, -25}}},
         {"DataStoreNode_getDataType", {{0, -50}}},
         {"DataStoreNode_getData", {{0, -51}}}});
}

// The host takes back one store of a failed call, and reports whatever else is left.
TEST_F(Refusals, InsideNestedSequencesLeaveOneStoreAtMost) {
    using velmora::Store;
    const auto path = writeDicom(folder.file("nested.dcm"), [](DcmDataset& dataset) {
        const Uint8 bytes[] = {1, 2};
        const Uint16 words[] = {3, 4};
        for (int number = 0; number < 2; ++number) {
            DcmItem& outer = addItem(dataset, DCM_ReferencedStudySequence);
            for (int innerNumber = 0; innerNumber < 2; ++innerNumber) {
                DcmItem& inner = addItem(outer, DCM_ReferencedSeriesSequence);
                inner.putAndInsertUint8Array(DcmTag(0x0029, 0x1010, EVR_OB), bytes, 2);
                inner.putAndInsertUint16Array(DcmTag(0x0029, 0x1011, EVR_US), words, 2);
            }
            // Behind the inner sequence, and so in a store that has stores inside.
            outer.putAndInsertUint8Array(DcmTag(0x0029, 0x1010, EVR_OB), bytes, 2);
            outer.putAndInsertUint16Array(DcmTag(0x0029, 0x1011, EVR_US), words, 2);
        }
    });
    const std::map<std::string, Codes> expected{{"validatePath", {{0, -59}}},
                                                {"createDataStore", {{0, -25}}},
                                                {"VTensor_new", {{0, -15}}},
                                                {"DataStoreNode_getDataType", {{0, -50}}},
                                                {"DataStoreNode_getData", {{0, -51}}}};
    const auto readAnew = [&](const std::string& name, std::vector<velmora::Value> arguments) {
        const int code = codeOf(name, std::move(arguments));
        call("ClearCache"); // so that the next run asks the host again
        return code;
    };
    sweep(
        [&] {
            return readAnew("ReadMetadata", {path, Store::ofTexts({"PatientID", "ReferencedStudySequence"}), false});
        },
        0, expected);
    EXPECT_GE(ledger().calls(Operation::createDataStore), 1 + 1 + 2 * (1 + 1 + 2 * (1 + 1) + 1)) << "all were refused";
    sweep(
        [&] {
            return readAnew("ReadMetadataIntTags", {path, Store::of({Store::ofTexts({"0008", "1110"})})});
        },
        0, expected);
}

TEST_F(Refusals, OfTheErrorTableGiveTheLinksErrors) {
    const auto send = reinterpret_cast<VelmoraLinkFunction>(host().symbol("sendRegisteredErrors"));
    sweep(
        [&] {
            auto& services = host().services();
            services.resetLink();
            TTPutFunction(services.hostLink(), "List", 0);
            TTEndPacket(services.hostLink());
            services.setInLibrary(true);
            const int code = send(services.table(), services.libraryLink());
            services.setInLibrary(false);
            services.resetLink();
            return code;
        },
        0,
        {{"TTTestHead", {{0, -29}}},
         {"TTNewPacket", {{0, -44}}},
         {"TTPutFunction", {{0, -31}}},
         {"TTPutUTF8String", {{0, -40}}},
         {"TTPutInteger64", {{0, -39}}},
         {"TTEndPacket", {{0, -44}}},
         {"TTFlush", {{0, -45}}}});
}

TEST_F(Refusals, OfAWriteAreTheErrorsOfWhatCouldNotBeRead) {
    using velmora::Image;
    using velmora::Store;
    Store metadata = Store::empty();
    metadata.add("PatientName", "Doe^Jane");
    Store item = Store::empty();
    item.add("ReferencedFrameNumber", "1");
    metadata.add("ReferencedImageSequence", Store::of({item}));
    Store properties = Store::empty();
    properties.add("OverlayType", "R");
    Store options = Store::empty();
    options.add("1", properties);
    const Image image(2, 2, 3, 1, VImage_U8, VColorSpace_Grey, true);
    const Image plane(0, 1, 1, 1, VImage_Bit, VColorSpace_Grey, true);
    // The library asks for the kind of each node when it takes a list, and again for each entry of the metadata. A name
    // that the host refuses counts as empty: that is no keyword and no overlay number, and elsewhere it does not
    // matter.
    sweep(
        [&] {
            return codeOf("WriteImage",
                          {folder.file("w.dcm"), image, metadata, Store::of({plane}), "RLE", 0, 0, options});
        },
        0,
        {{"validatePath", {{0, -59}}},
         {"DataStoreNode_getDataType", {{0, -50}, {4, -81}, {6, -81}, {7, -81}}},
         {"DataStoreNode_getData", {{0, -51}}},
         {"DataStoreNode_getName", {{0, -64}, {3, 0}, {4, 6}, {5, 0}, {6, 0}}}});
}

TEST_F(Refusals, OfAnAnonymizationAreTheErrorsOfWhatCouldNotBeRead) {
    velmora::Store replacements = velmora::Store::empty();
    replacements.add("PatientName", "X");
    const auto path = writeDicom(folder.file("a.dcm"), {});
    sweep(
        [&] {
            return codeOf("DicomAnonymize", {path, folder.file("out.dcm"), replacements});
        },
        0,
        {{"validatePath", {{0, -59}}},
         {"DataStoreNode_getDataType", {{0, -50}}},
         {"DataStoreNode_getData", {{0, -51}}},
         {"DataStoreNode_getName", {{0, -64}}}});
    sweep([&] { return codeOf("GetDictionaryInfo"); }, 0, {{"createDataStore", {{0, -25}}}});
}
