#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace radvex::media {

/// What an instance of a SOP class is, with its article: "a CT Image", "an RT Plan". The names are those of PS3.6,
/// table A-1, without "Storage". Empty for a class that is not in the table of those that people meet.
std::string instanceName(std::string_view sopClass);

/// The table: UIDs and names with their articles.
const std::vector<std::pair<std::string_view, std::string_view>>& instanceNames();

} // namespace radvex::media
