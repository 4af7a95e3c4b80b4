/* The functions that Radvex.so exports: the one list of them. The library's declarations and its export map, what our
 * host knows of them, `radvex call --list` and docs/functions.md all come from here.
 *
 * The list is made of macros. Define those that you need and include this file, as often as you like. The others expand
 * to nothing, and all of them are undefined at the end.
 *
 *     #define RADVEX_FUNCTION(name, meaning) puts(#name);
 *     #include "velmora/RadvexFunctions.h"
 *
 * RADVEX_SECTION(title, text)                       starts a group of functions, with what holds for all of them
 * RADVEX_ENTRY(name, result, parameters, meaning)   a function with a C signature of its own
 * RADVEX_FUNCTION(name, meaning)                    a VelmoraFunction. Behind it follow, in this order:
 * RADVEX_ARGUMENT(name, kind, meaning)              each argument, in order
 * RADVEX_RESULT(kind, meaning)                      the result, VType_Undef for none; the slowest axis first
 * RADVEX_ERRORS(names...)                           errors that it can return, without those that every function can
 *
 * A function's name has to be on the line of its macro: the build looks for it there. */

/* No include guard: each use includes this file again. If it is included inside braces, include this header before. */
#include "velmora/VelmoraLibrary.h"

#ifndef RADVEX_SECTION
#define RADVEX_SECTION(title, text)
#endif
#ifndef RADVEX_ENTRY
#define RADVEX_ENTRY(name, result, parameters, meaning)
#endif
#ifndef RADVEX_FUNCTION
#define RADVEX_FUNCTION(name, meaning)
#endif
#ifndef RADVEX_ARGUMENT
#define RADVEX_ARGUMENT(name, kind, meaning)
#endif
#ifndef RADVEX_RESULT
#define RADVEX_RESULT(kind, meaning)
#endif
#ifndef RADVEX_ERRORS
#define RADVEX_ERRORS(...)
#endif

/* clang-format off */

RADVEX_SECTION("Starting, ending and errors",
    "Every function returns 0 or the id of a registered error. Any function can return, besides the errors that it "
    "names: VArgumentIndexError or FunctionError for a missing argument, FunctionError for a null text, "
    "CreateFromNullError for a null store, tensor or image, DLInvalidNodeType for a store with values of another kind "
    "than the function takes, FunctionError when memory runs out, and the errors of the host's own services, such as "
    "NumericArrayNewError.")

RADVEX_ENTRY(VelmoraLibrary_initialize, int, (VelmoraLibraryData libData),
    "Stores the host table, registers the errors, silences DCMTK and registers its codecs. Returns 0.")

RADVEX_ENTRY(VelmoraLibrary_uninitialize, void, (VelmoraLibraryData libData),
    "Removes the codecs and closes all readers. The error table and the host table stay.")

RADVEX_ENTRY(sendRegisteredErrors, int, (VelmoraLibraryData libData, TTLink link),
    "Reads an empty list from the link and answers with an Association of all errors: name -> {id, message}.")

RADVEX_FUNCTION(setExceptionDetailsContext,
    "Sets the prefix of the symbol under which the values for an error's message arrive.")
RADVEX_ARGUMENT(context, VType_UTF8String, "prefix of the symbol's name, such as \"Host`\"")
RADVEX_RESULT(VType_UTF8String, "the whole name of the symbol")
RADVEX_ERRORS()

RADVEX_SECTION("Counts and open files",
    "A file is opened by the first function that names it and stays open, by its path exactly as given, until it is "
    "closed; it is not checked for changes. A path is open as a file or as a directory: a function that needs "
    "the other one gives OpenFileError.")

RADVEX_FUNCTION(GetFrameCount, "Reads NumberOfFrames.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_RESULT(VType_Integer, "number of frames; 0 when the file does not state it, like most files with one frame")
RADVEX_ERRORS("PathNotValidated", "OpenFileError")

RADVEX_FUNCTION(GetRepresentativeFrameIndex, "Reads RepresentativeFrameNumber.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_RESULT(VType_Integer, "number of the frame as the file states it; 0 when it does not")
RADVEX_ERRORS("PathNotValidated", "OpenFileError")

RADVEX_FUNCTION(GetOverlayCount, "Counts the overlay planes that have data of their own.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_RESULT(VType_Integer, "number of planes, 0 to 16; planes in unused bits of the pixels do not count")
RADVEX_ERRORS("PathNotValidated", "OpenFileError")

RADVEX_FUNCTION(CloseReader, "Closes the file of a path. It need not be open.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path as it was given to the function that opened the file")
RADVEX_RESULT(VType_Undef, "")
RADVEX_ERRORS()

RADVEX_FUNCTION(ClearCache, "Closes all files.")
RADVEX_RESULT(VType_Undef, "")
RADVEX_ERRORS()

RADVEX_SECTION("Attributes",
    "A path that ends in \"DICOMDIR\" or \"dicomdir\" gives the attributes of the directory file itself. In results an "
    "attribute is a node named by its keyword, or by gggg_eeee in lower-case hexadecimal when the dictionary does not "
    "know it. Its value is an integer or a real for binary numbers, and a list of them for several; an integer tensor "
    "for bytes and words; a list of one unnamed store for each item of a "
    "sequence; and text for everything else, with several values joined by \\. PixelData and OverlayData (of the first "
    "overlay) are a list of one numeric array for each frame, [row][column], or [row][column][sample] or "
    "[sample][row][column] for colour, as they are stored. An attribute that the file does not have gives no node.")

RADVEX_FUNCTION(ReadMetadata, "Reads attributes by keyword.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file or a directory file")
RADVEX_ARGUMENT(names, VType_DataStore, "list of keywords, as texts")
RADVEX_ARGUMENT(validate, VType_Boolean, "true to leave out values that do not fit their value representation")
RADVEX_RESULT(VType_DataStore, "attributes in the order of the names")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "InvalidTagName", "FunctionError", "DimensionsError",
              "TensorNewError", "NumericArrayNewError")

RADVEX_FUNCTION(ReadMetadataIntTags,
    "Reads attributes by number, also those that the dictionary does not know. Values that do not fit their value "
    "representation are left out.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file or a directory file")
RADVEX_ARGUMENT(numbers, VType_DataStore,
    "list of lists of two texts: group and element in hexadecimal. The inner lists are consumed")
RADVEX_RESULT(VType_DataStore, "attributes in the order of the numbers")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "FunctionError", "DimensionsError", "TensorNewError",
              "NumericArrayNewError")

RADVEX_FUNCTION(ReadAllMetadata, "Reads all attributes but group lengths: meta information, dataset, pixels, overlay.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file or a directory file")
RADVEX_ARGUMENT(excluded, VType_DataStore,
    "list of keywords to leave out at every depth, as texts; sequences stay, without what is left out of them")
RADVEX_ARGUMENT(validate, VType_Boolean, "true to leave out values that do not fit their value representation")
RADVEX_RESULT(VType_DataStore, "attributes in the order of the file")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "FunctionError", "DimensionsError", "TensorNewError",
              "NumericArrayNewError")

RADVEX_SECTION("Dictionary", "These functions read no file.")

RADVEX_FUNCTION(ReadVRName, "Looks up value representations by keyword.")
RADVEX_ARGUMENT(names, VType_DataStore, "list of keywords, as texts")
RADVEX_RESULT(VType_DataStore, "for each name a text of that name: the value representation, UN for an unknown name")
RADVEX_ERRORS()

RADVEX_FUNCTION(ReadVRNameIntTags, "Looks up value representations by number.")
RADVEX_ARGUMENT(numbers, VType_DataStore,
    "list of lists of two texts: group and element in hexadecimal. The inner lists are consumed")
RADVEX_RESULT(VType_DataStore, "list of unnamed texts: the value representations in the order of the numbers")
RADVEX_ERRORS("FunctionError")

RADVEX_FUNCTION(GetGroupElemNumbers, "Looks up the number of a keyword.")
RADVEX_ARGUMENT(keyword, VType_UTF8String, "a keyword; that of a retired attribute may lack its prefix RETIRED_")
RADVEX_RESULT(VType_DataStore,
    "list of two texts: group and element in decimal, unlike the hexadecimal numbers of every request")
RADVEX_ERRORS("InvalidTagName")

RADVEX_FUNCTION(GetKeyword, "Looks up DCMTK's name of a number.")
RADVEX_ARGUMENT(group, VType_UTF8String, "group in hexadecimal")
RADVEX_ARGUMENT(element, VType_UTF8String, "element in hexadecimal")
RADVEX_RESULT(VType_UTF8String, 
    "the keyword, with RETIRED_ in front of a retired one; \"Unknown Tag & Data\" for none")
RADVEX_ERRORS("FunctionError")

RADVEX_SECTION("Patient, study and series",
    "A pattern is an ECMAScript regular expression that has to match the whole of PatientID, StudyInstanceUID or "
    "SeriesInstanceUID; \".*\" lets everything pass. Only the studies of patients that pass are considered, and only "
    "the series of studies that pass. A malformed pattern, or one too large, gives FunctionError, but only after the "
    "file is open. A file gives one store of attributes by keyword, empty when it does not pass. A directory gives a "
    "tree of stores by PatientID, StudyInstanceUID and SeriesInstanceUID, or where a record has none by PatientName, "
    "StudyID and SeriesNumber.")

RADVEX_FUNCTION(ReadPatientInfo, "Reads what is known about the patient, or about the patients of a directory.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file or a directory file")
RADVEX_ARGUMENT(fields, VType_DataStore,
    "list of texts among Name, ID, BirthDate, BirthTime, Sex, BirthName, Age, Size, BMI, Weight, Address, Orientation "
    "and State")
RADVEX_ARGUMENT(patient, VType_UTF8String, "pattern on PatientID")
RADVEX_RESULT(VType_DataStore, "attributes by keyword; of a directory: patient -> attributes")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "InvalidTagName", "FunctionError")

RADVEX_FUNCTION(ReadStudyInfo, "Reads what is known about the study, or about the studies of a directory.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file or a directory file")
RADVEX_ARGUMENT(fields, VType_DataStore, "list of texts among ID, UID, Date, Time, Description and Modalities")
RADVEX_ARGUMENT(patient, VType_UTF8String, "pattern on PatientID")
RADVEX_ARGUMENT(study, VType_UTF8String, "pattern on StudyInstanceUID")
RADVEX_RESULT(VType_DataStore, "attributes by keyword; of a directory: patient -> study -> attributes")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "InvalidTagName", "FunctionError")

RADVEX_FUNCTION(ReadSeriesInfo, "Reads what is known about the series, or about all series of a directory.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file or a directory file")
RADVEX_ARGUMENT(fields, VType_DataStore, "list of texts among UID, Date, Time, Description, Number and Type")
RADVEX_ARGUMENT(patient, VType_UTF8String, "pattern on PatientID")
RADVEX_ARGUMENT(study, VType_UTF8String, "pattern on StudyInstanceUID")
RADVEX_ARGUMENT(series, VType_UTF8String, "pattern on SeriesInstanceUID")
RADVEX_RESULT(VType_DataStore, "attributes by keyword; of a directory: patient -> study -> series -> attributes")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "InvalidTagName", "FunctionError")

RADVEX_SECTION("Pictures",
    "A scaling is a real tensor of two numbers. A first number of 1 or more is the width of a window, the second one "
    "its centre. A first number around 0 means a window from minimum to maximum, around -1 the same without the "
    "extreme values, around -2 one window common to all pictures of a series, which only functions on directories "
    "compute, and anything else DCMTK's own rendering. Flags are DCMTK's image configuration flags (CIF_...), added "
    "up; 0 for none.")

RADVEX_FUNCTION(ReadImage,
    "Renders frames of a file as a picture. Pixels that cannot be rendered are copied as they are stored: all frames, "
    "without window and overlays.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_ARGUMENT(firstFrame, VType_Integer, "first frame, from 0")
RADVEX_ARGUMENT(frameCount, VType_Integer, "number of frames, 0 for all")
RADVEX_ARGUMENT(scaling, VType_Tensor, "scaling, see above")
RADVEX_ARGUMENT(showOverlays, VType_Boolean, "true to burn overlays into the picture")
RADVEX_ARGUMENT(flags, VType_Integer, "flags, see above")
RADVEX_RESULT(VType_Image,
    "[row][column], or [frame][row][column] for several frames, grey or RGB: 8 bits unsigned up to a depth of 8 bits, "
    "16 bits up to 16, else reals from 0 to 1. A copied picture has the type of its stored pixels")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "CreateFromNullError", "TensorTypeError", "InvalidPixelScaling",
              "ImageOpenError", "ImageReadError", "ImageNewError", "DimensionsError", "FunctionError")

RADVEX_FUNCTION(ReadImageData, "Renders frames of a file as arrays. What cannot be rendered is an error.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_ARGUMENT(firstFrame, VType_Integer, "first frame, from 0")
RADVEX_ARGUMENT(frameCount, VType_Integer, "number of frames, 0 for all")
RADVEX_ARGUMENT(scaling, VType_Tensor, "scaling, see above")
RADVEX_ARGUMENT(showOverlays, VType_Boolean, "true to burn overlays into the frames")
RADVEX_ARGUMENT(flags, VType_Integer, "flags, see above")
RADVEX_RESULT(VType_DataStore,
    "list of one numeric array for each frame: [row][column], and for colour [row][column][3], or [3][row][column] "
    "when the file stores its planes apart; 8 or 16 bits unsigned, or reals from 0 to 1")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "CreateFromNullError", "TensorTypeError", "InvalidPixelScaling",
              "ImageOpenError", "ImageReadError", "DimensionsError", "NumericArrayNewError",
              "NumericArrayConversionError")

RADVEX_FUNCTION(ReadIntermediatePixelData,
    "Reads values after the modality transformation and before any window, in the unit of the file's rescale. The "
    "first frame is always frame 0.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_ARGUMENT(flags, VType_Integer, "flags, see above")
RADVEX_ARGUMENT(frameCount, VType_Integer, "number of frames, 0 for all")
RADVEX_RESULT(VType_NumericArray,
    "[row][column], or [frame][row][column] for several frames: integers of 8, 16 or 32 bits, signed or unsigned, as "
    "the range of values needs. Colour gives only the first plane")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "ImageOpenError", "RawPixelReadError", "RawPixelCountError",
              "DimensionsError", "NumericArrayNewError")

RADVEX_FUNCTION(ReadOverlay, "Reads the first overlay plane.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_RESULT(VType_Image, "[row][column] of bits, in the plane's own size, of its first frame")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "ImageOpenError", "OverlayReadError", "DimensionsError",
              "ImageNewError")

RADVEX_FUNCTION(ReadOverlays, "Reads all overlay planes.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a DICOM file")
RADVEX_RESULT(VType_DataStore,
    "one image for each plane, named \"1\", \"2\" and on: [row][column] of bits. Empty without planes")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "ImageOpenError", "OverlayReadError", "DimensionsError",
              "ImageNewError")

RADVEX_SECTION("Directories",
    "The path is that of a DICOMDIR: its last eight characters are taken for the file's name, and the referenced files "
    "are looked for beside it. Keys, patterns and scalings are as above. In the results of Read2DImagesDir and "
    "Read3DImage a series that does not pass is an empty store, so that all series of a study can be seen; files are "
    "in the order of InstanceNumber, and those that cannot be opened are left out.")

RADVEX_FUNCTION(ReadDICOMDIRStructure, "Reads which files a directory references. No referenced file is opened.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a directory file")
RADVEX_ARGUMENT(patient, VType_UTF8String, "pattern on PatientID")
RADVEX_ARGUMENT(study, VType_UTF8String, "pattern on StudyInstanceUID")
RADVEX_ARGUMENT(series, VType_UTF8String, "pattern on SeriesInstanceUID")
RADVEX_ARGUMENT(absolute, VType_Boolean, "true for paths with the directory's own in front, false for relative ones")
RADVEX_RESULT(VType_DataStore, "patient -> study -> series -> list of paths, in the order of the directory")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "FunctionError")

RADVEX_FUNCTION(Read2DImagesDir, "Renders the pictures of every series. What cannot be rendered is left out.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a directory file")
RADVEX_ARGUMENT(scaling, VType_Tensor, "scaling, see above")
RADVEX_ARGUMENT(showOverlays, VType_Boolean, "true to burn overlays into the pictures")
RADVEX_ARGUMENT(flags, VType_Integer, "flags, see above")
RADVEX_ARGUMENT(patient, VType_UTF8String, "pattern on PatientID")
RADVEX_ARGUMENT(study, VType_UTF8String, "pattern on StudyInstanceUID")
RADVEX_ARGUMENT(series, VType_UTF8String, "pattern on SeriesInstanceUID")
RADVEX_RESULT(VType_DataStore,
    "patient -> study -> series -> images as of ReadImage, each named by the path of its file")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "CreateFromNullError", "TensorTypeError", "InvalidPixelScaling",
              "ImageOpenError", "FunctionError")

RADVEX_FUNCTION(Read3DImage,
    "Stacks the first frames of the files of every series to a volume, without overlays. The positions of the slices "
    "in space are ignored. Each slice starts as many bytes behind the one before as that one has at its own depth: in "
    "a series of mixed depths, or of grey and colour, slices do not lie where the volume's shape says. Hosts have to "
    "check that all files are alike, or read the pictures one by one.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a directory file")
RADVEX_ARGUMENT(patient, VType_UTF8String, "pattern on PatientID")
RADVEX_ARGUMENT(study, VType_UTF8String, "pattern on StudyInstanceUID")
RADVEX_ARGUMENT(series, VType_UTF8String, "pattern on SeriesInstanceUID")
RADVEX_ARGUMENT(scaling, VType_Tensor, "scaling, see above")
RADVEX_ARGUMENT(flags, VType_Integer, "flags, see above")
RADVEX_RESULT(VType_DataStore,
    "patient -> study -> series -> image: [slice][row][column], or [slice][row][column][3] for colour; 8 bits unsigned "
    "when the first file has 8, else 16. Slice 0 has the lowest InstanceNumber")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "CreateFromNullError", "TensorTypeError", "InvalidPixelScaling",
              "NoFilesError", "ImageOpenError", "ImageDimensionsMismatch", "ImageReadError", "ImageNewError",
              "DimensionsError", "FunctionError")

RADVEX_FUNCTION(ReadMetadataRecursive, "Reads attributes by keyword from the files of a directory.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a directory file")
RADVEX_ARGUMENT(names, VType_DataStore, "list of keywords, as texts")
RADVEX_ARGUMENT(series, VType_UTF8String, "pattern on SeriesInstanceUID")
RADVEX_ARGUMENT(validate, VType_Boolean, "true to leave out values that do not fit their value representation")
RADVEX_RESULT(VType_DataStore,
    "one store for each file as of ReadMetadata, named by its path, in the order of the directory")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "InvalidTagName", "FunctionError", "DimensionsError",
              "TensorNewError", "NumericArrayNewError")

RADVEX_FUNCTION(ReadMetadataIntTagsRecursive,
    "Reads attributes by number from all files of a directory. Values that do not fit their value representation are "
    "left out.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a directory file")
RADVEX_ARGUMENT(numbers, VType_DataStore,
    "list of lists of two texts: group and element in hexadecimal. The inner lists are consumed")
RADVEX_RESULT(VType_DataStore,
    "one store for each file as of ReadMetadataIntTags, named by its path, in the order of the directory")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "FunctionError", "DimensionsError", "TensorNewError",
              "NumericArrayNewError")

RADVEX_FUNCTION(ReadAllMetadataRecursive, "Reads all attributes from the files of a directory.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path of a directory file")
RADVEX_ARGUMENT(excluded, VType_DataStore, "list of keywords to leave out at every depth, as texts")
RADVEX_ARGUMENT(series, VType_UTF8String, "pattern on SeriesInstanceUID")
RADVEX_ARGUMENT(validate, VType_Boolean, "true to leave out values that do not fit their value representation")
RADVEX_RESULT(VType_DataStore,
    "one store for each file as of ReadAllMetadata, named by its path, in the order of the directory")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "FunctionError", "DimensionsError", "TensorNewError",
              "NumericArrayNewError")

RADVEX_SECTION("Writing",
    "An existing file is replaced; a failed save may leave a part of the file. A default value is the value of an "
    "attribute that a file must have and an image does not determine. It applies to the files that are written from "
    "then on, until the library is unloaded.")

RADVEX_FUNCTION(WriteImage, "Writes an image as a new file: integers as Secondary Capture, reals as a Parametric Map.")
RADVEX_ARGUMENT(path, VType_UTF8String, "path to write")
RADVEX_ARGUMENT(image, VType_Image, "[row][column] or [frame][row][column], grey or colour")
RADVEX_ARGUMENT(metadata, VType_DataStore,
    "values by keyword: a text, or for a sequence a list of lists like this one; of two values of one keyword the "
    "first one counts")
RADVEX_ARGUMENT(overlays, VType_DataStore, "list of bit images, one for each overlay, 16 at most")
RADVEX_ARGUMENT(compression, VType_UTF8String,
    "Uncompressed, JPEGLossless, JPEGLosslessNonhierarchical, JPEGLossy8bit, JPEGLossy12bit, JPEG-LSLossless, "
    "JPEG-LSLossy or RLE")
RADVEX_ARGUMENT(firstParameter, VType_Integer,
    "JPEGLosslessNonhierarchical: prediction, 1 to 7; JPEGLossy8bit and JPEGLossy12bit: quality, 0 to 100; "
    "JPEG-LSLossy: largest deviation of a sample; else not used. Not read for Uncompressed")
RADVEX_ARGUMENT(secondParameter, VType_Integer,
    "JPEGLossless and JPEGLosslessNonhierarchical: point transform; else not used. Not read for Uncompressed")
RADVEX_ARGUMENT(overlayProperties, VType_DataStore,
    "lists of texts, named by the number of an overlay, from 1. The texts are named OriginRow, OriginColumn, "
    "ImageFrameOrigin, OverlayType, OverlayDescription, OverlaySubtype or OverlayLabel")
RADVEX_RESULT(VType_Undef, "")
RADVEX_ERRORS("PathNotValidated", "VArgumentImageError", "ImageTypeError", "ImageWriteError", "TagWriteError",
              "ReservedTagError", "InvalidTagName", "InvalidTagValue", "SequenceTagVRError", "VArgumentTypeError",
              "OverlayCountError", "OverlayPropertyError", "FunctionError")

RADVEX_FUNCTION(DicomAnonymize,
    "Copies a file with new values for the attributes that are named, wherever they stand, new UIDs, and a random "
    "PatientID and StudyID. Nothing is removed.")
RADVEX_ARGUMENT(input, VType_UTF8String, "path to read; the host is asked whether it may be written")
RADVEX_ARGUMENT(output, VType_UTF8String, "path to write, which may be the same")
RADVEX_ARGUMENT(replacements, VType_DataStore, "new values by keyword, as texts; absent attributes stay absent")
RADVEX_RESULT(VType_Undef, "")
RADVEX_ERRORS("PathNotValidated", "OpenFileError", "InvalidTagName", "AnonymizationError", "TagWriteError",
              "ImageWriteError", "FunctionError")

RADVEX_FUNCTION(SetDefaultTagValue, "Sets the default value of an attribute.")
RADVEX_ARGUMENT(keyword, VType_UTF8String,
    "any keyword of the dictionary, even of an attribute for which no file takes a default value")
RADVEX_ARGUMENT(value, VType_UTF8String, "value for the files that are written from now on")
RADVEX_RESULT(VType_Undef, "")
RADVEX_ERRORS("InvalidTagName", "InvalidTagValue")

RADVEX_FUNCTION(GetDefaultTagValue, "Returns the default value of an attribute.")
RADVEX_ARGUMENT(keyword, VType_UTF8String, "keyword of an attribute that has a default value")
RADVEX_RESULT(VType_UTF8String, "the value, which may be empty")
RADVEX_ERRORS("InvalidTagName")

RADVEX_FUNCTION(GetDictionaryInfo, "Tells whether the dictionary of keywords is loaded, and how many entries it has.")
RADVEX_RESULT(VType_DataStore,
    "LoadedQ, a boolean, and the integers EntryCount, NormalEntryCount, RepeatingEntryCount and SkeletonEntryCount")
RADVEX_ERRORS()

/* clang-format on */

#undef RADVEX_SECTION
#undef RADVEX_ENTRY
#undef RADVEX_FUNCTION
#undef RADVEX_ARGUMENT
#undef RADVEX_RESULT
#undef RADVEX_ERRORS
