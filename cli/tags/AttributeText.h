#pragma once

#include <string>
#include <vector>

#include "cli/Terminal.h"
#include "cli/tags/FileAttributes.h"

namespace radvex::cli {

/// How attributes are printed as text.
struct TextForm {
    Look look{};
    bool whole = false; ///< no value is cut
};

/// Appends a line for each attribute, indented by level: what it is called, value representation, value.
void appendText(std::string& text, const std::vector<ShownAttribute>& attributes, const TextForm& form, int level = 0);

/// Appends a JSON object as formats::appendJson does. Empty attributes are "" for text and [] for numbers and bytes.
/// @param lists  whether texts of several values become lists
void appendJson(std::string& json, const std::vector<ShownAttribute>& attributes, bool lists);

} // namespace radvex::cli
