#include <dlfcn.h>

#include "dcmtk/dcmimgle/diregbas.h"
#include "host/CallFrame.h"
#include "tests/dicom/DicomTest.h"

using namespace radvex::test;

namespace {

/// A function of the library called as a host calls it, without the host's care.
class RawCalls : public LibraryTest {
  protected:
    VelmoraFunction function(const char* name) { return reinterpret_cast<VelmoraFunction>(host().symbol(name)); }

    vint integerCell = 77;
    VArgument integerResult() { return VArgument{.integer = &integerCell}; }
};

using ErrorTable = LibraryTest;

} // namespace

TEST_F(RawCalls, WithoutAHostTableTheStringArgumentIsRefused) {
    VArgument args[1] = {};
    EXPECT_EQ(function("GetFrameCount")(nullptr, 1, args, integerResult()), -1);
    EXPECT_EQ(function("GetOverlayCount")(nullptr, 1, args, integerResult()), -1);
    EXPECT_EQ(integerCell, 77) << "a failed call leaves the result cell alone";
}

TEST_F(RawCalls, AfterANullTableTheNextCallWorks) {
    VArgument args[1] = {};
    function("GetFrameCount")(nullptr, 1, args, integerResult());
    EXPECT_EQ(codeOf("GetFrameCount", {writeDicom(folder.file("a.dcm"), {})}), 0);
}

TEST_F(RawCalls, AMissingStringArgumentIsAGeneralFailure) {
    EXPECT_EQ(function("GetFrameCount")(host().services().table(), 0, nullptr, integerResult()), 6);
    EXPECT_EQ(function("GetOverlayCount")(host().services().table(), 0, nullptr, integerResult()), 6);
    EXPECT_EQ(function("CloseReader")(host().services().table(), 0, nullptr, VArgument{}), 6);
}

TEST_F(RawCalls, NullTextIsAGeneralFailure) { EXPECT_EQ(codeOf("GetFrameCount", {velmora::Null{}}), 6); }

TEST_F(RawCalls, SurplusArgumentsAreIgnored) { EXPECT_EQ(codeOf("ClearCache", {1, "text", true}), 0); }

TEST_F(RawCalls, AStringTakenOverIsGivenBackWhenTheCallFails) {
    const long before = velmora::ledger().counts(velmora::ObjectKind::string).disowned;
    EXPECT_EQ(codeOf("GetFrameCount", {"/missing"}), -62);
    EXPECT_EQ(velmora::ledger().counts(velmora::ObjectKind::string).disowned, before + 1);
}

TEST_F(RawCalls, AStringThatIsNeverReadStaysTheHosts) {
    const long before = velmora::ledger().counts(velmora::ObjectKind::string).takenBack;
    EXPECT_EQ(codeOf("ClearCache", {"unread"}), 0);
    EXPECT_EQ(velmora::ledger().counts(velmora::ObjectKind::string).takenBack, before + 1);
}

TEST_F(RawCalls, AStringResultOutlivesItsCallAndStaysTheLibrarys) {
    char* result = nullptr;
    {
        velmora::CallFrame frame({"", {VType_UTF8String}, VType_UTF8String}, {"One`"});
        ASSERT_EQ(function("setExceptionDetailsContext")(host().services().table(), 1, frame.args(),
                                                         VArgument{.utf8String = &result}),
                  0);
    }
    EXPECT_STREQ(result, "One`GTU`$LastFailureParameters");
}

TEST_F(ErrorTable, TheContextStandsInFrontOfTheSymbolsName) {
    EXPECT_EQ(call("setExceptionDetailsContext", {"Ctx"}).get<std::string>(), "CtxGTU`$LastFailureParameters");
    EXPECT_EQ(messageOf("GetFrameCount", {"/missing"}), "Error when opening file /missing: No such file or directory.")
        << "the parameters come under the new symbol";
}

TEST_F(ErrorTable, IsRefusedToAListThatIsNotEmpty) {
    const auto send = reinterpret_cast<VelmoraLinkFunction>(host().symbol("sendRegisteredErrors"));
    host().services().resetLink();
    const TTLink link = host().services().hostLink();
    ASSERT_TRUE(TTPutFunction(link, "List", 1) != 0 && TTPutInteger32(link, 5) != 0 && TTEndPacket(link) != 0);
    EXPECT_EQ(send(host().services().table(), host().services().libraryLink()), -29);
}

TEST_F(ErrorTable, NeedsALink) {
    const auto send = reinterpret_cast<VelmoraLinkFunction>(host().symbol("sendRegisteredErrors"));
    EXPECT_EQ(send(host().services().table(), nullptr), -28);
}

TEST_F(ErrorTable, InitializingAgainChangesNoId) {
    const auto initialize = reinterpret_cast<VelmoraInitializeFunction>(host().symbol("VelmoraLibrary_initialize"));
    EXPECT_EQ(initialize(host().services().table()), 0);
    EXPECT_EQ(codeOf("GetFrameCount", {"/missing"}), -62);
}

TEST_F(ErrorTable, AfterUninitializeUncompressedFilesStillOpen) {
    const auto path = writeDicom(folder.file("a.dcm"), {});
    reinterpret_cast<VelmoraUninitializeFunction>(host().symbol("VelmoraLibrary_uninitialize"))(nullptr);
    EXPECT_EQ(codeOf("GetFrameCount", {path}), 0);
}

TEST(LoadedLibrary, TakesItsColourSupportAlongWhenItGoes) {
    const DiRegisterBase* const before = DiRegisterBase::Pointer;
    void* const library = dlopen(RADVEX_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(library, nullptr) << dlerror();
    EXPECT_NE(DiRegisterBase::Pointer, before);
    EXPECT_EQ(dlclose(library), 0);
    EXPECT_EQ(DiRegisterBase::Pointer, before) << "others in the process may use DCMTK";
}

namespace {

using UninitializedLibrary = ServicesTest;

} // namespace

TEST_F(UninitializedLibrary, DoesNotKnowTheNamesOfItsOwnErrors) {
    const std::unique_ptr<void, int (*)(void*)> library(dlopen(RADVEX_LIBRARY, RTLD_NOW | RTLD_LOCAL), dlclose);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto getFrameCount = reinterpret_cast<VelmoraFunction>(dlsym(library.get(), "GetFrameCount"));
    const TemporaryFolder folder;
    vint frames = -1;
    const auto call = [&](const std::string& path) {
        velmora::CallFrame frame({"", {VType_UTF8String}, VType_Integer}, {path});
        return getFrameCount(services().table(), frame.argc(), frame.args(), VArgument{.integer = &frames});
    };
    EXPECT_EQ(call("/missing"), -7) << "the name of the error is not registered";
    EXPECT_EQ(call(writeDicom(folder.file("a.dcm"), {})), 0) << "a file that needs no codec opens all the same";
    EXPECT_EQ(frames, 0);
    reinterpret_cast<VelmoraUninitializeFunction>(dlsym(library.get(), "VelmoraLibrary_uninitialize"))(nullptr);
}
