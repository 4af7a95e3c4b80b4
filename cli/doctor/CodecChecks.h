#pragma once

#include <string>
#include <vector>

#include "host/Host.h"
#include "workers/Workers.h"

namespace radvex::cli {

/// What became of one small picture.
struct CodecCheck {
    std::string name{};    ///< of the compression, as `radvex write --compress` takes it, or of what is only decoded
    std::string meaning{}; ///< "written and read again without a change"
    std::string problem{}; ///< a sentence; empty when all is well
};

/// Writes a picture in each compression that the library has, reads it again and compares the samples: all of them when
/// nothing may be lost, within a bound otherwise. Decodes a stored picture in each compression that the library only
/// reads. Each is done by a process of its own, so that one that crashes is a problem and not the end.
/// @param folder  for the files, which the caller removes
std::vector<CodecCheck> checkCodecs(velmora::Host& host, const std::string& folder, const workers::Progress& progress);

} // namespace radvex::cli
