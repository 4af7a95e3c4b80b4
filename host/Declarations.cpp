#include "host/Declarations.h"

#include <initializer_list>

namespace velmora {

namespace {

/// Collects the list line by line. Arguments, result and errors belong to the last function before them.
struct FunctionList {
    std::vector<Section> sections{};
    std::vector<EntryPoint> entryPoints{};
    std::vector<Declaration> functions{};

    void addFunction(const char* name, std::string_view meaning) {
        functions.push_back({name, {}, VType_Undef});
        functions.back().description.section = sections.size() - 1;
        functions.back().description.meaning = meaning;
    }
    void addArgument(std::string_view name, vint kind, std::string_view meaning) {
        functions.back().arguments.push_back(kind);
        functions.back().description.arguments.push_back({name, meaning});
    }
    void setResult(vint kind, std::string_view meaning) {
        functions.back().result = kind;
        functions.back().description.result = meaning;
    }
    void setErrors(std::initializer_list<std::string_view> names) { functions.back().description.errors = names; }
};

FunctionList readList() {
    FunctionList list;
#define RADVEX_SECTION(title, text) list.sections.push_back({title, text});
#define RADVEX_ENTRY(name, result, parameters, meaning)                                                                \
    list.entryPoints.push_back({list.sections.size() - 1, #name, #result, #parameters, meaning});
#define RADVEX_FUNCTION(name, meaning) list.addFunction(#name, meaning);
#define RADVEX_ARGUMENT(name, kind, meaning) list.addArgument(#name, kind, meaning);
#define RADVEX_RESULT(kind, meaning) list.setResult(kind, meaning);
#define RADVEX_ERRORS(...) list.setErrors({__VA_ARGS__});
#include "velmora/RadvexFunctions.h"
    return list;
}

const FunctionList& functionList() {
    static const FunctionList list = readList();
    return list;
}

} // namespace

const std::vector<Declaration>& radvexDeclarations() { return functionList().functions; }

const std::vector<EntryPoint>& radvexEntryPoints() { return functionList().entryPoints; }

const std::vector<Section>& radvexSections() { return functionList().sections; }

} // namespace velmora
