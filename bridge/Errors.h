#pragma once

#include <string>

/// The bridge's own errors in the order in which they get their ids, from 7 downwards: X(name, message).
///
/// The first eight are the host's return codes. A slot of a message is a name in backticks; the code that throws passes
/// the values in the order of the slots, and the host fills them in.
// clang-format off
#define GTU_BRIDGE_ERRORS(X) \
    X(VersionError, "An error was caused by an incompatible function call. The library was compiled with a previous LibraryData version.") \
    X(FunctionError, "An error occurred in the library function.") \
    X(MemoryError, "An error was caused by failed memory allocation or insufficient memory.") \
    X(NumericalError, "A numerical error was encountered.") \
    X(DimensionsError, "An error caused by inconsistent dimensions or by exceeding array bounds.") \
    X(RankError, "An error was caused by a tensor with an inconsistent rank.") \
    X(TypeError, "An error caused by inconsistent types was encountered.") \
    X(NoError, "No errors occurred.") \
    X(LibDataError, "VelmoraLibraryData is not set. Make sure to call LibraryData::setLibraryData in VelmoraLibrary_initialize.") \
    X(VArgumentIndexError, "An error was caused by an incorrect argument index.") \
    X(VArgumentNumericArrayError, "An error was caused by a NumericArray argument.") \
    X(VArgumentTensorError, "An error was caused by a Tensor argument.") \
    X(VArgumentImageError, "An error was caused by an Image argument.") \
    X(ErrorManagerThrowIdError, "An exception was thrown with a non-existent id.") \
    X(ErrorManagerThrowNameError, "An exception was thrown with a non-existent name.") \
    X(ErrorManagerCreateNameError, "An exception was registered with a name that already exists.") \
    X(NumericArrayNewError, "Failed to create a new NumericArray.") \
    X(NumericArrayCloneError, "Failed to clone NumericArray.") \
    X(NumericArrayTypeError, "An error was caused by an NumericArray type mismatch.") \
    X(NumericArraySizeError, "An error was caused by an incorrect NumericArray size.") \
    X(NumericArrayIndexError, "An error was caused by attempting to access a nonexistent NumericArray element.") \
    X(NumericArrayConversionError, "Failed to convert NumericArray from different type.") \
    X(TensorNewError, "Failed to create a new VTensor.") \
    X(TensorCloneError, "Failed to clone VTensor.") \
    X(TensorTypeError, "An error was caused by an VTensor type mismatch.") \
    X(TensorSizeError, "An error was caused by an incorrect Tensor size.") \
    X(TensorIndexError, "An error was caused by attempting to access a nonexistent Tensor element.") \
    X(ImageNewError, "Failed to create a new VImage.") \
    X(ImageCloneError, "Failed to clone VImage.") \
    X(ImageTypeError, "An error was caused by an VImage type mismatch.") \
    X(ImageSizeError, "An error was caused by an incorrect Image size.") \
    X(ImageIndexError, "An error was caused by attempting to access a nonexistent Image element.") \
    X(CreateFromNullError, "Attempting to create a generic container from nullptr.") \
    X(VArrayElementIndexError, "Attempting to access VArray element at invalid index.") \
    X(VArrayDimensionIndexError, "Attempting to access VArray dimension `d` which does not exist.") \
    X(TTNullTetherError, "Trying to create TTStream with NULL TETHER") \
    X(TTTestHeadError, "TTTestHead failed (wrong head or number of arguments).") \
    X(TTPutSymbolError, "TTPutSymbol failed.") \
    X(TTPutFunctionError, "TTPutFunction failed.") \
    X(TTTestSymbolError, "TTTestSymbol failed (different symbol on the link than expected).") \
    X(TTWrongSymbolForBool, "Tried to read something else than \"True\" or \"False\" as boolean.") \
    X(TTGetListError, "Could not get list from Tether.") \
    X(TTGetScalarError, "Could not get scalar from Tether.") \
    X(TTGetStringError, "Could not get string from Tether.") \
    X(TTGetArrayError, "Could not get array from Tether.") \
    X(TTPutListError, "Could not send list via Tether.") \
    X(TTPutScalarError, "Could not send scalar via Tether.") \
    X(TTPutStringError, "Could not send string via Tether.") \
    X(TTPutArrayError, "Could not send array via Tether.") \
    X(TTGetSymbolError, "TTGetSymbol failed.") \
    X(TTGetFunctionError, "TTGetFunction failed.") \
    X(TTPacketHandleError, "One of the packet handling functions failed.") \
    X(TTFlowControlError, "One of the flow control functions failed.") \
    X(TTTransferToLoopbackError, "Something went wrong when transferring expressions from loopback link.") \
    X(TTCreateLoopbackError, "Could not create a new loopback link.") \
    X(TTLoopbackStackSizeError, "Loopback stack size too small to perform desired action.") \
    X(DLNullRawNode, "DataStoreNode passed to Node wrapper was null") \
    X(DLInvalidNodeType, "DataStoreNode passed to Node wrapper carries data of invalid type") \
    X(DLGetNodeDataError, "DataStoreNode_getData failed") \
    X(DLNullRawDataStore, "DataStore passed to DataList was null") \
    X(DLPushBackTypeError, "Element to be added to the DataList has incorrect type") \
    X(ArgumentCreateNull, "Trying to create Argument object from nullptr") \
    X(ArgumentAddNodeVArgument, "Trying to add DataStore Node of type VArgument (aka VType_Undef)") \
    X(Aborted, "Computation aborted by the user.") \
    X(ManagedExprInvalidID, "Given number is not an ID of any existing managed expression.") \
    X(MLEDynamicTypeError, "Invalid dynamic type requested for a Managed Library Expression") \
    X(PathNotValidated, "File path `path` could not be validated under desired open mode.") \
    X(InvalidOpenMode, "Specified open mode is invalid.") \
    X(OpenFileFailed, "Could not open file `f`.")
// clang-format on

namespace GTU::ErrorName {

#define GTU_ERROR_NAME(name, message) inline const std::string name = #name;
GTU_BRIDGE_ERRORS(GTU_ERROR_NAME)
#undef GTU_ERROR_NAME

} // namespace GTU::ErrorName
