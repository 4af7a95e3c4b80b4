#pragma once

#include <string>

#include "tests/support/HostTest.h"

namespace radvex::test {

/// A test of the operations that a library calls.
class HandleTest : public ServicesTest {
  protected:
    const VelmoraLibraryRecord& table() { return *services().table(); }
    const VelmoraImageFunctions& images() { return *table().imageFunctions; }
    const VelmoraNumericArrayFunctions& arrays() { return *table().numericArrayFunctions; }
    const VelmoraDataStoreFunctions& stores() { return *table().dataStoreFunctions; }

    VTensor makeTensor(vint type = VTensor_Integer, const std::vector<vint>& dimensions = {2, 3}) {
        VTensor tensor = nullptr;
        EXPECT_EQ(table().VTensor_new(type, static_cast<vint>(dimensions.size()), dimensions.data(), &tensor), 0);
        return tensor;
    }
    VNumericArray makeArray(vint type = VNumericArray_U8, const std::vector<vint>& dimensions = {2, 3}) {
        VNumericArray array = nullptr;
        EXPECT_EQ(arrays().VNumericArray_new(type, static_cast<vint>(dimensions.size()), dimensions.data(), &array), 0);
        return array;
    }
    /// 3 rows and 5 columns.
    VImage makeImage(vint type = VImage_U8, vint channels = 1) {
        VImage image = nullptr;
        EXPECT_EQ(images().VImage_new2D(5, 3, channels, type, VColorSpace_Automatic, 1, &image), 0);
        return image;
    }
    DataStore makeStore() { return stores().createDataStore(); }

    /// Expects that these violations, and no others, were recorded, that nothing is alive, and forgets them.
    void expectViolations(const std::vector<std::string>& expected) {
        EXPECT_EQ(velmora::ledger().violations(), expected);
        EXPECT_EQ(velmora::ledger().alive(), 0);
        velmora::ledger() = velmora::Ledger{};
    }
};

/// A handle of the wrong kind.
template <typename To, typename From>
To disguised(From handle) {
    return reinterpret_cast<To>(handle);
}

} // namespace radvex::test
