#pragma once

#include "velmora/VelmoraLibrary.h"

// The functions that the library exports. Their arguments are told at each; an index is a place in the argument
// cells, counted from 0. All return 0 or the id of a registered error.

#define RADVEX_EXPORT extern "C" __attribute__((visibility("default")))
#define RADVEX_FUNCTION(name)                                                                                          \
    RADVEX_EXPORT int name(VelmoraLibraryData libData, vint argc, VArgument* args, VArgument res)

/// Stores the host table, registers the errors, silences DCMTK and registers its codecs. Returns 0.
RADVEX_EXPORT int VelmoraLibrary_initialize(VelmoraLibraryData libData);
/// Removes the codecs and closes all readers. The error table and the host table stay.
RADVEX_EXPORT void VelmoraLibrary_uninitialize(VelmoraLibraryData libData);

/// Answers an empty list on the link by an Association of all errors: name -> {id, message}.
RADVEX_EXPORT int sendRegisteredErrors(VelmoraLibraryData libData, TTLink link);

/// 0 text: what stands in front of the parameters' symbol. Result, text: the whole name of that symbol.
RADVEX_FUNCTION(setExceptionDetailsContext);

/// 0 text: path. Result, integer: NumberOfFrames, 0 when the file does not say.
RADVEX_FUNCTION(GetFrameCount);
/// 0 text: path. Result, integer: RepresentativeFrameNumber, 0 when the file does not say.
RADVEX_FUNCTION(GetRepresentativeFrameIndex);
/// 0 text: path. Result, integer: number of overlay planes with data of their own.
RADVEX_FUNCTION(GetOverlayCount);
/// 0 text: path. Forgets the reader of that path; one that is not open is no error.
RADVEX_FUNCTION(CloseReader);
/// Forgets all readers.
RADVEX_FUNCTION(ClearCache);

// Attributes. "names" are a list of keywords, "numbers" a list of lists of two texts, group and element in hexadecimal.
// A path that ends in "DICOMDIR" or "dicomdir" gives the attributes of the directory file itself. Results are stores of
// named nodes; see saveHierarchicalDatasetToDataList for their shape.

/// 0 text: path; 1 names; 2 boolean: only valid values.
RADVEX_FUNCTION(ReadMetadata);
/// 0 text: path; 1 numbers. Only valid values.
RADVEX_FUNCTION(ReadMetadataIntTags);
/// 0 text: path; 1 names to leave out; 2 boolean: only valid values.
RADVEX_FUNCTION(ReadAllMetadata);

/// 0 names. Result, store: for each name its value representation, "UN" for an unknown one.
RADVEX_FUNCTION(ReadVRName);
/// 0 numbers. Result, store: value representations without names.
RADVEX_FUNCTION(ReadVRNameIntTags);
/// 0 text: keyword. Result, store: group and element as two texts in decimal.
RADVEX_FUNCTION(GetGroupElemNumbers);
/// 0 text: group; 1 text: element, both in hexadecimal. Result, text: DCMTK's name of the tag.
RADVEX_FUNCTION(GetKeyword);

// Patient, study and series. "fields" are a list of the keys of PATIENT_INFO_MAP and its like; patterns have to match
// the whole of PatientID, StudyInstanceUID and SeriesInstanceUID.

/// 0 text: path; 1 fields; 2 text: patient pattern.
RADVEX_FUNCTION(ReadPatientInfo);
/// 0 text: path; 1 fields; 2 text: patient pattern; 3 text: study pattern.
RADVEX_FUNCTION(ReadStudyInfo);
/// 0 text: path; 1 fields; 2 text: patient pattern; 3 text: study pattern; 4 text: series pattern.
RADVEX_FUNCTION(ReadSeriesInfo);

// Pictures. "scaling" is a real tensor of two numbers: {width, centre} of a window for a width of 1 or more, else a
// method: around 0 from minimum to maximum, around -1 the same without extremes, below -2.5 no window.

/// 0 text: path; 1 integer: first frame, from 0; 2 integer: number of frames, 0 for all; 3 tensor: scaling;
/// 4 boolean: burn overlays in; 5 integer: DCMTK's image flags. Result, image.
RADVEX_FUNCTION(ReadImage);
/// The same arguments. Result, store: one numeric array for each frame.
RADVEX_FUNCTION(ReadImageData);
/// 0 text: path; 1 integer: DCMTK's image flags; 2 integer: number of frames, 0 for all. Result, numeric array: values
/// after the modality transformation and before any window.
RADVEX_FUNCTION(ReadIntermediatePixelData);
/// 0 text: path. Result, image: the first overlay plane.
RADVEX_FUNCTION(ReadOverlay);
/// 0 text: path. Result, store: one image for each overlay plane, named "1", "2" and on.
RADVEX_FUNCTION(ReadOverlays);

// Directories: the path of a DICOMDIR, whose name is the last eight characters of the path. Patterns have to match the
// whole of PatientID, StudyInstanceUID and SeriesInstanceUID. Scaling as above, and around -2 a window common to all
// pictures of a series. The shapes of the results are those of DcmDirReader.

/// 0 text: path; 1, 2, 3 text: patient, study and series pattern; 4 boolean: paths with the directory's own in front.
/// Result, store: patients, studies and series down to lists of file names.
RADVEX_FUNCTION(ReadDICOMDIRStructure);
/// 0 text: path; 1 tensor: scaling; 2 boolean: burn overlays in; 3 integer: DCMTK's image flags; 4, 5, 6 text: patient,
/// study and series pattern. Result, store: the pictures of every series.
RADVEX_FUNCTION(Read2DImagesDir);
/// 0 text: path; 1, 2, 3 text: patient, study and series pattern; 4 tensor: scaling; 5 integer: DCMTK's image flags.
/// Result, store: a volume for every series.
RADVEX_FUNCTION(Read3DImage);
/// 0 text: path; 1 names; 2 text: series pattern; 3 boolean: only valid values. Result, store: one store for each file.
RADVEX_FUNCTION(ReadMetadataRecursive);
/// 0 text: path; 1 numbers. Only valid values, all files. Result as above.
RADVEX_FUNCTION(ReadMetadataIntTagsRecursive);
/// 0 text: path; 1 names to leave out; 2 text: series pattern; 3 boolean: only valid values. Result as above.
RADVEX_FUNCTION(ReadAllMetadataRecursive);
// Writing. A file that exists is replaced; of one that failed while it was saved a part may be left.
/// 0 text: path to write; 1 image; 2 store: metadata by keyword, texts, or lists of lists for sequences; 3 store: bit
/// images, one for each overlay; 4 text: "Uncompressed" or the name of a compression; 5 and 6 integers: its parameters
/// (not read for "Uncompressed"); 7 store: for overlays, by number from 1, lists of texts by property. No result.
RADVEX_FUNCTION(WriteImage);
/// 0 text: path to read; 1 text: path to write, which may be the same; 2 store: new values by keyword. No result.
RADVEX_FUNCTION(DicomAnonymize);
/// 0 text: keyword; 1 text: value for the files that are written from now on. No result.
RADVEX_FUNCTION(SetDefaultTagValue);
/// 0 text: keyword. Result, text.
RADVEX_FUNCTION(GetDefaultTagValue);
/// No arguments. Result, store: what the dictionary of keywords holds.
RADVEX_FUNCTION(GetDictionaryInfo);
