#pragma once

#include <ios>
#include <string>

#include "velmora/VelmoraLibrary.h"

namespace GTU {

/// The host's table of services, kept for the whole process. All access to the host goes through this class.
class LibraryData {
  public:
    LibraryData() = delete;

    /// Stores the table, which may be null.
    static void setLibraryData(VelmoraLibraryData newLibData) { libData = newLibData; }
    static bool hasLibraryData() { return libData != nullptr; }

    /// The stored table, which may be null: errors must be thrown even without a table.
    static VelmoraLibraryData uncheckedAPI() { return libData; }

    /// The table, or one of its sub-tables.
    /// @throws GantryError  LibDataError when no table is set
    static VelmoraLibraryData API();
    static const VelmoraDataStoreFunctions* DataStoreAPI() { return API()->dataStoreFunctions; }
    static const VelmoraSparseArrayFunctions* SparseArrayAPI() { return API()->sparseArrayFunctions; }
    static const VelmoraImageFunctions* ImageAPI() { return API()->imageFunctions; }
    static const VelmoraNumericArrayFunctions* NumericArrayAPI() { return API()->numericArrayFunctions; }

  private:
    static inline VelmoraLibraryData libData = nullptr;
};

/// Asks the host whether `path` may be opened: for writing when `mode` holds `out` or `app`, else for reading.
/// @throws GantryError  PathNotValidated (the path)
void validatePath(const std::string& path, std::ios_base::openmode mode);

} // namespace GTU
