#pragma once

#include <string_view>
#include <vector>

namespace radvex::deidentify {

/// The files confidentiality-2024b.tsv, additions-to-2024b.tsv and attribute-types.tsv, which the build puts into the
/// program.
extern const std::string_view kConfidentialityTable;
extern const std::string_view kAdditions;
extern const std::string_view kAttributeTypes;

/// The cells of each line that is no comment and no heading. Empty cells are kept.
std::vector<std::vector<std::string_view>> tableRows(std::string_view table);

} // namespace radvex::deidentify
