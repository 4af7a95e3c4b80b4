#pragma once

#include <functional>

namespace radvex {

/// Runs a body on a thread of its own, with a stack for recursion that a small stack of the caller has no room for,
/// and waits for its end. What the body throws is thrown here.
/// @throws std::bad_alloc  there is no room for such a thread
void onDeepStack(const std::function<void()>& body);

} // namespace radvex
