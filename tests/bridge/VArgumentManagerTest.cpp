#include "tests/bridge/BridgeTest.h"

#include <complex>
#include <limits>
#include <stdexcept>

using GTU::LibraryData;
using GTU::VArgumentManager;
using velmora::CallFrame;
using velmora::Store;

namespace radvex::test {

class ArgumentManager : public BridgeTest {
  protected:
    /// Calls `body` with a manager over these arguments, as an exported function would; gives the result as a `kind`.
    template <typename Body>
    velmora::Value call(const std::vector<velmora::Value>& arguments, vint kind, Body body) {
        CallFrame frame = frameOf(arguments);
        {
            VArgument result = frame.res();
            VArgumentManager mngr(LibraryData::uncheckedAPI(), frame.argc(), frame.args(), result);
            body(mngr);
        }
        return frame.takeResult(kind);
    }
    template <typename Body>
    void call(const std::vector<velmora::Value>& arguments, Body body) {
        call(arguments, VType_Undef, body);
    }

    static long disowned() { return ledger().counts(ObjectKind::string).disowned; }
};

TEST_F(ArgumentManager, ReadsScalars) {
    call({true, false, -7, 2.5, std::complex<double>(1.5, -2.0)}, [](VArgumentManager& mngr) {
        EXPECT_TRUE(mngr.getBoolean(0));
        EXPECT_FALSE(mngr.getBoolean(1));
        EXPECT_EQ(mngr.getInteger(2), -7);
        EXPECT_EQ(*mngr.getArgs(2).integer, -7);
        EXPECT_EQ(mngr.getReal(3), 2.5);
        EXPECT_EQ(mngr.getComplex(4), std::complex<double>(1.5, -2.0));
    });
}

TEST_F(ArgumentManager, ReadsEveryNonZeroCellAsTrue) {
    vbool cell = 2;
    VArgument argument{.boolean = &cell};
    VArgument result{};
    EXPECT_TRUE(VArgumentManager(1, &argument, result).getBoolean(0));
}

TEST_F(ArgumentManager, ReadsHandlesAsTheyAre) {
    const std::vector<velmora::Value> arguments = {velmora::Tensor(VTensor_Complex, {2}),
                                                   velmora::Image(0, 3, 5, 1, VImage_U16, VColorSpace_Grey, true),
                                                   velmora::NumericArray(VNumericArray_S32, {2}), Store::empty()};
    call(arguments, [&](VArgumentManager& mngr) {
        EXPECT_EQ(mngr.getVTensor(0), arguments[0].get<velmora::Tensor>().handle());
        EXPECT_EQ(mngr.getVImage(1), arguments[1].get<velmora::Image>().handle());
        EXPECT_EQ(mngr.getVNumericArray(2), arguments[2].get<velmora::NumericArray>().handle());
        EXPECT_EQ(mngr.getDataStore(3), arguments[3].get<Store>().handle());
        EXPECT_EQ(mngr.getTensorType(0), 4);
        EXPECT_EQ(mngr.getImageType(1), 2);
        EXPECT_EQ(mngr.getNumericArrayType(2), 5);
    });
}

TEST_F(ArgumentManager, CutsTheTensorTypeToAByte) {
    alterTable().main.VTensor_getType = [](VTensor) -> vint { return 0x103; };
    call({velmora::Tensor(VTensor_Real, {2})}, [](VArgumentManager& mngr) { EXPECT_EQ(mngr.getTensorType(0), 3); });
}

TEST_F(ArgumentManager, RefusesAnIndexBeyondTheLastArgument) {
    call({true, true}, [](VArgumentManager& mngr) {
        EXPECT_THAT(thrownBy([&] { (void)mngr.getBoolean(2); }),
                    isError(-2, "VArgumentIndexError", "Index 2 out-of-bound when accessing Gantry argument"));
        EXPECT_EQ(thrownBy([&] { (void)mngr.getArgs(4294967295U); }).debugInfo,
                  "Index 4294967295 out-of-bound when accessing Gantry argument");
    });
}

TEST_F(ArgumentManager, RefusesThatIndexInEveryReaderButThoseOfText) {
    call({}, [](VArgumentManager& mngr) {
        const Thrown attempts[] = {
            thrownBy([&] { (void)mngr.getArgs(0); }),      thrownBy([&] { (void)mngr.getInteger(0); }),
            thrownBy([&] { (void)mngr.getBoolean(0); }),   thrownBy([&] { (void)mngr.getReal(0); }),
            thrownBy([&] { (void)mngr.getComplex(0); }),   thrownBy([&] { (void)mngr.getVTensor(0); }),
            thrownBy([&] { (void)mngr.getVImage(0); }),    thrownBy([&] { (void)mngr.getVNumericArray(0); }),
            thrownBy([&] { (void)mngr.getDataStore(0); }), thrownBy([&] { (void)mngr.getTensorType(0); }),
            thrownBy([&] { (void)mngr.getImageType(0); }), thrownBy([&] { (void)mngr.getNumericArrayType(0); }),
            thrownBy([&] { (void)mngr.getNames(0); }),     thrownBy([&] { (void)mngr.getNumbers(0); }),
        };
        for (const Thrown& attempt : attempts) {
            EXPECT_EQ(attempt.id, -2);
        }
    });
}

TEST_F(ArgumentManager, RefusesATextBeyondTheLastArgumentInItsOwnWay) {
    call({"text"}, [](VArgumentManager& mngr) {
        EXPECT_THROW((void)mngr.getString(1), std::out_of_range);
        EXPECT_THROW((void)mngr.getCString(1), std::out_of_range);
    });
    EXPECT_EQ(disowned(), 0);
}

TEST_F(ArgumentManager, ReadsNothingOfANegativeCount) {
    VArgument result{};
    VArgumentManager mngr(-1, nullptr, result);
    EXPECT_EQ(thrownBy([&] { (void)mngr.getArgs(0); }).id, -2);
    EXPECT_THROW((void)mngr.getString(0), std::out_of_range);
}

TEST_F(ArgumentManager, DisownsATextReadTwiceOnce) {
    call({"text"}, [](VArgumentManager& mngr) {
        const char* first = mngr.getCString(0);
        EXPECT_EQ(mngr.getString(0), "text");
        EXPECT_EQ(mngr.getCString(0), first);
        EXPECT_EQ(disowned(), 0) << "valid until the manager ends";
    });
    EXPECT_EQ(disowned(), 1);
}

TEST_F(ArgumentManager, ReadsATextFromThePointerThatItStored) {
    CallFrame frame = frameOf({"text"});
    VArgument result = frame.res();
    VArgumentManager mngr(frame.argc(), frame.args(), result);
    char* const first = mngr.getCString(0);
    char* const kept = std::exchange(*frame.args()[0].utf8String, nullptr);
    EXPECT_EQ(kept, first);
    EXPECT_EQ(mngr.getString(0), "text");
}

TEST_F(ArgumentManager, DoesNotDisownATextThatWasNotRead) {
    call({"read", "unread"}, [](VArgumentManager& mngr) { EXPECT_EQ(mngr.getString(0), "read"); });
    EXPECT_EQ(disowned(), 1);
    EXPECT_EQ(ledger().counts(ObjectKind::string).takenBack, 1);
}

TEST_F(ArgumentManager, DisownsATextWhenTheBodyThrows) {
    EXPECT_THROW(call({"text"},
                      [](VArgumentManager& mngr) {
                          (void)mngr.getString(0);
                          throw std::runtime_error("body");
                      }),
                 std::runtime_error);
    EXPECT_EQ(disowned(), 1);
}

TEST_F(ArgumentManager, RefusesNullText) {
    char* null = nullptr;
    VArgument argument{.utf8String = &null};
    VArgument result{};
    VArgumentManager mngr(1, &argument, result);
    EXPECT_EQ(mngr.getCString(0), nullptr);
    EXPECT_THROW((void)mngr.getString(0), std::logic_error);
}

TEST_F(ArgumentManager, ReadsListsOfTexts) {
    call({Store::ofTexts({"a", "b"})}, [](VArgumentManager& mngr) {
        EXPECT_EQ(mngr.getNames(0), (std::vector<std::string>{"a", "b"}));
        EXPECT_EQ(mngr.getDataList<GTU::VArgumentType::UTF8String>(0).size(), 2U);
    });
}

TEST_F(ArgumentManager, ReadsListsOfPairs) {
    call({Store::of({Store::ofTexts({"a", "b"})})}, [](VArgumentManager& mngr) {
        const std::vector<std::pair<std::string, std::string>> expected = {{"a", "b"}};
        EXPECT_EQ(mngr.getNumbers(0), expected);
    });
}

TEST_F(ArgumentManager, RefusesNullLists) {
    DataStore null = nullptr;
    VArgument argument{.dataStore = &null};
    VArgument result{};
    const VArgumentManager mngr(1, &argument, result);
    EXPECT_EQ(thrownBy([&] { (void)mngr.getNames(0); }).name, "CreateFromNullError");
    EXPECT_EQ(thrownBy([&] { (void)mngr.getNumbers(0); }).id, -25);
}

TEST_F(ArgumentManager, WritesScalars) {
    EXPECT_TRUE(call({}, VType_Boolean, [](auto& mngr) { mngr.setBoolean(true); }).template get<bool>());
    EXPECT_FALSE(call({}, VType_Boolean, [](auto& mngr) { mngr.setBoolean(false); }).template get<bool>());
    EXPECT_EQ(call({}, VType_Integer, [](auto& mngr) { mngr.setInteger(-7); }).get<vint>(), -7);
    EXPECT_EQ(call({}, VType_Real, [](auto& mngr) { mngr.setReal(2.5); }).get<double>(), 2.5);
    EXPECT_EQ(call({}, VType_Complex,
                   [](auto& mngr) {
                       mngr.setComplex({1.5, -2.0});
                   })
                  .get<std::complex<double>>(),
              std::complex<double>(1.5, -2.0));
}

TEST_F(ArgumentManager, WritesBooleansAsOneAndZero) {
    vbool cell = 7;
    VArgument result{.boolean = &cell};
    VArgumentManager mngr(0, nullptr, result);
    mngr.setBoolean(true);
    EXPECT_EQ(cell, 1);
    mngr.setBoolean(false);
    EXPECT_EQ(cell, 0);
}

TEST_F(ArgumentManager, WritesHandlesAsTheyAre) {
    VTensor tensor = nullptr;
    VImage image = nullptr;
    VNumericArray array = nullptr;
    DataStore store = nullptr;
    VArgument result{};
    VArgumentManager mngr(0, nullptr, result);
    char object = 0;
    void* handle = &object;
    result.tensor = &tensor;
    mngr.setVTensor(static_cast<VTensor>(handle));
    result.image = &image;
    mngr.setVImage(static_cast<VImage>(handle));
    result.numericArray = &array;
    mngr.setVNumericArray(static_cast<VNumericArray>(handle));
    result.dataStore = &store;
    mngr.setDataStore(static_cast<DataStore>(handle));
    EXPECT_EQ(tensor, handle);
    EXPECT_EQ(image, handle);
    EXPECT_EQ(array, handle);
    EXPECT_EQ(store, handle);
}

TEST_F(ArgumentManager, HandsContainersOver) {
    const velmora::Value result = call({}, VType_Image, [](VArgumentManager& mngr) {
        mngr.setResult(GTU::Image<float, GTU::Passing::Manual>(0, 5, 3, 1, VColorSpace_Grey, true));
    });
    EXPECT_TRUE(result.is<velmora::Image>());
    const velmora::Value list = call({}, VType_DataStore, [](VArgumentManager& mngr) {
        GTU::DataList<GTU::VArgumentType::Integer, GTU::Passing::Manual> integers;
        integers.push_back(5);
        mngr.setResult(integers);
    });
    EXPECT_EQ(list.get<Store>().size(), 1U);
}

TEST_F(ArgumentManager, WritesTextsOfEachForm) {
    const std::string text = "constant";
    EXPECT_EQ(call({}, VType_UTF8String, [&](auto& mngr) { mngr.setString(text); }).template get<std::string>(),
              "constant");
    EXPECT_EQ(call({}, VType_UTF8String, [](auto& mngr) { mngr.setString(std::string("moved")); })
                  .template get<std::string>(),
              "moved");
    EXPECT_EQ(call({}, VType_UTF8String, [](auto& mngr) { mngr.setString("literal"); }).get<std::string>(), "literal");
    EXPECT_EQ(call({}, VType_UTF8String, [](auto& mngr) { mngr.setString(""); }).get<std::string>(), "");
}

TEST_F(ArgumentManager, KeepsATextResultUntilTheNextOne) {
    char* text = nullptr;
    VArgument result{.utf8String = &text};
    { VArgumentManager(0, nullptr, result).setString("first result"); }
    EXPECT_STREQ(text, "first result") << "it outlives the manager";
    char* const first = text;
    { VArgumentManager(0, nullptr, result).setString("second one"); }
    EXPECT_STREQ(text, "second one");
    // One buffer serves every result, so what the first pointer led to is gone.
    EXPECT_EQ(first, text);
}

TEST_F(ArgumentManager, KeepsTheNewTableEvenWhenItIsNull) {
    VArgument result{};
    EXPECT_EQ(thrownBy([&] { VArgumentManager mngr(nullptr, 0, nullptr, result); }).name, "");
    EXPECT_FALSE(LibraryData::hasLibraryData());
    { VArgumentManager mngr(services().table(), 0, nullptr, result); }
    EXPECT_EQ(LibraryData::uncheckedAPI(), services().table());
}

TEST_F(ArgumentManager, NeedsATableForArguments) {
    LibraryData::setLibraryData(nullptr);
    vint cell = 5;
    VArgument argument{.integer = &cell};
    VArgument result{};
    EXPECT_EQ(thrownBy([&] { VArgumentManager mngr(1, &argument, result); }).name, "LibDataError");
    EXPECT_EQ(thrownBy([&] { VArgumentManager mngr(0, &argument, result); }).name, "");
    EXPECT_EQ(thrownBy([&] { VArgumentManager mngr(nullptr, 1, &argument, result); }).id, -1);
}

} // namespace radvex::test
