#pragma once

#include "deidentify/Anonymization.h"

namespace radvex::deidentify {

/// @throws std::runtime_error  a sentence
std::unique_ptr<Anonymization> startAnonymization(AnonymizationSettings settings);

} // namespace radvex::deidentify
