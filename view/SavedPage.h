#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "view/Answers.h"
#include "view/Page.h"

namespace radvex::view {

/// The page as one HTML file that needs no server: it holds the answers about all series but their volumes.
/// @param most  bytes of the file
/// @throws Error  a sentence: the file would be larger
std::string savedPage(Answers& answers, const std::vector<Asset>& page, std::size_t most);

} // namespace radvex::view
