#pragma once

namespace radvex::media {

/// An entry of radvexDatasets.so, which is loaded at the first call and stays loaded. The module makes or rewrites
/// DICOM files outside of the library. It is separate because DCMTK takes longer to load than the rest of the command
/// together, and most runs need it only through the library or not at all.
/// @param purpose  what fails without it, for the error: "Folders cannot be indexed"
/// @throws FileError  the module cannot be found or loaded
void* datasetsEntry(const char* name, const char* purpose);

} // namespace radvex::media
