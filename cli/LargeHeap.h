#pragma once

namespace radvex::cli {

/// Starts the program once more, with the allocator set so that large buffers come from huge pages and are kept from
/// one file to the next, when its command goes through the pixels of files. Mapping small pages anew is otherwise a
/// third of the time of an uncompressed volume. The allocator takes such settings from the environment at start only.
///
/// Returns when that is not wanted, has been done, or is not possible: the program then works as it is.
void startWithLargeHeap(char** arguments);

} // namespace radvex::cli
