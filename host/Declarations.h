#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "velmora/VelmoraLibrary.h"

namespace velmora {

/// What documentation says about a function. All texts live as long as the program.
struct Description {
    struct Argument {
        std::string_view name;
        std::string_view meaning;
    };

    std::size_t section = 0; ///< index in radvexSections()
    std::string_view meaning{};
    std::vector<Argument> arguments{};      ///< as many as Declaration::arguments
    std::string_view result{};              ///< meaning and shape; empty for a function without result
    std::vector<std::string_view> errors{}; ///< names, without those that every function can return
};

/// What a host has to know about an exported function to call it, since cells carry no type: the kinds of its arguments
/// and of its result (VType_Undef for none).
struct Declaration {
    std::string name;
    std::vector<vint> arguments;
    vint result;
    Description description{}; ///< not needed for calls
};

/// An exported function with a C signature of its own.
struct EntryPoint {
    std::size_t section; ///< index in radvexSections()
    std::string_view name;
    std::string_view result;     ///< C type
    std::string_view parameters; ///< in parentheses
    std::string_view meaning;
};

/// A group of functions, with what applies to all of them.
struct Section {
    std::string_view title;
    std::string_view text;
};

/// The functions of Radvex, from velmora/RadvexFunctions.h and in its order.
const std::vector<Declaration>& radvexDeclarations();
const std::vector<EntryPoint>& radvexEntryPoints();
const std::vector<Section>& radvexSections();

} // namespace velmora
