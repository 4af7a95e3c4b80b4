#include "tests/bridge/BridgeTest.h"

using GTU::GantryError;
using Texts = std::vector<std::string>;

namespace radvex::test {

class GantryErrors : public BridgeTest {
  protected:
    /// An error with the parameters "file" and 7.
    GantryError errorWithParameters() {
        GantryError error(-5, "Sample", "File `f`, line `l`.");
        error.setDebugInfo("debug");
        error.setMessageParameters(services().table(), "file", 7);
        return error;
    }

    /// Links beside the host's own two; marks count.
    int extraLinks() { return TTOpenLinkCount(services().environment()) - 2; }

    /// Copies the error while the host refuses the first call of `function`.
    GantryError copyRefusing(const GantryError& source, const std::string& function) {
        ledger().refuseLink(function, 1);
        services().setInLibrary(true);
        GantryError copy(source);
        services().setInLibrary(false);
        EXPECT_EQ(ledger().linkCalls().at(function), 1);
        ledger().refuseNothing();
        return copy;
    }
};

TEST_F(GantryErrors, CarryIdNameMessageAndNoParametersAtFirst) {
    const GantryError error(-5, "Sample", "File `f`.");
    EXPECT_EQ(error.id(), -5);
    EXPECT_EQ(error.name(), "Sample");
    EXPECT_STREQ(error.what(), "Sample");
    EXPECT_EQ(error.message(), "File `f`.");
    EXPECT_EQ(error.getDebugInfo(), "");
    EXPECT_EQ(error.parameters(), nullptr);
}

TEST_F(GantryErrors, CopiedTwiceHoldTheFullListInEachCopy) {
    const GantryError source = errorWithParameters();
    const GantryError first(source);
    const GantryError second(source);
    EXPECT_EQ(extraLinks(), 3);
    EXPECT_EQ(readList(first.parameters()), (Texts{"file", "7"}));
    EXPECT_EQ(readList(second.parameters()), (Texts{"file", "7"}));
    EXPECT_EQ(readList(source.parameters()), (Texts{"file", "7"}));
}

TEST_F(GantryErrors, ACopyCarriesTheTexts) {
    const GantryError source = errorWithParameters();
    const GantryError copy(source);
    EXPECT_EQ(copy.id(), -5);
    EXPECT_STREQ(copy.what(), "Sample");
    EXPECT_EQ(copy.name(), "Sample");
    EXPECT_EQ(copy.message(), "File `f`, line `l`.");
    EXPECT_EQ(copy.getDebugInfo(), "debug");
}

TEST_F(GantryErrors, ACopyOutlivesItsSource) {
    auto source = std::make_unique<GantryError>(errorWithParameters());
    const GantryError copy(*source);
    source.reset();
    EXPECT_EQ(readList(copy.parameters()), (Texts{"file", "7"}));
}

TEST_F(GantryErrors, ACopyOfACopyHoldsTheFullList) {
    const GantryError source = errorWithParameters();
    const GantryError copy(source);
    const GantryError copyOfCopy(copy);
    EXPECT_EQ(readList(copyOfCopy.parameters()), (Texts{"file", "7"}));
}

TEST_F(GantryErrors, ACopyWithoutParametersOpensNoLoopback) {
    const GantryError source(-5, "Sample", "Message.");
    const GantryError copy(source);
    EXPECT_EQ(copy.parameters(), nullptr);
    EXPECT_EQ(extraLinks(), 0);
}

TEST_F(GantryErrors, MovingTakesTheParametersAndLeavesNoneBehind) {
    GantryError source = errorWithParameters();
    const TTLink parameters = source.parameters();
    const GantryError moved(std::move(source));
    EXPECT_EQ(moved.parameters(), parameters);
    EXPECT_EQ(source.parameters(), nullptr); // NOLINT: what is left behind is the point
    EXPECT_EQ(extraLinks(), 1);
    EXPECT_EQ(moved.id(), -5);
    EXPECT_STREQ(moved.what(), "Sample");
    EXPECT_EQ(moved.message(), "File `f`, line `l`.");
    EXPECT_EQ(moved.getDebugInfo(), "debug");
    EXPECT_EQ(readList(moved.parameters()), (Texts{"file", "7"}));
}

TEST_F(GantryErrors, CloseTheirLoopbackWhenTheyEnd) {
    {
        const GantryError error = errorWithParameters();
        EXPECT_EQ(extraLinks(), 1);
    }
    EXPECT_EQ(extraLinks(), 0);
}

TEST_F(GantryErrors, ParametersSetAgainReplaceTheFirstOnes) {
    GantryError error = errorWithParameters();
    error.setMessageParameters(services().table(), "other");
    EXPECT_EQ(extraLinks(), 1);
    EXPECT_EQ(readList(error.parameters()), (Texts{"other"}));
}

TEST_F(GantryErrors, GoWithoutParametersWhenThereIsNoEnvironment) {
    GantryError error(-5, "Sample", "Message.");
    ledger().refuse(velmora::Operation::getTetherLinkEnvironment, 1);
    error.setMessageParameters(services().table(), "file");
    EXPECT_EQ(error.parameters(), nullptr);
}

TEST_F(GantryErrors, ACopyGoesWithoutParametersWhenNoLoopbackCanBeOpened) {
    for (const char* function : {"TTLinkEnvironment", "TTLoopbackOpen"}) {
        const GantryError source = errorWithParameters();
        const GantryError copy = copyRefusing(source, function);
        EXPECT_EQ(copy.parameters(), nullptr) << function;
        EXPECT_EQ(extraLinks(), 1) << function;
        EXPECT_EQ(readList(source.parameters()), (Texts{"file", "7"})) << function;
    }
}

TEST_F(GantryErrors, ACopyThatCannotReadTheParametersLeavesThemToTheSource) {
    for (const char* function : {"TTCreateMark", "TTTransferToEndOfLoopbackLink"}) {
        const GantryError source = errorWithParameters();
        const GantryError refused = copyRefusing(source, function);
        EXPECT_EQ(refused.parameters(), nullptr) << function;
        EXPECT_EQ(refused.getDebugInfo(), "debug") << function;
        EXPECT_EQ(extraLinks(), 1) << function;
        const GantryError copy(source);
        EXPECT_EQ(readList(copy.parameters()), (Texts{"file", "7"})) << function;
        EXPECT_EQ(readList(source.parameters()), (Texts{"file", "7"})) << function;
    }
}

TEST_F(GantryErrors, ACopyKeepsTheListWhenTheSourceCannotGoBack) {
    const GantryError source = errorWithParameters();
    const GantryError copy = copyRefusing(source, "TTSeekMark");
    EXPECT_EQ(readList(copy.parameters()), (Texts{"file", "7"}));
    EXPECT_EQ(TTError(source.parameters()), TTE_OK);
    EXPECT_EQ(extraLinks(), 2) << "no mark is left";
}

TEST_F(GantryErrors, OpenALoopbackInTheEnvironmentGiven) {
    const TTLink link = GantryError::openLoopback(services().environment());
    EXPECT_EQ(TTLinkEnvironment(link), services().environment());
    TTClose(link);
    EXPECT_EQ(GantryError::openLoopback(nullptr), nullptr);
}

TEST_F(GantryErrors, TheSymbolIsTheContextFollowedByItsName) {
    EXPECT_EQ(GantryError::getExceptionDetailsSymbol(), "GTU`$LastFailureParameters");
    GantryError::setExceptionDetailsSymbolContext("Ctx");
    EXPECT_EQ(GantryError::getExceptionDetailsSymbolContext(), "Ctx");
    EXPECT_EQ(GantryError::getExceptionDetailsSymbol(), "CtxGTU`$LastFailureParameters");
}

} // namespace radvex::test
