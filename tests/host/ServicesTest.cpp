// What the table offers beside objects: the link on which the host listens, abort, strings, versions.

#include <cstdint>
#include <cstring>
#include <functional>
#include <stdexcept>

#include "tests/host/HandleTest.h"

namespace {

using Texts = std::vector<std::string>;

class Services : public radvex::test::HandleTest {
  protected:
    TTLink link() { return services().libraryLink(); }
    int process() { return table().processTetherLink(link()); }

    void beginSet(int argumentCount = 2) {
        TTPutFunction(link(), "EvaluatePacket", 1);
        TTPutFunction(link(), "Set", argumentCount);
    }
    void putSet(const char* symbol, const Texts& values) {
        beginSet();
        TTPutSymbol(link(), symbol);
        TTPutFunction(link(), "List", static_cast<int>(values.size()));
        for (const std::string& value : values) {
            TTPutString(link(), value.c_str());
        }
        TTEndPacket(link());
    }
    void expectAnswer() {
        EXPECT_EQ(TTNextPacket(link()), TTP_RETURN);
        EXPECT_NE(TTTestSymbol(link(), "Null"), 0);
        EXPECT_NE(TTNewPacket(link()), 0);
    }
    void processAndExpectAnswer() {
        EXPECT_NE(process(), 0);
        expectAnswer();
    }
    void expectNoAnswer() {
        TTClearError(link());
        EXPECT_EQ(TTGetNext(link()), TTTK_ERROR);
        TTClearError(link());
    }
};

TEST_F(Services, HaveTheVersionOfTheContractAndNoSparseArrays) {
    EXPECT_EQ(table().version, VELMORA_LIBRARY_VERSION);
    EXPECT_EQ(table().sparseArrayFunctions, nullptr);
}

TEST_F(Services, RememberTheListThatASymbolIsSetToAndAnswer) {
    putSet("A`b", {"first", "", "gr\xC3\xBC\xC3\x9F"});
    processAndExpectAnswer();
    EXPECT_EQ(services().symbolValues("A`b"), (Texts{"first", "", "gr\xC3\xBC\xC3\x9F"}));
    EXPECT_EQ(services().symbolValues("A`c"), Texts{});
}

TEST_F(Services, RememberNumbersAsText) {
    beginSet();
    TTPutSymbol(link(), "s");
    TTPutFunction(link(), "List", 3);
    TTPutInteger32(link(), -7);
    TTPutString(link(), "text");
    TTPutInteger64(link(), INT64_MIN);
    TTEndPacket(link());
    processAndExpectAnswer();
    EXPECT_EQ(services().symbolValues("s"), (Texts{"-7", "text", "-9223372036854775808"}));
}

TEST_F(Services, SetASymbolAnewAndForgetItWhenAsked) {
    putSet("s", {"old", "older"});
    processAndExpectAnswer();
    putSet("t", {"other"});
    processAndExpectAnswer();
    putSet("s", {});
    processAndExpectAnswer();
    EXPECT_EQ(services().symbolValues("s"), Texts{});
    EXPECT_EQ(services().symbolValues("t"), Texts{"other"});
    services().clearSymbol("t");
    EXPECT_EQ(services().symbolValues("t"), Texts{});
}

TEST_F(Services, RefuseEveryBrokenPacketAndUnderstandTheNext) {
    const std::function<void()> broken[] = {
        [] {}, // nothing at all
        [this] { TTPutInteger32(link(), 5); },
        [this] { TTPutFunction(link(), "ReturnPacket", 0); },
        [this] { TTPutFunction(link(), "EvaluatePacket", 0); },
        [this] {
            TTPutFunction(link(), "EvaluatePacket", 1);
            TTPutFunction(link(), "Print", 2);
            TTPutSymbol(link(), "s");
            TTPutSymbol(link(), "t");
        },
        [this] {
            beginSet(3);
            for (const char* const name : {"s", "t", "u"}) {
                TTPutSymbol(link(), name);
            }
        },
        [this] {
            beginSet();
            TTPutString(link(), "s"); // a string and not a symbol
            TTPutFunction(link(), "List", 0);
        },
        [this] {
            beginSet();
            TTPutSymbol(link(), "s");
            TTPutString(link(), "no list");
        },
        [this] {
            beginSet();
            TTPutSymbol(link(), "s");
            TTPutFunction(link(), "List", 2);
            TTPutString(link(), "good");
            TTPutReal64(link(), 0.5); // neither text nor integer
        },
        [this] {
            beginSet();
            TTPutSymbol(link(), "s");
            TTPutFunction(link(), "List", 2147483647); // with nothing behind
        },
        [this] { beginSet(); },
        [this] { TTPutFunction(link(), "EvaluatePacket", 1); },
    };
    for (std::size_t index = 0; index < std::size(broken); ++index) {
        SCOPED_TRACE(index);
        broken[index]();
        EXPECT_EQ(process(), 0);
        expectNoAnswer();
        EXPECT_EQ(services().symbolValues("s"), Texts{});
        putSet("next", {std::to_string(index)});
        processAndExpectAnswer();
        EXPECT_EQ(services().symbolValues("next"), Texts{std::to_string(index)});
    }
}

TEST_F(Services, DoNotReadTheRestOfAPacketAsTheNextOne) {
    TTPutFunction(link(), "EvaluatePacket", 2);
    TTPutFunction(link(), "Set", 2);
    TTPutSymbol(link(), "s");
    TTPutFunction(link(), "List", 0);
    TTPutInteger32(link(), 5); // one too many
    TTEndPacket(link());
    if (process() != 0) {
        expectAnswer();
    }
    putSet("t", {"next"});
    processAndExpectAnswer();
    EXPECT_EQ(services().symbolValues("t"), Texts{"next"});
}

TEST_F(Services, ProcessTwoPacketsOneAtATime) {
    putSet("s", {"1"});
    putSet("t", {"2"});
    EXPECT_NE(process(), 0);
    EXPECT_EQ(services().symbolValues("s"), Texts{"1"});
    EXPECT_EQ(services().symbolValues("t"), Texts{});
    EXPECT_NE(process(), 0);
    EXPECT_EQ(services().symbolValues("t"), Texts{"2"});
    expectAnswer();
    expectAnswer();
    expectNoAnswer();
}

TEST_F(Services, ProcessNoOtherLinkThanTheLibrarys) {
    putSet("s", {"1"});
    EXPECT_EQ(table().processTetherLink(nullptr), 0);
    EXPECT_EQ(table().processTetherLink(services().hostLink()), 0);
    EXPECT_EQ(services().symbolValues("s"), Texts{});
    processAndExpectAnswer();
}

TEST_F(Services, ARefusedPacketStaysOnTheLink) {
    putSet("s", {"1"});
    velmora::ledger().refuse(velmora::Operation::processTetherLink, 1);
    EXPECT_EQ(process(), 0);
    EXPECT_EQ(services().symbolValues("s"), Texts{});
    EXPECT_NE(process(), 0);
    EXPECT_EQ(services().symbolValues("s"), Texts{"1"});
    expectAnswer();
}

TEST_F(Services, CountAndRefuseLinkFunctionsOnlyWhileTheLibraryRuns) {
    velmora::ledger().refuseLink("TTPutInteger32", 1);
    EXPECT_NE(TTPutInteger32(link(), 1), 0) << "the host's own";
    services().setInLibrary(true);
    EXPECT_EQ(TTPutInteger32(link(), 2), 0);
    EXPECT_EQ(TTError(link()), TTE_REFUSED);
    TTClearError(link());
    EXPECT_NE(TTPutInteger32(link(), 3), 0);
    services().setInLibrary(false);
    EXPECT_EQ(velmora::ledger().linkCalls().at("TTPutInteger32"), 2);
    services().resetLink();
}

TEST_F(Services, DoNotCountTheirOwnReadingOfAPacket) {
    putSet("s", {"1"});
    velmora::ledger().refuseLink("TTNextPacket", 1);
    services().setInLibrary(true);
    EXPECT_NE(process(), 0);
    EXPECT_EQ(TTNextPacket(link()), 0) << "the library's own first call is still the first";
    EXPECT_EQ(TTError(link()), TTE_REFUSED);
    services().setInLibrary(false);
    services().resetLink();
}

TEST_F(Services, PassOnTheWishToAbort) {
    EXPECT_EQ(table().AbortQ(), 0);
    services().setAbort(true);
    EXPECT_NE(table().AbortQ(), 0);
    services().setAbort(false);
    EXPECT_EQ(table().AbortQ(), 0);
}

TEST_F(Services, GivingBackAStringTwiceOrAForeignOneIsAViolation) {
    char* text = ::strdup("argument");
    velmora::ledger().add(velmora::ObjectKind::string, text, velmora::Owner::host);
    char foreign[] = "foreign";
    table().UTF8String_disown(foreign);
    table().UTF8String_disown(text);
    EXPECT_EQ(velmora::ledger().counts(velmora::ObjectKind::string).disowned, 1);
    table().UTF8String_disown(text);
    table().UTF8String_disown(nullptr);
    expectViolations(Texts(3, "The library gave back a string that it did not get, or gave it back twice."));
}

TEST_F(Services, ThereIsOneHostInAProcess) { EXPECT_THROW(velmora::Services{}, std::logic_error); }

} // namespace
