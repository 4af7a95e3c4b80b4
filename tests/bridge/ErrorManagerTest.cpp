#include "tests/bridge/BridgeTest.h"

#include <cstdlib>

using GTU::ErrorManager;
using GTU::GantryError;
using namespace radvex::test;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;

/// The bridge's errors in the order of their ids, from 7 downwards.
const std::vector<std::string> kBridgeErrors = {
    "VersionError",
    "FunctionError",
    "MemoryError",
    "NumericalError",
    "DimensionsError",
    "RankError",
    "TypeError",
    "NoError",
    "LibDataError",
    "VArgumentIndexError",
    "VArgumentNumericArrayError",
    "VArgumentTensorError",
    "VArgumentImageError",
    "ErrorManagerThrowIdError",
    "ErrorManagerThrowNameError",
    "ErrorManagerCreateNameError",
    "NumericArrayNewError",
    "NumericArrayCloneError",
    "NumericArrayTypeError",
    "NumericArraySizeError",
    "NumericArrayIndexError",
    "NumericArrayConversionError",
    "TensorNewError",
    "TensorCloneError",
    "TensorTypeError",
    "TensorSizeError",
    "TensorIndexError",
    "ImageNewError",
    "ImageCloneError",
    "ImageTypeError",
    "ImageSizeError",
    "ImageIndexError",
    "CreateFromNullError",
    "VArrayElementIndexError",
    "VArrayDimensionIndexError",
    "TTNullTetherError",
    "TTTestHeadError",
    "TTPutSymbolError",
    "TTPutFunctionError",
    "TTTestSymbolError",
    "TTWrongSymbolForBool",
    "TTGetListError",
    "TTGetScalarError",
    "TTGetStringError",
    "TTGetArrayError",
    "TTPutListError",
    "TTPutScalarError",
    "TTPutStringError",
    "TTPutArrayError",
    "TTGetSymbolError",
    "TTGetFunctionError",
    "TTPacketHandleError",
    "TTFlowControlError",
    "TTTransferToLoopbackError",
    "TTCreateLoopbackError",
    "TTLoopbackStackSizeError",
    "DLNullRawNode",
    "DLInvalidNodeType",
    "DLGetNodeDataError",
    "DLNullRawDataStore",
    "DLPushBackTypeError",
    "ArgumentCreateNull",
    "ArgumentAddNodeVArgument",
    "Aborted",
    "ManagedExprInvalidID",
    "MLEDynamicTypeError",
    "PathNotValidated",
    "InvalidOpenMode",
    "OpenFileFailed",
};

/// Some of them with their messages.
const Pairs kMessages = {
    {"VersionError", "An error was caused by an incompatible function call. The library was compiled with a previous "
                     "LibraryData version."},
    {"FunctionError", "An error occurred in the library function."},
    {"NoError", "No errors occurred."},
    {"LibDataError",
     "VelmoraLibraryData is not set. Make sure to call LibraryData::setLibraryData in VelmoraLibrary_initialize."},
    {"ErrorManagerThrowNameError", "An exception was thrown with a non-existent name."},
    {"NumericArrayTypeError", "An error was caused by an NumericArray type mismatch."},
    {"TensorIndexError", "An error was caused by attempting to access a nonexistent Tensor element."},
    {"VArrayDimensionIndexError", "Attempting to access VArray dimension `d` which does not exist."},
    {"TTNullTetherError", "Trying to create TTStream with NULL TETHER"},
    {"TTWrongSymbolForBool", "Tried to read something else than \"True\" or \"False\" as boolean."},
    {"ArgumentAddNodeVArgument", "Trying to add DataStore Node of type VArgument (aka VType_Undef)"},
    {"PathNotValidated", "File path `path` could not be validated under desired open mode."},
    {"OpenFileFailed", "Could not open file `f`."},
};

/// Errors as a library registers them at its start.
const Pairs kLibraryErrors = {
    {"OpenFileError", "Error when opening file `fileName`: `reason`."},
    {"ImageReadError", "Error when reading image from file `f`."},
    {"InvalidTagName", "Attribute tag named `tag` does not exist."},
    {"NotImplementedError", "Not implemented."},
    {"RawPixelCountError", "Got `1` pixels, expected `2`."},
    {"RawPixelReadError", "Could not access pixel data in file `f`."},
    {"ImageOpenError", "Could not open DICOM image in file `f`. Operation status: `status`."},
    {"ImageDimensionsMismatch", "DICOM images from a single series have inconsistent dimensions."},
    {"NoImagesError", "Could not create Image3D from empty set of images."},
    {"NoFilesError", "No files found satisfying given criteria"},
    {"OverlayReadError", "Could not read overlays from `f`."},
    {"InvalidPixelScaling", "Pixel scaling method specification is invalid."},
    {"InvalidTagValue", "Could not write tag `tag` with value `value`."},
    {"ReservedTagError", "Could not write tag `tag` because it is exclusively written by Velmora Language."},
    {"ImageWriteError", "Error writing an Image(s) : `reason`."},
    {"TagWriteError", "Error writing tag `tag` : `reason`"},
    {"AnonymizationError", "Error occured while anonymizing the dataset : `reason`"},
    {"OverlayCountError", "Maximum number of overlay planes (16) exceeded."},
    {"SequenceTagVRError", "TagKeyword provided for sequence doesn't represent tag with value representation SQ."},
    {"VArgumentTypeError", "Unsupported VArgumentType passed."},
    {"OverlayIndexOutOfBounds", "DcmOverlay does not contain overlay at index `index`."},
    {"OverlayPropertyError", "Invalid value for overlay property `prop`."},
};

int idOf(const std::string& name) { return ErrorManager::findError(name).id(); }

/// What remains true however many errors other tests of this process have registered.
void expectNextIdBehindTheTable() {
    EXPECT_EQ(ErrorManager::nextErrorId(), 7 - static_cast<int>(ErrorManager::errors().size()));
}

} // namespace

// A fresh process, since the table lives as long as the process does.
TEST(ErrorManagerDeathTest, ALibrarysErrorsFollowTheBridgesOwn) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const bool isBridgeAlone = ErrorManager::errors().size() == 69 && ErrorManager::nextErrorId() == -62;
            ErrorManager::registerPlugpackErrors(kLibraryErrors);
            ErrorManager::registerPlugpackErrors(kLibraryErrors);
            bool isInOrder = true;
            for (std::size_t index = 0; index < kLibraryErrors.size(); ++index) {
                isInOrder = isInOrder && idOf(kLibraryErrors[index].first) == -62 - static_cast<int>(index);
            }
            const bool isComplete = ErrorManager::errors().size() == 91 && ErrorManager::nextErrorId() == -84;
            std::exit(isBridgeAlone && isInOrder && isComplete ? 0 : 1);
        },
        ::testing::ExitedWithCode(0), "");
}

TEST(ErrorManager, NumbersTheBridgesErrorsFromSevenDownwards) {
    ASSERT_EQ(kBridgeErrors.size(), 69U);
    for (std::size_t index = 0; index < kBridgeErrors.size(); ++index) {
        EXPECT_EQ(idOf(kBridgeErrors[index]), 7 - static_cast<int>(index)) << kBridgeErrors[index];
    }
    EXPECT_EQ(idOf("OpenFileFailed"), -61);
    expectNextIdBehindTheTable();
}

TEST(ErrorManager, KeepsTheMessageOfEachError) {
    for (const auto& [name, message] : kMessages) {
        EXPECT_EQ(ErrorManager::findError(name).message(), message);
    }
    for (const std::string& name : kBridgeErrors) {
        EXPECT_FALSE(ErrorManager::findError(name).message().empty()) << name;
    }
}

TEST(ErrorManager, NamesOfConstantsAreTheirContents) {
    EXPECT_EQ(GTU::ErrorName::FunctionError, "FunctionError");
    EXPECT_EQ(GTU::ErrorName::VArgumentIndexError, "VArgumentIndexError");
    EXPECT_EQ(GTU::ErrorName::OpenFileFailed, "OpenFileFailed");
}

TEST(ErrorManager, EntriesCarryTheirNameAndNothingElse) {
    const GantryError& entry = ErrorManager::findError("TTFlowControlError");
    EXPECT_STREQ(entry.what(), "TTFlowControlError");
    EXPECT_EQ(entry.name(), "TTFlowControlError");
    EXPECT_EQ(entry.getDebugInfo(), "");
    EXPECT_EQ(entry.parameters(), nullptr);
}

TEST(ErrorManager, FindsAnErrorByItsId) {
    EXPECT_EQ(ErrorManager::findError(7).name(), "VersionError");
    EXPECT_EQ(ErrorManager::findError(0).name(), "NoError");
    EXPECT_EQ(ErrorManager::findError(-61).name(), "OpenFileFailed");
}

TEST(ErrorManager, NoErrorHasTheIdThatMeansSuccess) {
    EXPECT_EQ(ErrorManager::findError("NoError").id(), 0);
    EXPECT_THAT(thrownBy([] { ErrorManager::throwException("NoError"); }), isError(0, "NoError"));
}

TEST(ErrorManager, AnUnknownIdIsAnErrorOfItsOwn) {
    EXPECT_THAT(thrownBy([] { (void)ErrorManager::findError(8); }), isError(-6, "ErrorManagerThrowIdError", ""));
}

TEST(ErrorManager, AnUnknownNameIsAnErrorOfItsOwn) {
    EXPECT_THAT(thrownBy([] { (void)ErrorManager::findError("NobodyRegisteredThis"); }),
                isError(-7, "ErrorManagerThrowNameError", ""));
}

TEST(ErrorManager, ThrowingAnUnknownNameLosesTheIntendedErrorAndItsDebugText) {
    EXPECT_THAT(
        thrownBy([] { ErrorManager::throwExceptionWithDebugInfo("NobodyRegisteredThis", "lost", "parameter"); }),
        tells(-7, ""));
}

TEST(ErrorManager, RegistrationTakesTheNextIdAndLowersIt) {
    const std::size_t size = ErrorManager::errors().size(); // the first use registers the bridge's own errors
    const int next = ErrorManager::nextErrorId();
    // Names that no earlier run in this process has taken.
    const std::string first = "FreshFirst" + std::to_string(next);
    const std::string second = "FreshSecond" + std::to_string(next);
    ErrorManager::registerPlugpackErrors({{first, "First `a`."}, {second, "Second."}});
    EXPECT_EQ(idOf(first), next);
    EXPECT_EQ(idOf(second), next - 1);
    EXPECT_EQ(ErrorManager::findError(first).message(), "First `a`.");
    EXPECT_EQ(ErrorManager::errors().size(), size + 2);
    expectNextIdBehindTheTable();
}

TEST(ErrorManager, TheSamePairAgainChangesNothing) {
    ErrorManager::set({"FreshRepeated", "Same."});
    const int next = ErrorManager::nextErrorId();
    const int id = idOf("FreshRepeated");
    const std::size_t size = ErrorManager::errors().size();
    EXPECT_NO_THROW(ErrorManager::set({"FreshRepeated", "Same."}));
    EXPECT_EQ(ErrorManager::nextErrorId(), next);
    EXPECT_EQ(idOf("FreshRepeated"), id);
    EXPECT_EQ(ErrorManager::errors().size(), size);
}

TEST(ErrorManager, AnotherMessageForANameIsRefusedAndTheFirstStays) {
    ErrorManager::set({"FreshDisputed", "One."});
    const int next = ErrorManager::nextErrorId();
    EXPECT_THAT(thrownBy([] {
                    ErrorManager::set({"FreshDisputed", "Two."});
                }),
                isError(-8, "ErrorManagerCreateNameError", ""));
    EXPECT_EQ(ErrorManager::nextErrorId(), next);
    EXPECT_EQ(ErrorManager::findError("FreshDisputed").message(), "One.");
}

TEST(ErrorManager, ANameOfTheBridgeCannotBeTakenByALibrary) {
    EXPECT_EQ(thrownBy([] { ErrorManager::set({"FunctionError", "Mine."}); }).id, -8);
    EXPECT_EQ(idOf("FunctionError"), 6);
}

TEST(ErrorManager, PairsBeforeADisputedOneStayRegistered) {
    const auto thrown = thrownBy([] {
        ErrorManager::registerPlugpackErrors({{"FreshBefore", "B."}, {"NoError", "Mine."}, {"FreshBehind", "C."}});
    });
    EXPECT_EQ(thrown.id, -8);
    EXPECT_EQ(ErrorManager::findError("FreshBefore").message(), "B.");
    EXPECT_EQ(thrownBy([] { (void)ErrorManager::findError("FreshBehind"); }).id, -7);
    expectNextIdBehindTheTable();
}

TEST(ErrorManager, WhatGivesTheNameAndNotTheMessage) {
    ErrorManager::registerPlugpackErrors({kLibraryErrors.front()});
    try {
        ErrorManager::throwException("OpenFileError");
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "OpenFileError");
        return;
    }
    ADD_FAILURE() << "nothing was thrown";
}

TEST(ErrorManager, DebugTextTravelsWithTheException) {
    EXPECT_THAT(thrownBy([] { ErrorManager::throwExceptionWithDebugInfo("RankError", "rank 5"); }), tells(2, "rank 5"));
    EXPECT_EQ(ErrorManager::findError("RankError").getDebugInfo(), "");
}
