#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <sstream>

#include "velmora/VelmoraLibrary.h"

namespace {

std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    std::array<char, 4096> buffer{};
    while (pipe != nullptr && fgets(buffer.data(), buffer.size(), pipe.get()) != nullptr) {
        output += buffer.data();
    }
    return output;
}

/// The names in the list of functions.
const std::set<std::string> kExports{
#define RADVEX_ENTRY(name, result, parameters, meaning) #name,
#define RADVEX_FUNCTION(name, meaning) #name,
#include "velmora/RadvexFunctions.h"
};

} // namespace

TEST(SharedObject, ExportsItsFunctionsAndNothingElse) {
    std::istringstream lines(outputOf("nm -D --defined-only " RADVEX_LIBRARY));
    std::set<std::string> exported;
    std::string address;
    std::string type;
    for (std::string name; lines >> address >> type >> name;) {
        exported.insert(name);
    }
    EXPECT_EQ(exported, kExports);
    EXPECT_EQ(kExports.size(), 35U) << "a name that is gone from the list is gone for every host";
}

TEST(SharedObject, LooksForWhatItNeedsBesideItself) {
    const std::string dynamic = outputOf("readelf -d " RADVEX_LIBRARY);
    EXPECT_TRUE(std::regex_search(dynamic, std::regex(R"(runpath: \[\$ORIGIN\])"))) << dynamic;
}

TEST(SharedObject, NeedsTheLinkLibraryDcmtkOpenJpegAndTheRuntimesOnly) {
    const std::string dynamic = outputOf("readelf -d " RADVEX_LIBRARY);
    const std::regex needed(R"(\(NEEDED\).*\[([^\]]+)\])");
    const std::regex allowed(
        R"((libTT32i4|libdcmtk|libopenjp2|libz|libstdc\+\+|libgcc_s|libc|libm|libasan|libubsan)\.so(\..*)?|ld-linux.*)");
    for (auto match = std::sregex_iterator(dynamic.begin(), dynamic.end(), needed); match != std::sregex_iterator();
         ++match) {
        EXPECT_TRUE(std::regex_match((*match)[1].str(), allowed)) << (*match)[1];
    }
}
