// What a function does with something thrown that is no std::exception: most let it pass to the host, six turn it
// into 6.

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "host/CallFrame.h"
#include "host/Declarations.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"
#include "tests/support/TemporaryFolder.h"

using namespace radvex::test;
using namespace velmora;

namespace {

class GuardForms : public LibraryTest {
  protected:
    void SetUp() override {
        LibraryTest::SetUp();
        former = *host().services().table();
    }
    void TearDown() override {
        VelmoraLibraryRecord& table = *host().services().table();
        table = former;
        LibraryTest::TearDown();
    }

    /// Calls a function on a table of which every operation throws a number; the arguments are the host's.
    int callDirectly(const std::string& name, const std::vector<Value>& arguments) {
        VelmoraLibraryRecord& table = *host().services().table();
        stores = *table.dataStoreFunctions;
        stores.createDataStore = []() -> DataStore { throw 7; };
        stores.DataStore_getLength = [](DataStore) -> vint { throw 7; };
        table.dataStoreFunctions = &stores;
        table.validatePath = [](const char*, char) -> vbool { throw 7; };
        table.VTensor_getType = [](VTensor) -> vint { throw 7; };
        const auto function = reinterpret_cast<VelmoraFunction>(host().symbol(name));
        CallFrame frame(declarationOf(name), arguments);
        int code = 0;
        try {
            code = function(&table, frame.argc(), frame.args(), frame.res());
        } catch (...) {
            table = former;
            throw;
        }
        table = former;
        return code;
    }
    static const Declaration& declarationOf(const std::string& name) {
        const auto& all = radvexDeclarations();
        return *std::find_if(all.begin(), all.end(), [&](const Declaration& each) { return each.name == name; });
    }
    /// A value of each kind that makes the function ask the host something.
    static std::vector<Value> argumentsOf(const Declaration& declaration) {
        std::vector<Value> values;
        for (const vint kind : declaration.arguments) {
            switch (kind) {
            case VType_UTF8String: values.emplace_back("/a"); break;
            case VType_DataStore: values.emplace_back(Store::ofTexts({"Rows"})); break;
            case VType_Tensor: values.emplace_back(Tensor{std::vector<vint>{2}, std::vector<double>{0, 0}}); break;
            case VType_Boolean: values.emplace_back(false); break;
            default: values.emplace_back(0); break;
            }
        }
        return values;
    }

    VelmoraLibraryRecord former{};
    VelmoraDataStoreFunctions stores{};
};

} // namespace

TEST_F(GuardForms, LetANumberPassButForSix) {
    // These ask the host nothing that can fail.
    const std::set<std::string> silent{
        "CloseReader", "ClearCache",          "SetDefaultTagValue",        "GetDefaultTagValue",
        "GetKeyword",  "GetGroupElemNumbers", "setExceptionDetailsContext"};
    // The others of the six are setExceptionDetailsContext and, with a signature of its own, sendRegisteredErrors.
    const std::set<std::string> catchAll{"ReadIntermediatePixelData", "GetOverlayCount", "ReadDICOMDIRStructure",
                                         "GetDictionaryInfo"};
    std::size_t count = 0;
    for (const Declaration& declaration : radvexDeclarations()) {
        if (silent.count(declaration.name) != 0) {
            continue;
        }
        ++count;
        const std::vector<Value> arguments = argumentsOf(declaration);
        if (catchAll.count(declaration.name) != 0) {
            EXPECT_EQ(callDirectly(declaration.name, arguments), VELMORA_FUNCTION_ERROR) << declaration.name;
        } else {
            EXPECT_THROW((void)callDirectly(declaration.name, arguments), int) << declaration.name;
        }
    }
    EXPECT_EQ(count + silent.size(), radvexDeclarations().size());
}
