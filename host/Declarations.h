#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace velmora {

/// What people are told of a function. All texts live as long as the program.
struct Description {
    struct Argument {
        std::string_view name;
        std::string_view meaning;
    };

    std::size_t section = 0; ///< index in radvexSections()
    std::string_view meaning{};
    std::vector<Argument> arguments{};      ///< one for each kind in Declaration::arguments
    std::string_view result{};              ///< meaning and shape; empty without a result
    std::vector<std::string_view> errors{}; ///< names, beside those that any function can return
};

/// What a host has to know of an exported function before it can call it, since cells carry no type: the kinds of
/// its arguments, and the kind of its result (VType_Undef for none).
struct Declaration {
    std::string name;
    std::vector<vint> arguments;
    vint result;
    Description description{}; ///< no call needs it; it may be left out
};

/// A function that is no VelmoraFunction: the host calls it by its own C signature.
struct EntryPoint {
    std::size_t section; ///< index in radvexSections()
    std::string_view name;
    std::string_view result;     ///< C type
    std::string_view parameters; ///< in parentheses
    std::string_view meaning;
};

/// A group of functions, and what holds for all of them.
struct Section {
    std::string_view title;
    std::string_view text;
};

/// The functions of Radvex, in the order of velmora/RadvexFunctions.h, which they come from.
const std::vector<Declaration>& radvexDeclarations();
const std::vector<EntryPoint>& radvexEntryPoints();
const std::vector<Section>& radvexSections();

} // namespace velmora
