#include "tests/bridge/BridgeTest.h"

#include <limits>

using GTU::TTStream;
using GTU::TT::Encoding;
using Stream = TTStream<Encoding::UTF8, Encoding::UTF8>;

namespace radvex::test {

class Streams : public LoopbackTest {
  protected:
    /// What `body` throws while the host refuses the first call of `function`.
    template <typename Body>
    Thrown thrownRefusing(const std::string& function, Body body) {
        ledger().refuseLink(function, 1);
        Thrown thrown;
        inLibrary([&] { thrown = thrownBy(body); });
        ledger().refuseNothing();
        return thrown;
    }
};

/// How the text of a refused call begins.
const std::string kRefused = "Error code reported by Tether: 10\n\"The host refused the call.\"\nDebug info: ";

TEST_F(Streams, NeedALink) {
    EXPECT_THAT(thrownBy([] { Stream stream(nullptr); }), isError(-28, "TTNullTetherError"));
}

TEST_F(Streams, DoNotCloseWhatTheyAreGiven) {
    { Stream(link()) << "text"; }
    EXPECT_EQ(readText(link()), "text");
}

TEST_F(Streams, PutFunctionsSymbolsTextsAndNumbers) {
    const std::string text = "a\xC3\xA4 text";
    Stream(link()) << GTU::TT::Function("Head", 4) << GTU::TT::Symbol("Sym`bol") << text << "c text" << GTU::TT::List(2)
                   << -3 << std::numeric_limits<long long>::max();
    EXPECT_EQ(readHead(link()), "Head/4");
    EXPECT_NE(TTTestSymbol(link(), "Sym`bol"), 0);
    EXPECT_EQ(readText(link()), text);
    EXPECT_EQ(readText(link()), "c text");
    EXPECT_EQ(readHead(link()), "List/2");
    EXPECT_EQ(readText(link()), "-3");
    EXPECT_EQ(readText(link()), "9223372036854775807");
}

TEST_F(Streams, TextsKeepZeroBytes) {
    const std::string text("a\0b", 3);
    Stream(link()) << text;
    EXPECT_EQ(readText(link()), text);
}

TEST_F(Streams, NumbersGoOutInSixtyFourBitsWhateverTheirType) {
    ledger().refuseNothing();
    inLibrary([&] { Stream(link()) << 1 << 2LL; });
    EXPECT_EQ(ledger().linkCalls().at("TTPutInteger64"), 2);
    EXPECT_EQ(ledger().linkCalls().size(), 1U);
}

TEST_F(Streams, ARefusedFunctionTellsHeadAndCount) {
    EXPECT_THAT(thrownRefusing("TTPutFunction", [&] { Stream(link()) << GTU::TT::Function("Set", 2); }),
                tells(-31, kRefused + "Cannot put function: \"Set\" with 2 arguments"));
}

TEST_F(Streams, ARefusedSymbolTellsItsName) {
    EXPECT_THAT(thrownRefusing("TTPutSymbol", [&] { Stream(link()) << GTU::TT::Symbol("Null"); }),
                tells(-30, kRefused + "Cannot put symbol: \"Null\""));
}

TEST_F(Streams, ARefusedTextTellsThePutFunction) {
    EXPECT_THAT(thrownRefusing("TTPutUTF8String", [&] { Stream(link()) << "text"; }),
                tells(-40, kRefused + "TTPut(UTF8/Byte)String"));
}

TEST_F(Streams, ARefusedNumberTellsThePutFunction) {
    EXPECT_THAT(thrownRefusing("TTPutInteger64", [&] { Stream(link()) << 5; }),
                tells(-39, kRefused + "TTPutInteger64"));
}

TEST_F(Streams, TestHeadGivesTheCountOfArguments) {
    TTPutFunction(link(), "Pair", 2);
    EXPECT_EQ(Stream(link()).testHead("Pair"), 2);
}

TEST_F(Streams, TestHeadWithTheRightCountPasses) {
    TTPutFunction(link(), "Pair", 2);
    EXPECT_EQ(Stream(link()).testHead("Pair", 2), 2);
}

TEST_F(Streams, TestHeadRefusesAnotherHeadAndLeavesItUsable) {
    TTPutFunction(link(), "Pair", 0);
    Stream stream(link());
    EXPECT_THAT(thrownBy([&] { stream.testHead("List"); }),
                tells(-29, "Error code reported by Tether: 8\n\"The next expression has another head.\"\n"
                           "Debug info: Expected \"List\""));
    EXPECT_EQ(TTError(link()), TTE_OK);
    EXPECT_EQ(stream.testHead("Pair"), 0);
}

TEST_F(Streams, TestHeadRefusesAnotherCount) {
    TTPutFunction(link(), "Pair", 2);
    EXPECT_THAT(thrownBy([&] { Stream(link()).testHead("Pair", 3); }), tells(-29, "Expected 3 arguments but got 2"));
}

TEST_F(Streams, TokensCanBeChanged) {
    GTU::TT::Function function("Old", 1);
    function.setHead("New");
    function.setArgc(0);
    EXPECT_EQ(function.getHead(), "New");
    EXPECT_EQ(function.getArgc(), 0);
    const GTU::TT::List list(3);
    EXPECT_EQ(list.getHead(), "List");
    EXPECT_EQ(list.getArgc(), 3);
    GTU::TT::Symbol symbol("Old");
    symbol.setHead("New");
    EXPECT_EQ(symbol.getHead(), "New");
}

TEST_F(Streams, CheckErrorPassesEveryStatusButZero) {
    const auto check = [&](int status) { GTU::TT::checkError(link(), status, "TTFlowControlError", "debug"); };
    EXPECT_EQ(thrownBy([&] { check(1); }).name, "");
    EXPECT_EQ(thrownBy([&] { check(-1); }).name, "");
    EXPECT_THAT(thrownBy([&] { check(0); }), tells(-45, "Error code reported by Tether: 0\n\nDebug info: debug"));
}

TEST_F(Streams, ErrorTextGivesTheCodeAndTakesTheErrorOff) {
    long long number = 0;
    EXPECT_EQ(TTGetInteger64(link(), &number), 0);
    EXPECT_EQ(GTU::TT::getTTErrorText(link()),
              "Error code reported by Tether: 3\n\"No whole expression is left to read.\"");
    EXPECT_EQ(TTError(link()), TTE_OK);
    EXPECT_NE(TTPutInteger64(link(), 4), 0);
}

TEST_F(Streams, ErrorTextGoesWithoutASentenceThatTheLinkDoesNotGive) {
    long long number = 0;
    EXPECT_EQ(TTGetInteger64(link(), &number), 0);
    ledger().refuseLink("TTErrorMessage", 1);
    inLibrary([&] { EXPECT_EQ(GTU::TT::getTTErrorText(link()), "Error code reported by Tether: 3\n"); });
    EXPECT_EQ(TTError(link()), TTE_OK);
}

TEST_F(Streams, ANewLoopbackIsOpenedInTheLinksEnvironment) {
    const TTLink loopback = GTU::TT::getNewLoopback(link());
    EXPECT_EQ(TTLinkEnvironment(loopback), services().environment());
    EXPECT_NE(loopback, link());
    TTClose(loopback);
}

TEST_F(Streams, ARefusedLoopbackTellsTheCode) {
    EXPECT_THAT(thrownRefusing("TTLoopbackOpen", [&] { (void)GTU::TT::getNewLoopback(link()); }),
                tells(-47, "Error code: 10"));
    EXPECT_EQ(thrownBy([] { (void)GTU::TT::getNewLoopback(nullptr); }).debugInfo, "Error code: 1");
}

TEST_F(Streams, CountingExpressionsKeepsThemAllInANewLoopback) {
    Stream(link()) << GTU::TT::List(2) << 1 << 2 << "second" << GTU::TT::Symbol("Third");
    EXPECT_EQ(GTU::TT::countExpressionsInLoopbackLink(reference()), 3);
    EXPECT_EQ(TTOpenLinkCount(services().environment()), 3) << "the old loopback is closed";
    EXPECT_EQ(readList(link()), (std::vector<std::string>{"1", "2"}));
    EXPECT_EQ(readText(link()), "second");
    EXPECT_NE(TTTestSymbol(link(), "Third"), 0);
}

TEST_F(Streams, CountingExpressionsOfAnEmptyLoopbackGivesZero) {
    EXPECT_EQ(GTU::TT::countExpressionsInLoopbackLink(reference()), 0);
    EXPECT_EQ(GTU::TT::countExpressionsInLoopbackLink(reference()), 0);
}

TEST_F(Streams, CountingWithoutANewLoopbackLeavesTheLinkAsItIs) {
    Stream(link()) << 5;
    const TTLink before = link();
    const Thrown thrown =
        thrownRefusing("TTLoopbackOpen", [&] { (void)GTU::TT::countExpressionsInLoopbackLink(reference()); });
    EXPECT_EQ(thrown.id, -47);
    EXPECT_EQ(link(), before);
    EXPECT_EQ(readText(link()), "5");
}

} // namespace radvex::test
