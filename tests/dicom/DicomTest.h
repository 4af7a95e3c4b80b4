#pragma once

// What tests of the library share: files to read, the host, and what they ask of its values.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "bridge/ErrorManager.h"
#include "bridge/LibraryData.h"
#include "dicom/exports/LibraryErrors.h"
#include "dicom/metadata/ElementConversion.h"
#include "tests/support/DicomFiles.h"
#include "tests/support/HostTest.h"
#include "tests/support/Results.h"

namespace radvex::test {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

/// A pattern that compiles, and fails when a value of up to nine characters is tried: there are 2 to the power of 24
/// ways through its empty groups, and with a back-reference each of them has to be tried.
inline const std::string kFailsWhenTried = "()(|){24}\\1x";

/// A test of the classes behind the exported functions, against the host's services.
class ClassTest : public ServicesTest {
  protected:
    void SetUp() override {
        ServicesTest::SetUp();
        GTU::LibraryData::setLibraryData(services().table());
        GTU::ErrorManager::registerPlugpackErrors(libraryErrors());
    }

    /// Name of the error that an action ends with; empty for success.
    static std::string errorOf(const std::function<void()>& action) {
        try {
            action();
            return "";
        } catch (const GTU::GantryError& error) {
            return error.name();
        }
    }

    TemporaryFolder folder{};
};

/// A test that fills a result list from a dataset. Ends with the accounting at zero.
class ResultListTest : public ClassTest {
  protected:
    void SetUp() override {
        ClassTest::SetUp();
        list = std::make_unique<ResultList>();
    }
    void TearDown() override {
        velmora::destroyDataStore(list->getInternal());
        list.reset();
        ClassTest::TearDown();
    }

    velmora::StoreView result() const { return velmora::StoreView(list->getInternal()); }

    DcmDataset dataset{};
    std::unique_ptr<ResultList> list{};
};

} // namespace radvex::test
