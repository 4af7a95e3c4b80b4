#pragma once

#include <functional>
#include <string>
#include <vector>

#include "velmora/Tether.h"

namespace tether::test {

/// One function of links that can fail, called with good arguments.
struct LinkCall {
    std::string name;
    /// Puts what the function needs; the marks and links that it needs are made and ended within `call`.
    std::function<void(TTLink link)> prepare;
    /// Gives non-zero for success, and leaves no buffer behind. A null link is passed on.
    std::function<int(TTLink link)> call;
    /// The function puts; otherwise it reads, or does neither.
    bool puts = false;
};

/// All put, get, transfer, packet and mark functions.
const std::vector<LinkCall>& linkCalls();

} // namespace tether::test
