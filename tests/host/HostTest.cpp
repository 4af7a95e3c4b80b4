// The host with a library of its own: loading, calling, errors, and the violations that it records.

#include "tests/support/HostTest.h"

#include <stdexcept>

#include "host/Host.h"

namespace {

using namespace velmora;

using Texts = std::vector<std::string>;

constexpr vint kText = VType_UTF8String;

const std::vector<Declaration> kDeclarations{
    {"setExceptionDetailsContext", {kText}, kText},
    {"CountArguments", {VType_Integer, VType_Integer}, VType_Integer},
    {"Negate", {VType_Boolean}, VType_Boolean},
    {"Halve", {VType_Real}, VType_Real},
    {"Conjugate", {VType_Complex}, VType_Complex},
    {"Repeat", {kText}, kText},
    {"CloneTensor", {VType_Tensor}, VType_Tensor},
    {"CloneStore", {VType_DataStore}, VType_DataStore},
    {"KeepText", {kText}, VType_Undef},
    {"FailWithDetails", {kText, VType_Integer}, VType_Undef},
    {"FailWithoutDetails", {}, VType_Undef},
    {"FailWithAnUnregisteredCode", {}, VType_Undef},
    {"FailWithALinkInUse", {}, VType_Undef},
    {"Throw", {}, VType_Undef},
    {"FreeTwice", {}, VType_Undef},
    {"FreeAnArgument", {VType_Tensor}, VType_Undef},
    {"ReturnAnArgument", {VType_Tensor}, VType_Tensor},
    {"ReturnAnInnerStore", {VType_DataStore}, VType_DataStore},
    {"ReturnADeadTensor", {}, VType_Tensor},
    {"LeaveThingsBehind", {}, VType_Undef},
    {"LeaveThingsBehindAndFail", {}, VType_Undef},
    {"KeepTextTwice", {kText}, VType_Undef},
    {"DeclaredAndNotThere", {}, VType_Undef},
};

/// A test with the library loaded. Ends with the accounting at zero, and with no violations but the expected ones.
class HostWithALibrary : public ::testing::Test {
  protected:
    void SetUp() override {
        ledger() = Ledger{};
        host = Host::load(MISBEHAVING_LIBRARY, kDeclarations);
    }
    void TearDown() override {
        EXPECT_EQ(TTOpenLinkCount(host->services().environment()), 2) << "links of the host are two";
        EXPECT_EQ(TTOpenBufferCount(host->services().environment()), 0);
        host.reset();
        EXPECT_EQ(ledger().violations(), expectedViolations);
        EXPECT_EQ(ledger().alive(), 0);
        ledger() = Ledger{};
    }

    Value call(const std::string& name, std::vector<Value> arguments = {}) {
        return host->call(name, std::move(arguments));
    }
    /// The error of a call, as code, name and message.
    std::string errorOf(const std::string& name, std::vector<Value> arguments = {}) {
        try {
            (void)call(name, std::move(arguments));
            return "none";
        } catch (const LibraryError& error) {
            return std::to_string(error.code()) + " [" + error.name() + "] " + error.what();
        }
    }

    std::unique_ptr<Host> host{};
    Texts expectedViolations{};
};

TEST(HostLoading, AMissingLibraryIsAnErrorThatNamesItAndLeavesNoHost) {
    for (int repeat = 0; repeat < 2; ++repeat) {
        try {
            (void)Host::load("/no/such/library.so", kDeclarations);
            ADD_FAILURE() << "loaded";
        } catch (const HostError& error) {
            EXPECT_NE(std::string(error.what()).find("/no/such/library.so"), std::string::npos) << error.what();
        }
    }
}

TEST(HostLoading, ALibraryWithoutAnEntryPointIsAnError) {
    EXPECT_THROW((void)Host::load(LIBRARY_WITHOUT_ENTRY, kDeclarations), HostError);
}

TEST(HostLoading, ALibraryThatDoesNotInitializeIsAnErrorWithItsCode) {
    try {
        (void)Host::load(REFUSING_LIBRARY, kDeclarations);
        ADD_FAILURE() << "loaded";
    } catch (const LibraryError& error) {
        EXPECT_EQ(error.code(), -5);
    }
}

TEST(HostLoading, ABrokenTableOfErrorsIsAnErrorAndLeavesNothing) {
    ledger() = Ledger{};
    EXPECT_THROW((void)Host::load(BROKEN_TABLE_LIBRARY, kDeclarations), HostError);
    EXPECT_EQ(ledger().alive(), 0);
    EXPECT_NE(Host::load(MISBEHAVING_LIBRARY, kDeclarations), nullptr) << "another one can be loaded after it";
}

TEST_F(HostWithALibrary, ASecondHostIsRefused) {
    EXPECT_THROW((void)Host::load(MISBEHAVING_LIBRARY, kDeclarations), std::logic_error);
    EXPECT_EQ(call("CountArguments", {}).get<vint>(), 0) << "the first one still works";
}

TEST_F(HostWithALibrary, KnowsTheErrorsByFallingId) {
    const auto errors = host->errors();
    ASSERT_EQ(errors.size(), 2U);
    EXPECT_EQ(errors[0].id, -1);
    EXPECT_EQ(errors[0].name, "FirstError");
    EXPECT_EQ(errors[0].message, "Got `text` and `number`.");
    EXPECT_EQ(errors[1].id, -2);
    EXPECT_EQ(errors[1].name, "SecondError");
}

TEST_F(HostWithALibrary, AnUnknownOrAMissingFunctionIsAnErrorOfTheHost) {
    EXPECT_THROW(call("NotDeclared"), HostError);
    EXPECT_THROW(call("DeclaredAndNotThere"), HostError);
    EXPECT_THROW(call("DeclaredAndNotThere"), HostError);
    EXPECT_EQ(host->symbol("DeclaredAndNotThere"), nullptr);
    EXPECT_NE(host->symbol("Negate"), nullptr);
}

TEST_F(HostWithALibrary, PassesAndReturnsEachKind) {
    EXPECT_FALSE(call("Negate", {true}).get<bool>());
    EXPECT_TRUE(call("Negate", {false}).get<bool>());
    EXPECT_EQ(call("Halve", {0.5}).get<double>(), 0.25);
    EXPECT_EQ(call("Halve", {vint{3}}).get<double>(), 1.5) << "a whole number is a number";
    EXPECT_EQ(call("Conjugate", {std::complex<double>(1.0, 2.0)}).get<std::complex<double>>(),
              std::complex<double>(1.0, -2.0));
    EXPECT_EQ(call("Repeat", {"gr\xC3\xBC"
                              "n"})
                  .get<std::string>(),
              "gr\xC3\xBC"
              "ngr\xC3\xBC"
              "n");
    const Value tensor = call("CloneTensor", {Tensor({2, 3}, std::vector<vint>{0, 1, 2, 10, 11, 12})});
    EXPECT_EQ(tensor.get<Tensor>().dimensions(), (std::vector<vint>{2, 3}));
    EXPECT_EQ(tensor.get<Tensor>().data<vint>()[5], 12);
    EXPECT_EQ(call("CloneStore", {Store::ofTexts({"a", "b"})}).get<Store>().size(), 2U);
}

TEST_F(HostWithALibrary, PassesTooFewAndTooManyArgumentsAsTheyAre) {
    EXPECT_EQ(call("CountArguments", {}).get<vint>(), 0);
    EXPECT_EQ(call("CountArguments", {vint{1}, 0.5, "three", Null()}).get<vint>(), 4);
}

TEST_F(HostWithALibrary, AnArgumentOfAnotherKindIsAnEmptyCell) {
    EXPECT_EQ(call("Repeat", {vint{5}}).get<std::string>(), "(null)");
    EXPECT_EQ(call("Halve", {"text"}).get<double>(), 0.0);
    EXPECT_EQ(errorOf("CloneTensor", {Store::ofTexts({"a"})}).substr(0, 2), "5 ") << "a clone of no tensor";
    EXPECT_TRUE(call("CloneStore", {Null()}).is<Null>());
}

TEST_F(HostWithALibrary, TakesBackTheTextsThatTheLibraryDoesNotKeep) {
    const long before = ledger().counts(ObjectKind::string).takenBack;
    (void)call("Repeat", {"text"});
    EXPECT_EQ(ledger().counts(ObjectKind::string).takenBack, before + 1);
    EXPECT_EQ(ledger().counts(ObjectKind::string).disowned, 0);
    (void)call("KeepText", {"text"});
    EXPECT_EQ(ledger().counts(ObjectKind::string).takenBack, before + 1);
    EXPECT_EQ(ledger().counts(ObjectKind::string).disowned, 1);
}

TEST_F(HostWithALibrary, FillsTheSlotsOfAMessageFromTheDetails) {
    EXPECT_EQ(errorOf("FailWithDetails", {"water", vint{42}}), "-1 [FirstError] Got water and 42.");
}

TEST_F(HostWithALibrary, ForgetsTheDetailsOfTheCallBefore) {
    EXPECT_EQ(errorOf("FailWithDetails", {"water", vint{42}}), "-1 [FirstError] Got water and 42.");
    EXPECT_EQ(errorOf("FailWithoutDetails"), "-1 [FirstError] Got `text` and `number`.");
}

TEST_F(HostWithALibrary, FollowsTheDetailsIntoAnotherSymbol) {
    EXPECT_EQ(call("setExceptionDetailsContext", {"Other`"}).get<std::string>(), "Other`Details");
    EXPECT_EQ(errorOf("FailWithDetails", {"wine", vint{7}}), "-1 [FirstError] Got wine and 7.");
    EXPECT_EQ(host->services().symbolValues("Other`Details"), (Texts{"wine", "7"}));
}

TEST_F(HostWithALibrary, AnUnregisteredCodeIsAnErrorWithoutAName) {
    EXPECT_EQ(errorOf("FailWithAnUnregisteredCode").substr(0, 6), "-77 []");
}

TEST_F(HostWithALibrary, AnExceptionThatPassesOutIsTheGeneralFailure) {
    EXPECT_EQ(errorOf("Throw").substr(0, 2), "6 ");
    EXPECT_EQ(call("Halve", {1.0}).get<double>(), 0.5) << "the host goes on";
}

TEST_F(HostWithALibrary, WhatALibraryLeavesOnTheLinkDoesNotReachTheNextCall) {
    EXPECT_EQ(errorOf("FailWithALinkInUse").substr(0, 2), "-2");
    EXPECT_EQ(errorOf("FailWithDetails", {"water", vint{42}}), "-1 [FirstError] Got water and 42.");
}

TEST_F(HostWithALibrary, RecordsADoubleFree) {
    (void)call("FreeTwice");
    expectedViolations = {"The library freed a tensor that does not exist."};
}

TEST_F(HostWithALibrary, RecordsTheFreeingOfAnArgumentAndKeepsIt) {
    (void)call("FreeAnArgument", {Tensor({1}, std::vector<vint>{1})});
    expectedViolations = {"The library freed a tensor that it does not own."};
}

TEST_F(HostWithALibrary, RecordsAResultThatIsNotTheLibrarysAndGivesNull) {
    EXPECT_TRUE(call("ReturnAnArgument", {Tensor({1}, std::vector<vint>{1})}).is<Null>());
    EXPECT_TRUE(call("ReturnAnInnerStore", {Store::of({Store::ofTexts({"a"})})}).is<Null>());
    EXPECT_TRUE(call("ReturnADeadTensor").is<Null>());
    expectedViolations = {"The library returned a tensor that it does not own.",
                          "The library returned a data store that it does not own.",
                          "The library returned a tensor that it does not own."};
}

TEST_F(HostWithALibrary, RecordsWhatIsLeftBehindAndFreesIt) {
    (void)call("LeaveThingsBehind");
    EXPECT_EQ(ledger().alive(), 0);
    expectedViolations = {"The library left a data store behind.", "The library left a tensor behind."};
}

TEST_F(HostWithALibrary, TakesBackTheStoreOfACallThatFailsAndRecordsTheRest) {
    EXPECT_EQ(errorOf("LeaveThingsBehindAndFail").substr(0, 2), "-2");
    EXPECT_EQ(ledger().alive(), 0);
    EXPECT_EQ(ledger().counts(ObjectKind::dataStore).takenBack, 1);
    expectedViolations = {"The library left a tensor behind."};
}

TEST_F(HostWithALibrary, RecordsATextThatIsGivenBackTwice) {
    (void)call("KeepTextTwice", {"text"});
    expectedViolations = {"The library gave back a string that it did not get, or gave it back twice."};
}

TEST_F(HostWithALibrary, RefusesTheNthOperation) {
    const Value tensor = Tensor({2}, std::vector<vint>{1, 2});
    ledger().refuse(Operation::VTensor_clone, 2);
    EXPECT_EQ(call("CloneTensor", {tensor}).type(), VType_Tensor);
    EXPECT_EQ(errorOf("CloneTensor", {tensor}).substr(0, 2), "5 ");
    EXPECT_EQ(call("CloneTensor", {tensor}).type(), VType_Tensor);
    // `tensor` was copied into each call by the host itself, which is neither counted nor refused.
    EXPECT_EQ(ledger().calls(Operation::VTensor_clone), 3);
    ledger().refuseNothing();
}

TEST_F(HostWithALibrary, RefusesTheNthCallOfALinkFunction) {
    ledger().refuseLink("TTPutString", 1);
    EXPECT_EQ(errorOf("FailWithDetails", {"water", vint{42}}), "-1 [FirstError] Got `text` and `number`.");
    EXPECT_EQ(errorOf("FailWithDetails", {"water", vint{42}}), "-1 [FirstError] Got water and 42.");
    ledger().refuse(Operation::getTetherLink, 1);
    EXPECT_EQ(errorOf("FailWithDetails", {"water", vint{42}}), "-1 [FirstError] Got `text` and `number`.");
    ledger().refuseNothing();
}

} // namespace
