#pragma once

#include <string>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace velmora {

/// What a host has to know of an exported function before it can call it, since cells carry no type: the kinds of
/// its arguments, and the kind of its result (VType_Undef for none).
struct Declaration {
    std::string name;
    std::vector<vint> arguments;
    vint result;
};

/// The functions of Radvex.
const std::vector<Declaration>& radvexDeclarations();

} // namespace velmora
