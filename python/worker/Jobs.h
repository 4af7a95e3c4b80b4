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

} // namespace radvex::python
