#pragma once

#include <cstddef>

#include "workers/Workers.h"

namespace radvex::workers {

/// Small pieces of work on many items, by other processes: several items at a time, since the talk between processes
/// may cost more than the work. Where a process ends, its items are done again one by one, so that the end is charged
/// to the one that it belongs to.
///
/// @param processes  at a time; 0: all is done in this process
/// @param work       of one item; each process is given ascending items
/// @param receive    in this process, once for each item and in their order
/// @throws as Workers::run
void forEachInBlocks(std::size_t processes, std::size_t count, const Workers::Work& work,
                     const Workers::Receive& receive);

} // namespace radvex::workers
