#pragma once

#include <functional>

namespace radvex::test {

/// Runs a body on a thread with a stack of 256 KiB and waits for its end. Under the sanitizers, whose frames are many
/// times as large, the stack has 4 MiB.
void onSmallStack(const std::function<void()>& body);

} // namespace radvex::test
