#pragma once

#include <string>
#include <vector>

namespace radvex::python {

/// The paths in a file that is open for reading: each with a null behind. @throws FileError
std::vector<std::string> pathsIn(int descriptor);

} // namespace radvex::python
