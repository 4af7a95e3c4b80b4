#include "tests/bridge/BridgeTest.h"

#include <limits>
#include <map>

using GTU::ErrorManager;
using GTU::GantryError;
using Texts = std::vector<std::string>;

namespace radvex::test {

class FailureParameters : public BridgeTest {
  protected:
    /// Throws TypeError (1) with two parameters, as the library.
    Thrown throwTwo(const std::string& text = "file", int number = 7) {
        Thrown thrown;
        inLibrary([&] {
            thrown = thrownBy(
                [&] { ErrorManager::throwExceptionWithDebugInfo(GTU::ErrorName::TypeError, "debug", text, number); });
        });
        return thrown;
    }

    /// What the host does between two calls, so that nothing of the first is left on the link.
    void endCall() {
        ledger().refuseNothing();
        services().resetLink();
        services().clearSymbol(kParametersSymbol);
    }

    void expectNextThrowArrives(const std::string& where) {
        EXPECT_EQ(throwTwo("next", 8).id, 1) << where;
        EXPECT_EQ(deliveredParameters(), (Texts{"next", "8"})) << where;
    }

    /// Sends the parameters of an error by hand and gives the code.
    int sendTwo(VelmoraLibraryData table) {
        GantryError error(-5, "Sample", "Message.");
        error.setMessageParameters(services().table(), "file", 7);
        int code = -1000;
        inLibrary([&] { code = error.sendParameters(table, kParametersSymbol); });
        return code;
    }

    int sendTwoRefusing(const std::string& function, long n) {
        ledger().refuseLink(function, n);
        return sendTwo(services().table());
    }
};

TEST_F(FailureParameters, ArriveAsOneListUnderTheSymbol) {
    EXPECT_THAT(throwTwo(), isError(1, "TypeError", "debug"));
    EXPECT_EQ(deliveredParameters(), (Texts{"file", "7"}));
    EXPECT_EQ(ledger().calls(Operation::processTetherLink), 1) << "one packet";
}

TEST_F(FailureParameters, OfEveryKindArriveInTheirOrder) {
    const std::string text = "text";
    const char* cText = "c text";
    const long long least = std::numeric_limits<long long>::min();
    thrownBy([&] { ErrorManager::throwException("RankError", text, cText, "literal", -1, least); });
    EXPECT_EQ(deliveredParameters(), (Texts{"text", "c text", "literal", "-1", "-9223372036854775808"}));
}

TEST_F(FailureParameters, OfASingleValueArriveAsAListOfOne) {
    thrownBy([] { ErrorManager::throwException("RankError", ""); });
    EXPECT_EQ(deliveredParameters(), Texts{""});
}

TEST_F(FailureParameters, GoUnderTheSymbolOfTheContext) {
    GantryError::setExceptionDetailsSymbolContext("Ctx`");
    throwTwo();
    EXPECT_EQ(services().symbolValues("Ctx`GTU`$LastFailureParameters"), (Texts{"file", "7"}));
    EXPECT_EQ(deliveredParameters(), Texts{});
}

TEST_F(FailureParameters, StayThoseOfTheLastErrorThatHadAny) {
    throwTwo("first", 1);
    throwTwo("second", 2);
    inLibrary([] { thrownBy([] { ErrorManager::throwException("RankError"); }); });
    EXPECT_EQ(deliveredParameters(), (Texts{"second", "2"}));
}

TEST_F(FailureParameters, AThrowWithoutAnyTouchesNoLink) {
    ledger().refuseNothing();
    Thrown thrown;
    inLibrary([&] { thrown = thrownBy([] { ErrorManager::throwException("RankError"); }); });
    EXPECT_EQ(thrown.id, 2);
    EXPECT_TRUE(ledger().linkCalls().empty());
    EXPECT_EQ(ledger().calls(Operation::getTetherLink), 0);
    EXPECT_EQ(ledger().calls(Operation::getTetherLinkEnvironment), 0);
}

TEST_F(FailureParameters, AThrowWithoutATableTouchesNoLink) {
    ledger().refuseNothing();
    GTU::LibraryData::setLibraryData(nullptr);
    EXPECT_THAT(throwTwo(), tells(1, "debug"));
    EXPECT_TRUE(ledger().linkCalls().empty());
    EXPECT_EQ(deliveredParameters(), Texts{});
}

TEST_F(FailureParameters, TheFullFormUsesTheTableThatItIsGiven) {
    GTU::LibraryData::setLibraryData(nullptr);
    EXPECT_THAT(thrownBy([&] {
                    ErrorManager::throwExceptionWithDebugInfo(services().table(), "RankError", "debug", "a", 5LL);
                }),
                tells(2, "debug"));
    EXPECT_EQ(deliveredParameters(), (Texts{"a", "5"}));
}

TEST_F(FailureParameters, LeaveTheLinkEmptyAndWithoutError) {
    throwTwo();
    EXPECT_EQ(TTError(services().libraryLink()), TTE_OK);
    EXPECT_EQ(TTGetNext(services().libraryLink()), TTTK_ERROR) << "the host's answer was read whole";
    EXPECT_EQ(TTError(services().libraryLink()), TTE_EMPTY);
    EXPECT_EQ(TTGetNext(services().hostLink()), TTTK_ERROR);
}

TEST_F(FailureParameters, KeepTheExceptionsLoopbackUntilItEnds) {
    try {
        ErrorManager::throwException("RankError", "file");
    } catch (const GantryError& error) {
        ASSERT_NE(error.parameters(), nullptr);
        EXPECT_EQ(TTOpenLinkCount(services().environment()), 3);
    }
    EXPECT_EQ(TTOpenLinkCount(services().environment()), 2);
}

TEST_F(FailureParameters, ThatAreNoUTF8ArriveAsBytes) {
    throwTwo("a\xFF", 7);
    EXPECT_EQ(deliveredParameters(), (Texts{"a\xC3\xBF", "7"}));
}

TEST_F(FailureParameters, ThatCannotBeCarriedReplaceTheErrorByThatOfTheLink) {
    const std::map<std::string, Thrown> expected = {
        {"TTPutFunction", {-31, "TTPutFunctionError", "Debug info: Cannot put function: \"List\" with 2 arguments"}},
        {"TTPutUTF8String", {-40, "TTPutStringError", "Debug info: TTPut(UTF8/Byte)String"}},
        {"TTPutInteger64", {-39, "TTPutScalarError", "Debug info: TTPutInteger64"}},
    };
    for (const auto& [function, error] : expected) {
        ledger().refuseLink(function, 1);
        const Thrown thrown = throwTwo();
        EXPECT_EQ(thrown.id, error.id) << function;
        EXPECT_EQ(thrown.name, error.name);
        EXPECT_TRUE(thrown.debugInfo.ends_with(error.debugInfo)) << thrown.debugInfo;
        EXPECT_EQ(deliveredParameters(), Texts{}) << function;
        endCall();
        expectNextThrowArrives(function);
        endCall();
    }
}

TEST_F(FailureParameters, ThatFitNeitherUTF8NorBytesReplaceTheErrorByThatOfTheLink) {
    ledger().refuseLink("TTPutByteString", 1);
    EXPECT_EQ(throwTwo("a\xFF", 7).id, -40);
}

TEST_F(FailureParameters, ARefusalAnywhereOnTheLinkLeavesTheNextCallDelivering) {
    ledger().refuseNothing();
    throwTwo();
    const auto cleanRun = ledger().linkCalls();
    ASSERT_GE(cleanRun.size(), 8U);
    // Carrying is checked, delivering is not allowed to replace the error that is thrown.
    const std::map<std::pair<std::string, long>, int> replaced = {
        {{"TTPutFunction", 1}, -31}, {{"TTPutUTF8String", 1}, -40}, {{"TTPutInteger64", 1}, -39}};
    for (const auto& [function, calls] : cleanRun) {
        for (long n = 1; n <= calls; ++n) {
            const std::string where = function + " " + std::to_string(n);
            endCall();
            ledger().refuseLink(function, n);
            const auto entry = replaced.find({function, n});
            EXPECT_EQ(throwTwo().id, entry == replaced.end() ? 1 : entry->second) << where;
            EXPECT_EQ(TTError(services().libraryLink()), TTE_OK) << where;
            endCall();
            expectNextThrowArrives(where);
        }
    }
}

TEST_F(FailureParameters, ThrownWithoutALoopbackStillThrowTheError) {
    for (const bool hasEnvironment : {false, true}) {
        if (hasEnvironment) {
            ledger().refuseLink("TTLoopbackOpen", 1);
        } else {
            ledger().refuse(Operation::getTetherLinkEnvironment, 1);
        }
        EXPECT_THAT(throwTwo(), tells(1, "debug"));
        EXPECT_EQ(deliveredParameters(), Texts{});
        ledger().refuseNothing();
        // Within the same call: no half packet stands in the way.
        expectNextThrowArrives("without a loopback");
        endCall();
    }
}

TEST_F(FailureParameters, ALinkThatTheHostDoesNotGiveLeavesTheErrorAsItIs) {
    ledger().refuse(Operation::getTetherLink, 1);
    EXPECT_EQ(throwTwo().id, 1);
    EXPECT_EQ(deliveredParameters(), Texts{});
    ledger().refuseNothing();
    expectNextThrowArrives("without a link");
}

TEST_F(FailureParameters, ALinkThatTheHostDoesNotProcessLeavesTheErrorAsItIs) {
    ledger().refuse(Operation::processTetherLink, 1);
    EXPECT_EQ(throwTwo().id, 1);
    EXPECT_EQ(deliveredParameters(), Texts{});
    EXPECT_EQ(TTError(services().libraryLink()), TTE_OK);
    endCall();
    expectNextThrowArrives("unprocessed");
}

TEST_F(FailureParameters, SendingGivesZeroForSuccess) {
    EXPECT_EQ(sendTwo(services().table()), 0);
    EXPECT_EQ(deliveredParameters(), (Texts{"file", "7"}));
}

TEST_F(FailureParameters, SendingWithoutATableGivesZeroAndSendsNothing) {
    ledger().refuseNothing();
    EXPECT_EQ(sendTwo(nullptr), 0);
    EXPECT_EQ(ledger().calls(Operation::getTetherLink), 0);
    EXPECT_TRUE(ledger().linkCalls().empty());
}

TEST_F(FailureParameters, SendingGivesTheCodeOfWhatTheLinkRefused) {
    EXPECT_EQ(sendTwoRefusing("TTPutFunction", 1), -31);
    endCall();
    EXPECT_EQ(sendTwoRefusing("TTPutFunction", 2), -31);
    endCall();
    EXPECT_EQ(sendTwoRefusing("TTPutSymbol", 1), -30);
    endCall();
    EXPECT_EQ(sendTwoRefusing("TTTransferToEndOfLoopbackLink", 1), 6);
    endCall();
    EXPECT_EQ(sendTwoRefusing("TTNewPacket", 1), -44);
}

TEST_F(FailureParameters, SendingDoesNotMindAHostWithoutAnAnswer) {
    EXPECT_EQ(sendTwoRefusing("TTNextPacket", 1), 0);
    endCall();
    ledger().refuse(Operation::processTetherLink, 1);
    EXPECT_EQ(sendTwo(services().table()), 0);
    EXPECT_EQ(TTError(services().libraryLink()), TTE_OK);
}

TEST_F(FailureParameters, SendingOverNoLinkGivesTheCodeOfANullLink) {
    ledger().refuse(Operation::getTetherLink, 1);
    EXPECT_EQ(sendTwo(services().table()), -28);
}

TEST_F(FailureParameters, SendingNoneGivesSixAndPutsNothing) {
    const GantryError error(-5, "Sample", "Message.");
    ledger().refuseNothing();
    inLibrary([&] { EXPECT_EQ(error.sendParameters(services().table(), kParametersSymbol), 6); });
    EXPECT_TRUE(ledger().linkCalls().empty());
}

} // namespace radvex::test
