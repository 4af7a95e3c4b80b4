#include "bridge/LibraryData.h"

#include "bridge/ErrorManager.h"

namespace GTU {

VelmoraLibraryData LibraryData::API() {
    if (!hasLibraryData()) {
        ErrorManager::throwException(ErrorName::LibDataError);
    }
    return libData;
}

void validatePath(const std::string& path, std::ios_base::openmode mode) {
    const char access = (mode & (std::ios_base::out | std::ios_base::app)) != 0 ? 'W' : 'R';
    if (LibraryData::API()->validatePath(path.c_str(), access) == 0) {
        ErrorManager::throwException(ErrorName::PathNotValidated, path);
    }
}

} // namespace GTU
