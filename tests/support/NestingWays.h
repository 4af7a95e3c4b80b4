#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace radvex::test {

/// A way to make DCMTK's parser recurse: the bytes of a file with so many levels of sequences.
struct NestingWay {
    std::string name;
    std::function<std::string(std::size_t)> file;
    /// DCMTK loads the file without an error.
    bool isLoaded = true;
};

/// All transfer syntaxes and lengths, with and without meta information, and what DCMTK only takes for sequences.
const std::vector<NestingWay>& nestingWays();

} // namespace radvex::test
