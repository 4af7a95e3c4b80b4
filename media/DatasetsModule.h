#pragma once

namespace radvex::media {

/// An entry of radvexDatasets.so, which is loaded when it is first needed and stays. What makes or rewrites DICOM files
/// outside of the library is in there: DCMTK takes longer to load than the rest of the command together, and most runs
/// reach it through the library alone or not at all.
/// @param purpose  what the caller is about to do, for the sentence of an error: "Folders cannot be indexed"
/// @throws FileError  the module is not where this program expects it
void* datasetsEntry(const char* name, const char* purpose);

} // namespace radvex::media
