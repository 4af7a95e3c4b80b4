#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "bridge/containers/DataList.h"
#include "dcmtk/config/osconfig.h"

#include "dcmtk/dcmdata/dcdict.h"
#include "dcmtk/dcmdata/dcelem.h"
#include "dcmtk/dcmdata/dcitem.h"
#include "dcmtk/dcmdata/dctag.h"

namespace radvex {

/// A result tree, or a part of one: nodes of any kind.
using ResultList = GTU::DataList<GTU::VArgumentType::VArgument, GTU::Passing::Automatic>;
/// Keywords to leave out. A multiset, so that a caller's exclusions can be told from one's own.
using ExcludedTags = std::unordered_multiset<std::string>;

// ---- Tag naming (TagNaming.cpp) -------------------------------------------------------------------------------------

/// DCMTK's compiled-in dictionary (PS3.6), for every look-up of a keyword. No file and no setting changes it.
extern const DcmDataDictionary GeneralInfoMap;

/// Key of a tag in every result: its keyword without "RETIRED_", or `gggg_eeee` in lower-case hexadecimal for a tag
/// that the dictionary does not know and when `numeric` is asked for.
std::string getTagNameAsString(DcmTag tag, bool numeric);

/// Tag of a keyword, retired ones by their plain keyword too. A keyword of a repeating group gives its lowest group.
/// @throws GantryError  InvalidTagName (the name)
DcmTagKey getTagKey(const DcmDataDictionary& dictionary, const std::string& name);

/// Low 16 bits of a hexadecimal number, read as std::stoi does.
/// @throws std::invalid_argument, std::out_of_range  "stoi"
Uint16 stringToUint16(const std::string& text);

/// The local date and time as DICOM writes them: YYYYMMDD and HHMMSS (PS3.5 section 6.2).
std::string getCurrentDateAsDcmDT();
std::string getCurrentTimeAsDcmTM();

// ---- Element conversion (ElementConversion.cpp) ---------------------------------------------------------------------

/// Adds one element as a node: US, SS, UL, SL as Integer, FL, FD as Real (several values as a nested list), OB and OW
/// as one array of bytes or words, everything else as DCMTK's text. An UL beyond 2^31 keeps its bits and reads
/// negative. What has no value, or DCMTK gives none for, leaves no node.
///
/// @param useTensors   OB and OW as integer tensor, else as numeric array of u8 or u16
/// @param named        names the node by its key; OB and OW are always named
/// @param numericName  the key is the number
/// @throws GantryError  CreateFromNullError, TensorNewError, NumericArrayNewError, DimensionsError
void saveDcmElementToDataList(ResultList& list, DcmElement* element, bool useTensors, bool named, bool numericName);

// ---- Hierarchical metadata (HierarchicalMetadata.cpp) ---------------------------------------------------------------

/// Walks a dataset, meta information or sequence without recursion. A dataset or item becomes a store of named nodes,
/// a sequence a named node with one unnamed node for each item.
///
/// @param excluded  keys of leaves to leave out at every depth; a sequence is entered all the same
/// @param nested    the root becomes one node of `list`, named by its key; else its contents go into `list`
/// @param validate  keeps only leaves that pass DCMTK's value check
/// @throws GantryError  CreateFromNullError, and those of saveDcmElementToDataList
void saveHierarchicalDatasetToDataList(ResultList& list, DcmObject* object, const ExcludedTags& excluded, bool nested,
                                       bool validate);

/// Whether DCMTK's check takes the value for one that its representation allows, in any number.
bool hasValidValue(DcmElement& element);

// ---- Graphic metadata (GraphicMetadata.cpp) -------------------------------------------------------------------------

/// Adds Pixel Data or Overlay Data of group 6000 as one node with one unnamed numeric array for each frame: pixels as
/// u8 (BitsAllocated 8) or u16 of [row][column], [row][column][sample] or [sample][row][column]; overlay pixels as s8,
/// 0 or 1, of [row][column]. Stored values: nothing is rendered or rescaled.
///
/// Adds nothing when an attribute that tells the shape is missing, or when the shape promises over 256 MiB more than
/// the value holds. What the value does not hold is 0.
/// @throws std::invalid_argument, std::out_of_range  a number of frames that is no number
/// @throws GantryError  DimensionsError for a frame beyond `vint` elements; NumericArrayNewError, CreateFromNullError
void saveGraphicMetadataToDataList(ResultList& list, DcmItem* item, DcmTag tag, bool numericName);

} // namespace radvex
