#pragma once

#include "host/Host.h"
#include "python/worker/Messages.h"
#include "python/worker/Request.h"

namespace radvex::python {

/// Sends {"tree": {"patients", "leftOut"}}: what lies on a medium or in a folder.
/// @throws Error, LibraryError
void sendTree(velmora::Host& host, const Request& request, const Messages& messages);

/// Sends {"volume"} for each volume with its samples, and {"refused"} for each series or volume that has none.
/// @throws Error, LibraryError
void sendVolumes(velmora::Host& host, const Request& request, Messages& messages);

/// Sends {"verdict"} for each series of a list, by its index "i": what its volumes would be, as far as attributes tell
/// it. Without samples: {"volumes", "findings"}, or {"refused"} with "end" if a file ended the process that read it, or
/// {"noPictures"}.
/// @throws Error
void sendVerdicts(velmora::Host& host, const Request& request, const Messages& messages);

/// Sends what lies below a folder: {"folder", "count", "digest", "problem"} for each folder, and behind it the bytes of
/// its files: name, size, time of the last change in nanoseconds, each with a null behind.
/// @throws Error
void sendFiles(const Request& request, const Messages& messages);

/// Sends {"count"} of the files below a folder, so far and at last; links are not counted. @throws Error
void sendCount(const Request& request, const Messages& messages);

/// Sends {"rows"}, their number, and behind it a JSON list of them, one for each file of a list, in its order: "dicom",
/// "notDicom" or "broken", the reason, the signal that ended the process that read it, with pixels the digest of the
/// stored values, and the values of the keywords. With pixels, a file may be "dicom" with a reason why those cannot be
/// read.
/// @throws Error
void sendRows(velmora::Host& host, const Request& request, const Messages& messages);

} // namespace radvex::python
