#pragma once

#include <string_view>

namespace radvex::deidentify {

/// Whether a folded word says nothing about a person even where it stands in the place of a name or an identifier:
/// names of test files and of those who wanted to give none are made of such words, and they are in most other texts.
bool isMeaningless(std::string_view foldedWord);

/// Whether a folded word goes before or after a name: "dr", "prof", "phd".
bool isTitle(std::string_view foldedWord);

/// Whether a folded word joins the words of a name: "von", "de". It is part of a name only beside another word of it.
bool isParticle(std::string_view foldedWord);

} // namespace radvex::deidentify
