#pragma once

#include <cstddef>
#include <string>

#include "host/Host.h"

namespace radvex::view {

/// What a reading process does: answers requests until the socket is closed. Requests are JSON objects with a "job":
///
///   "tree"    {"path"}          patients, studies and series of a medium or a folder, with their files
///   "series"  {"files"}         the slices of a series, in the order of its volumes, and the verdict on its geometry
///   "values"  {"file", "frame"} the modality values of a frame from 0 as the body, row by row, or interleaved RGB
///   "tags"    {"file"}          all attributes, nested
///   "volume"  {"files"}         the body is a NIfTI file of the first volume of the series
///
/// An answer with "error" has a sentence. What a file does to this process is the server's to say.
/// @param jobs  processes that read the files of a folder or of a volume
void answerRequests(velmora::Host& host, int socket, std::size_t jobs);

} // namespace radvex::view
