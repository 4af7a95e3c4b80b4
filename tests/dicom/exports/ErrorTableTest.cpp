#include "tests/dicom/DicomTest.h"

using namespace radvex::test;

namespace {

using ErrorTable = LibraryTest;

struct TableRow {
    int id;
    const char* name;
    const char* message;
};

/// What hosts know the errors by: the codes of the host itself, then the bridge's errors, then the library's.
const TableRow kErrorTable[] = {
    {7, "VersionError",
     "An error was caused by an incompatible function call. The library was compiled with a previous LibraryData "
     "version."},
    {6, "FunctionError", "An error occurred in the library function."},
    {5, "MemoryError", "An error was caused by failed memory allocation or insufficient memory."},
    {4, "NumericalError", "A numerical error was encountered."},
    {3, "DimensionsError", "An error caused by inconsistent dimensions or by exceeding array bounds."},
    {2, "RankError", "An error was caused by a tensor with an inconsistent rank."},
    {1, "TypeError", "An error caused by inconsistent types was encountered."},
    {0, "NoError", "No errors occurred."},
    {-1, "LibDataError",
     "VelmoraLibraryData is not set. Make sure to call LibraryData::setLibraryData in VelmoraLibrary_initialize."},
    {-2, "VArgumentIndexError", "An error was caused by an incorrect argument index."},
    {-3, "VArgumentNumericArrayError", "An error was caused by a NumericArray argument."},
    {-4, "VArgumentTensorError", "An error was caused by a Tensor argument."},
    {-5, "VArgumentImageError", "An error was caused by an Image argument."},
    {-6, "ErrorManagerThrowIdError", "An exception was thrown with a non-existent id."},
    {-7, "ErrorManagerThrowNameError", "An exception was thrown with a non-existent name."},
    {-8, "ErrorManagerCreateNameError", "An exception was registered with a name that already exists."},
    {-9, "NumericArrayNewError", "Failed to create a new NumericArray."},
    {-10, "NumericArrayCloneError", "Failed to clone NumericArray."},
    {-11, "NumericArrayTypeError", "An error was caused by an NumericArray type mismatch."},
    {-12, "NumericArraySizeError", "An error was caused by an incorrect NumericArray size."},
    {-13, "NumericArrayIndexError", "An error was caused by attempting to access a nonexistent NumericArray element."},
    {-14, "NumericArrayConversionError", "Failed to convert NumericArray from different type."},
    {-15, "TensorNewError", "Failed to create a new VTensor."},
    {-16, "TensorCloneError", "Failed to clone VTensor."},
    {-17, "TensorTypeError", "An error was caused by an VTensor type mismatch."},
    {-18, "TensorSizeError", "An error was caused by an incorrect Tensor size."},
    {-19, "TensorIndexError", "An error was caused by attempting to access a nonexistent Tensor element."},
    {-20, "ImageNewError", "Failed to create a new VImage."},
    {-21, "ImageCloneError", "Failed to clone VImage."},
    {-22, "ImageTypeError", "An error was caused by an VImage type mismatch."},
    {-23, "ImageSizeError", "An error was caused by an incorrect Image size."},
    {-24, "ImageIndexError", "An error was caused by attempting to access a nonexistent Image element."},
    {-25, "CreateFromNullError", "Attempting to create a generic container from nullptr."},
    {-26, "VArrayElementIndexError", "Attempting to access VArray element at invalid index."},
    {-27, "VArrayDimensionIndexError", "Attempting to access VArray dimension `d` which does not exist."},
    {-28, "TTNullTetherError", "Trying to create TTStream with NULL TETHER"},
    {-29, "TTTestHeadError", "TTTestHead failed (wrong head or number of arguments)."},
    {-30, "TTPutSymbolError", "TTPutSymbol failed."},
    {-31, "TTPutFunctionError", "TTPutFunction failed."},
    {-32, "TTTestSymbolError", "TTTestSymbol failed (different symbol on the link than expected)."},
    {-33, "TTWrongSymbolForBool", "Tried to read something else than \"True\" or \"False\" as boolean."},
    {-34, "TTGetListError", "Could not get list from Tether."},
    {-35, "TTGetScalarError", "Could not get scalar from Tether."},
    {-36, "TTGetStringError", "Could not get string from Tether."},
    {-37, "TTGetArrayError", "Could not get array from Tether."},
    {-38, "TTPutListError", "Could not send list via Tether."},
    {-39, "TTPutScalarError", "Could not send scalar via Tether."},
    {-40, "TTPutStringError", "Could not send string via Tether."},
    {-41, "TTPutArrayError", "Could not send array via Tether."},
    {-42, "TTGetSymbolError", "TTGetSymbol failed."},
    {-43, "TTGetFunctionError", "TTGetFunction failed."},
    {-44, "TTPacketHandleError", "One of the packet handling functions failed."},
    {-45, "TTFlowControlError", "One of the flow control functions failed."},
    {-46, "TTTransferToLoopbackError", "Something went wrong when transferring expressions from loopback link."},
    {-47, "TTCreateLoopbackError", "Could not create a new loopback link."},
    {-48, "TTLoopbackStackSizeError", "Loopback stack size too small to perform desired action."},
    {-49, "DLNullRawNode", "DataStoreNode passed to Node wrapper was null"},
    {-50, "DLInvalidNodeType", "DataStoreNode passed to Node wrapper carries data of invalid type"},
    {-51, "DLGetNodeDataError", "DataStoreNode_getData failed"},
    {-52, "DLNullRawDataStore", "DataStore passed to DataList was null"},
    {-53, "DLPushBackTypeError", "Element to be added to the DataList has incorrect type"},
    {-54, "ArgumentCreateNull", "Trying to create Argument object from nullptr"},
    {-55, "ArgumentAddNodeVArgument", "Trying to add DataStore Node of type VArgument (aka VType_Undef)"},
    {-56, "Aborted", "Computation aborted by the user."},
    {-57, "ManagedExprInvalidID", "Given number is not an ID of any existing managed expression."},
    {-58, "MLEDynamicTypeError", "Invalid dynamic type requested for a Managed Library Expression"},
    {-59, "PathNotValidated", "File path `path` could not be validated under desired open mode."},
    {-60, "InvalidOpenMode", "Specified open mode is invalid."},
    {-61, "OpenFileFailed", "Could not open file `f`."},
    {-62, "OpenFileError", "Error when opening file `fileName`: `reason`."},
    {-63, "ImageReadError", "Error when reading image from file `f`."},
    {-64, "InvalidTagName", "Attribute tag named `tag` does not exist."},
    {-65, "NotImplementedError", "Not implemented."},
    {-66, "RawPixelCountError", "Got `1` pixels, expected `2`."},
    {-67, "RawPixelReadError", "Could not access pixel data in file `f`."},
    {-68, "ImageOpenError", "Could not open DICOM image in file `f`. Operation status: `status`."},
    {-69, "ImageDimensionsMismatch", "DICOM images from a single series have inconsistent dimensions."},
    {-70, "NoImagesError", "Could not create Image3D from empty set of images."},
    {-71, "NoFilesError", "No files found satisfying given criteria"},
    {-72, "OverlayReadError", "Could not read overlays from `f`."},
    {-73, "InvalidPixelScaling", "Pixel scaling method specification is invalid."},
    {-74, "InvalidTagValue", "Could not write tag `tag` with value `value`."},
    {-75, "ReservedTagError", "Could not write tag `tag` because it is exclusively written by Velmora Language."},
    {-76, "ImageWriteError", "Error writing an Image(s) : `reason`."},
    {-77, "TagWriteError", "Error writing tag `tag` : `reason`"},
    {-78, "AnonymizationError", "Error occured while anonymizing the dataset : `reason`"},
    {-79, "OverlayCountError", "Maximum number of overlay planes (16) exceeded."},
    {-80, "SequenceTagVRError", "TagKeyword provided for sequence doesn't represent tag with value representation SQ."},
    {-81, "VArgumentTypeError", "Unsupported VArgumentType passed."},
    {-82, "OverlayIndexOutOfBounds", "DcmOverlay does not contain overlay at index `index`."},
    {-83, "OverlayPropertyError", "Invalid value for overlay property `prop`."},
};

} // namespace

TEST_F(ErrorTable, HoldsTheseIdsNamesAndMessagesAndNoOthers) {
    const auto errors = host().errors();
    ASSERT_EQ(errors.size(), std::size(kErrorTable));
    for (std::size_t index = 0; index < errors.size(); ++index) {
        const TableRow& row = kErrorTable[index];
        EXPECT_EQ(errors[index].id, row.id);
        EXPECT_EQ(errors[index].name, row.name) << row.id;
        EXPECT_EQ(errors[index].message, row.message) << row.id;
    }
}
