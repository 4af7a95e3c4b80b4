#pragma once

#include <cstddef>
#include <string>

#include "host/Host.h"

namespace radvex::view {

/// What a reading process does: answers requests until the socket is closed. Requests are JSON objects with a "job":
///
///   "tree"      {"path", "series"}            patients, studies and series of a medium or a folder, with their files
///   "series"    {"files"}                     slices and volumes of a series, see SeriesReading
///   "volume"    {"files", "volume", "most"}   one of them as a NIfTI file
///   "values"    {"file", "frame"}             the samples of a frame, see FrameReader
///   "overlays"  {"file", "frame"}
///   "preview"   {"file", "frame"}
///   "tags"      {"file"}                      all attributes, see ElementTable
///
/// An answer with "error" has a sentence. What a file does to this process is the server's to say.
/// @param jobs  processes that read the files of a folder or of a series
void answerRequests(velmora::Host& host, int socket, std::size_t jobs);

} // namespace radvex::view
