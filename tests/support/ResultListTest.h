#pragma once

#include <memory>

#include "dcmtk/dcmdata/dctk.h"
#include "dicom/metadata/ElementConversion.h"
#include "host/Value.h"
#include "tests/support/HostTest.h"

namespace radvex::test {

/// A test that fills a result list from a dataset. Ends with the accounting at zero.
class ResultListTest : public ServicesTest {
  protected:
    void SetUp() override {
        ServicesTest::SetUp();
        GTU::LibraryData::setLibraryData(services().table());
        list = std::make_unique<ResultList>();
    }
    void TearDown() override {
        velmora::destroyDataStore(list->getInternal());
        list.reset();
        ServicesTest::TearDown();
    }

    velmora::StoreView result() const { return velmora::StoreView(list->getInternal()); }

    DcmDataset dataset{};
    std::unique_ptr<ResultList> list{};
};

} // namespace radvex::test
