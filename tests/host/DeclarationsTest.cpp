// What our host knows of the library's functions, against the list that it comes from and against the library.

#include "host/Declarations.h"

#include <algorithm>
#include <set>

#include "tests/support/HostTest.h"

namespace {

using namespace velmora;

const Declaration& declarationOf(const std::string& name) {
    const auto& all = radvexDeclarations();
    const auto found = std::find_if(all.begin(), all.end(), [&](const auto& one) { return one.name == name; });
    if (found == all.end()) {
        throw std::out_of_range(name);
    }
    return *found;
}

/// A line of the list, as the macros give it.
struct Line {
    const char* name;
    vint kind;
};

/// Functions, arguments and results of the list, one after the other.
const std::vector<Line> kLines{
#define RADVEX_FUNCTION(name, meaning) {#name, -1},
#define RADVEX_ARGUMENT(name, kind, meaning) {#name, kind},
#define RADVEX_RESULT(kind, meaning) {"", kind},
#include "velmora/RadvexFunctions.h"
};

using Declarations = radvex::test::LibraryTest;

} // namespace

TEST_F(Declarations, AgreeWithTheList) {
    auto line = kLines.begin();
    for (const Declaration& function : radvexDeclarations()) {
        ASSERT_LE(function.arguments.size() + 2, static_cast<std::size_t>(kLines.end() - line));
        EXPECT_EQ((line++)->name, function.name);
        ASSERT_EQ(function.arguments.size(), function.description.arguments.size()) << function.name;
        for (std::size_t index = 0; index < function.arguments.size(); ++index, ++line) {
            EXPECT_EQ(line->name, function.description.arguments[index].name) << function.name;
            EXPECT_EQ(line->kind, function.arguments[index]) << function.name;
        }
        EXPECT_EQ(*line->name, '\0') << function.name << " has another number of arguments";
        EXPECT_EQ((line++)->kind, function.result) << function.name;
    }
    EXPECT_EQ(line, kLines.end());
}

TEST_F(Declarations, NameWhatTheLibraryExports) {
    EXPECT_EQ(radvexDeclarations().size(), 32U);
    EXPECT_EQ(radvexEntryPoints().size(), 3U);
    for (const Declaration& function : radvexDeclarations()) {
        EXPECT_NE(host().symbol(function.name), nullptr) << function.name;
    }
    for (const EntryPoint& entry : radvexEntryPoints()) {
        EXPECT_NE(host().symbol(std::string(entry.name)), nullptr) << entry.name;
    }
}

TEST_F(Declarations, NameErrorsThatTheLibraryRegisters) {
    std::set<std::string_view> registered;
    const auto errors = host().errors();
    for (const auto& error : errors) {
        registered.insert(error.name);
    }
    for (const Declaration& function : radvexDeclarations()) {
        for (const std::string_view name : function.description.errors) {
            EXPECT_TRUE(registered.contains(name)) << function.name << " names " << name;
        }
    }
}

TEST_F(Declarations, TellWhatEverythingMeans) {
    for (const Declaration& function : radvexDeclarations()) {
        EXPECT_LT(function.description.section, radvexSections().size()) << function.name;
        EXPECT_TRUE(function.description.meaning.ends_with('.')) << function.name;
        EXPECT_EQ(function.description.result.empty(), function.result == VType_Undef) << function.name;
        std::set<std::string_view> names;
        for (const auto& argument : function.description.arguments) {
            EXPECT_FALSE(argument.meaning.empty()) << function.name << ", " << argument.name;
            EXPECT_TRUE(names.insert(argument.name).second) << function.name << " has two of " << argument.name;
        }
    }
}

TEST_F(Declarations, KeepTheOrderOfArgumentsThatHostsRelyOn) {
    EXPECT_EQ(declarationOf("ReadImage").arguments, (std::vector<vint>{VType_UTF8String, VType_Integer, VType_Integer,
                                                                       VType_Tensor, VType_Boolean, VType_Integer}));
    EXPECT_EQ(declarationOf("Read2DImagesDir").arguments,
              (std::vector<vint>{VType_UTF8String, VType_Tensor, VType_Boolean, VType_Integer, VType_UTF8String,
                                 VType_UTF8String, VType_UTF8String}));
    EXPECT_EQ(declarationOf("WriteImage").arguments,
              (std::vector<vint>{VType_UTF8String, VType_Image, VType_DataStore, VType_DataStore, VType_UTF8String,
                                 VType_Integer, VType_Integer, VType_DataStore}));
    EXPECT_EQ(declarationOf("ReadIntermediatePixelData").result, VType_NumericArray);
}
