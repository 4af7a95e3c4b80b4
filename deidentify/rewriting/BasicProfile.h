#pragma once

#include "deidentify/Anonymization.h"

namespace radvex::deidentify {

/// The basic profile of confidentiality (PS3.15 annex E) as far as new values can express it: where it asks for an
/// empty or a dummy value that is given; where it removes a text the text is emptied. Identifiers and UIDs are left
/// out, since every file gets new ones anyway.
Profile basicProfileRules();

} // namespace radvex::deidentify
