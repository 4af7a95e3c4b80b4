#include "tests/bridge/BridgeTest.h"

#include <stdexcept>

#include "bridge/GuardedCall.h"

using GTU::ErrorManager;
using GTU::LibraryData;
using GTU::VArgumentManager;
using velmora::CallFrame;

namespace radvex::test {

class Guards : public BridgeTest {
  protected:
    /// Codes of both forms for the same arguments and body; they have to agree.
    template <typename Body>
    int codeOf(const std::vector<velmora::Value>& arguments, Body body) {
        CallFrame first = frameOf(arguments);
        const int code = GTU::guardedCall(table(), first.argc(), first.args(), first.res(), body);
        CallFrame second = frameOf(arguments);
        EXPECT_EQ(GTU::guardedCallAgainstAll(table(), second.argc(), second.args(), second.res(), body), code);
        return code;
    }

    VelmoraLibraryData table() { return services().table(); }
};

TEST_F(Guards, GiveZeroForSuccess) {
    EXPECT_EQ(codeOf({}, [](VArgumentManager&) {}), 0);
    EXPECT_EQ(GTU::guardedAgainstAll([] {}), 0);
}

TEST_F(Guards, LetTheBodyReadAndWrite) {
    CallFrame frame = frameOf({5});
    EXPECT_EQ(GTU::guardedCall(table(), frame.argc(), frame.args(), frame.res(),
                               [](VArgumentManager& mngr) { mngr.setInteger(mngr.getInteger(0) + 1); }),
              0);
    EXPECT_EQ(frame.takeResult(VType_Integer).get<vint>(), 6);
}

TEST_F(Guards, GiveTheIdOfAnError) {
    EXPECT_EQ(codeOf({}, [](VArgumentManager&) { ErrorManager::throwException("OpenFileFailed", "f"); }), -61);
    EXPECT_EQ(codeOf({}, [](VArgumentManager&) { ErrorManager::throwException("MemoryError"); }), 5);
    EXPECT_EQ(codeOf({}, [](VArgumentManager&) { ErrorManager::throwException("NoError"); }), 0);
    EXPECT_EQ(GTU::guardedAgainstAll([] { ErrorManager::throwException("RankError"); }), 2);
}

TEST_F(Guards, GiveSixForAnyOtherException) {
    EXPECT_EQ(codeOf({}, [](VArgumentManager&) { throw std::runtime_error("other"); }), 6);
    EXPECT_EQ(codeOf({}, [](VArgumentManager&) { throw std::bad_alloc(); }), 6);
    EXPECT_EQ(GTU::guardedAgainstAll([] { throw std::runtime_error("other"); }), 6);
}

TEST_F(Guards, TellAMissingTextFromAnotherMissingArgument) {
    EXPECT_EQ(codeOf({"text"}, [](VArgumentManager& mngr) { (void)mngr.getString(1); }), 6);
    EXPECT_EQ(codeOf({"text"}, [](VArgumentManager& mngr) { (void)mngr.getBoolean(1); }), -2);
}

TEST_F(Guards, OfOneFormLetPassWhatIsNoException) {
    CallFrame frame = frameOf({"text"});
    const auto body = [](VArgumentManager& mngr) {
        (void)mngr.getString(0);
        throw 5;
    };
    EXPECT_THROW((void)GTU::guardedCall(table(), frame.argc(), frame.args(), frame.res(), body), int);
    EXPECT_EQ(ledger().counts(ObjectKind::string).disowned, 1) << "the manager ended all the same";
}

TEST_F(Guards, OfTheOtherFormStopEverything) {
    CallFrame frame = frameOf({});
    EXPECT_EQ(GTU::guardedCallAgainstAll(table(), frame.argc(), frame.args(), frame.res(),
                                         [](VArgumentManager&) { throw 5; }),
              6);
    EXPECT_EQ(GTU::guardedAgainstAll([] { throw 5; }), 6);
}

TEST_F(Guards, DisownTextsBeforeTheyReturn) {
    EXPECT_EQ(codeOf({"text"},
                     [](VArgumentManager& mngr) {
                         (void)mngr.getString(0);
                         ErrorManager::throwException("RankError");
                     }),
              2);
    EXPECT_EQ(ledger().counts(ObjectKind::string).disowned, 2) << "one in each form";
}

TEST_F(Guards, GiveTheMissingTablesId) {
    vint cell = 5;
    VArgument argument{.integer = &cell};
    VArgument result{};
    const auto body = [](VArgumentManager&) { ADD_FAILURE() << "the body must not run"; };
    EXPECT_EQ(GTU::guardedCall(nullptr, 1, &argument, result, body), -1);
    EXPECT_EQ(GTU::guardedCallAgainstAll(nullptr, 1, &argument, result, body), -1);
    EXPECT_FALSE(LibraryData::hasLibraryData()) << "the null table is stored";
}

TEST_F(Guards, GiveTheMissingTablesIdAtTheFirstUseOfAService) {
    VArgument result{};
    EXPECT_EQ(GTU::guardedCall(nullptr, 0, nullptr, result, [](VArgumentManager&) { LibraryData::API(); }), -1);
}

TEST_F(Guards, EachTableIsMissedByItsName) {
    LibraryData::setLibraryData(nullptr);
    EXPECT_EQ(thrownBy([] { LibraryData::API(); }).name, "LibDataError");
    EXPECT_EQ(thrownBy([] { LibraryData::DataStoreAPI(); }).id, -1);
    EXPECT_EQ(thrownBy([] { LibraryData::SparseArrayAPI(); }).id, -1);
    EXPECT_EQ(thrownBy([] { LibraryData::ImageAPI(); }).id, -1);
    EXPECT_EQ(thrownBy([] { LibraryData::NumericArrayAPI(); }).id, -1);
    EXPECT_EQ(LibraryData::uncheckedAPI(), nullptr);
}

TEST_F(Guards, TablesAreThoseOfTheHost) {
    EXPECT_TRUE(LibraryData::hasLibraryData());
    EXPECT_EQ(LibraryData::API(), table());
    EXPECT_EQ(LibraryData::DataStoreAPI(), table()->dataStoreFunctions);
    EXPECT_EQ(LibraryData::SparseArrayAPI(), table()->sparseArrayFunctions);
    EXPECT_EQ(LibraryData::ImageAPI(), table()->imageFunctions);
    EXPECT_EQ(LibraryData::NumericArrayAPI(), table()->numericArrayFunctions);
}

class OperateOnImage : public BridgeTest {
  protected:
    /// Size of the element type with which the function is called; 0 when it is not.
    static std::size_t elementSizeFor(vint type) {
        const std::vector<velmora::Value> arguments = {5, velmora::Image(0, 3, 5, 1, type, VColorSpace_Grey, true)};
        CallFrame frame = frameOf(arguments);
        VArgument result = frame.res();
        const VArgumentManager mngr(frame.argc(), frame.args(), result);
        std::size_t size = 0;
        mngr.operateOnImage<GTU::Passing::Automatic>(1, [&](const auto& image) {
            size = sizeof(*image.getData());
            EXPECT_EQ(image.type(), type);
            EXPECT_EQ(image.getSize(), 15);
        });
        return size;
    }
};

TEST_F(OperateOnImage, CallsTheFunctionWithTheImagesOwnType) {
    EXPECT_EQ(elementSizeFor(0), 1U);
    EXPECT_EQ(elementSizeFor(1), 1U);
    EXPECT_EQ(elementSizeFor(2), 2U);
    EXPECT_EQ(elementSizeFor(3), 4U);
    EXPECT_EQ(elementSizeFor(4), 8U);
}

TEST_F(OperateOnImage, RefusesAnyOtherType) {
    alterTable().images.VImage_getDataType = [](VImage) -> vint { return 5; };
    EXPECT_THAT(thrownBy([] { elementSizeFor(VImage_U8); }),
                isError(-5, "VArgumentImageError", "Incorrect type of Image argument. Argument index: 1"));
}

} // namespace radvex::test
