#include "tests/bridge/BridgeTest.h"

#include <cstdint>

#include "bridge/Put.h"

using GTU::TT::Encoding;
using GTU::TT::PutArray;
using GTU::TT::PutList;
using GTU::TT::PutScalar;
using GTU::TT::String;

namespace radvex::test {

class LinkTables : public LoopbackTest {
  protected:
    template <typename T>
    static void expectNames(const std::string& scalar) {
        EXPECT_EQ(PutScalar<T>::ScalarFName, scalar);
        EXPECT_EQ(PutList<T>::ListFName, scalar + "List");
        EXPECT_EQ(PutArray<T>::ArrayFName, scalar + "Array");
    }

    double nextNumber() {
        double number = -1000;
        EXPECT_NE(TTGetReal64(link(), &number), 0);
        return number;
    }

    /// Puts two numbers as scalar, list and array of one row, and reads them back.
    template <typename T>
    void expectNumbersArrive(T first, T second) {
        const T values[] = {first, second};
        const int dimensions[] = {1, 2};
        EXPECT_NE(PutScalar<T>::ScalarF(link(), first), 0);
        EXPECT_NE(PutList<T>::ListF(link(), values, 2), 0);
        EXPECT_NE(PutArray<T>::ArrayF(link(), values, dimensions, nullptr, 2), 0);
        EXPECT_EQ(nextNumber(), static_cast<double>(first));
        EXPECT_EQ(readHead(link()), "List/2");
        EXPECT_EQ(nextNumber(), static_cast<double>(first));
        EXPECT_EQ(nextNumber(), static_cast<double>(second));
        EXPECT_EQ(readHead(link()), "List/1");
        EXPECT_EQ(readHead(link()), "List/2");
        EXPECT_EQ(nextNumber(), static_cast<double>(first));
        EXPECT_EQ(nextNumber(), static_cast<double>(second));
    }

    /// Puts units and gets them back; also what the next reader of UTF-8 would see.
    template <Encoding E>
    void expectTextArrives(const std::vector<typename String<E>::Unit>& units, const std::string& utf8) {
        const int count = static_cast<int>(units.size());
        ASSERT_NE(String<E>::Put(link(), units.data(), count), 0);
        ASSERT_NE(String<E>::Put(link(), units.data(), count), 0);
        EXPECT_EQ(readText(link()), utf8);
        const typename String<E>::Unit* read = nullptr;
        int length = 0;
        ASSERT_NE(String<E>::Get(link(), &read, &length), 0);
        ASSERT_EQ(length, count);
        EXPECT_TRUE(std::equal(units.begin(), units.end(), read));
        EXPECT_EQ(TTOpenBufferCount(services().environment()), 1);
        String<E>::Release(link(), read, length);
        EXPECT_EQ(TTOpenBufferCount(services().environment()), 0);
    }
};

TEST_F(LinkTables, NamePutFunctionsAfterTheirElementTypes) {
    expectNames<unsigned char>("TTPutInteger8");
    expectNames<short>("TTPutInteger16");
    expectNames<int>("TTPutInteger32");
    expectNames<long long>("TTPutInteger64");
    expectNames<float>("TTPutReal32");
    expectNames<double>("TTPutReal64");
}

TEST_F(LinkTables, PutIntegersOfEachWidth) {
    expectNumbersArrive<unsigned char>(0, 255);
    expectNumbersArrive<short>(-32768, 32767);
    expectNumbersArrive<int>(-2147483647 - 1, 2147483647);
    expectNumbersArrive<long long>(-4294967296LL, 4294967296LL);
}

TEST_F(LinkTables, PutRealsOfBothWidths) {
    expectNumbersArrive<float>(-0.5F, 1024.25F);
    expectNumbersArrive<double>(-0.1, 1e300);
}

TEST_F(LinkTables, NumberTheEncodings) {
    EXPECT_EQ(static_cast<int>(Encoding::Native), 1);
    EXPECT_EQ(static_cast<int>(Encoding::Byte), 2);
    EXPECT_EQ(static_cast<int>(Encoding::UTF8), 3);
    EXPECT_EQ(static_cast<int>(Encoding::UTF16), 4);
    EXPECT_EQ(static_cast<int>(Encoding::UCS2), 5);
    EXPECT_EQ(static_cast<int>(Encoding::UTF32), 6);
}

TEST_F(LinkTables, NameTextFunctionsAfterTheirEncodings) {
    EXPECT_EQ(String<Encoding::Native>::GetFName, "TTGetString");
    EXPECT_EQ(String<Encoding::Native>::PutFName, "TTPutString");
    EXPECT_EQ(String<Encoding::Byte>::GetFName, "TTGetByteString");
    EXPECT_EQ(String<Encoding::Byte>::PutFName, "TTPutByteString");
    EXPECT_EQ(String<Encoding::UTF8>::GetFName, "TTGetUTF8String");
    EXPECT_EQ(String<Encoding::UTF8>::PutFName, "TTPut(UTF8/Byte)String");
    EXPECT_EQ(String<Encoding::UTF16>::GetFName, "TTGetUTF16String");
    EXPECT_EQ(String<Encoding::UTF16>::PutFName, "TTPutUTF16String");
    EXPECT_EQ(String<Encoding::UCS2>::GetFName, "TTGetUCS2String");
    EXPECT_EQ(String<Encoding::UCS2>::PutFName, "TTPutUCS2String");
    EXPECT_EQ(String<Encoding::UTF32>::GetFName, "TTGetUTF32String");
    EXPECT_EQ(String<Encoding::UTF32>::PutFName, "TTPutUTF32String");
}

// An a umlaut, and U+1F600 where the encoding can hold it.
TEST_F(LinkTables, CarryTextInEachEncoding) {
    expectTextArrives<Encoding::Native>({'a', '\xC3', '\xA4'}, "a\xC3\xA4");
    expectTextArrives<Encoding::Byte>({'a', 0xE4}, "a\xC3\xA4");
    expectTextArrives<Encoding::UTF8>({0xC3, 0xA4, 0xF0, 0x9F, 0x98, 0x80}, "\xC3\xA4\xF0\x9F\x98\x80");
    expectTextArrives<Encoding::UTF16>({0xE4, 0xD83D, 0xDE00}, "\xC3\xA4\xF0\x9F\x98\x80");
    expectTextArrives<Encoding::UCS2>({0xE4, 0x20AC}, "\xC3\xA4\xE2\x82\xAC");
    expectTextArrives<Encoding::UTF32>({0xE4, 0x1F600}, "\xC3\xA4\xF0\x9F\x98\x80");
}

TEST_F(LinkTables, CarryEmptyText) {
    const char none = '\0';
    EXPECT_NE(String<Encoding::Native>::Put(link(), &none, 0), 0);
    EXPECT_EQ(readText(link()), "");
    const unsigned char byte = 0;
    EXPECT_NE(String<Encoding::UTF8>::Put(link(), &byte, 0), 0);
    EXPECT_EQ(readText(link()), "");
}

TEST_F(LinkTables, PutBytesForTextThatIsNoUTF8AndClearTheError) {
    const unsigned char text[] = {'a', 0xFF, 0xC3};
    EXPECT_NE(String<Encoding::UTF8>::Put(link(), text, 3), 0);
    EXPECT_EQ(TTError(link()), TTE_OK);
    EXPECT_EQ(readText(link()), "a\xC3\xBF\xC3\x83");
}

TEST_F(LinkTables, PutNoBytesWhenTheLinkRefusesForAnotherReason) {
    velmora::ledger().refuseLink("TTPutUTF8String", 1);
    const unsigned char text[] = {'a'};
    inLibrary([&] { EXPECT_EQ(String<Encoding::UTF8>::Put(link(), text, 1), 0); });
    EXPECT_EQ(TTError(link()), TTE_REFUSED);
    EXPECT_EQ(velmora::ledger().linkCalls().count("TTPutByteString"), 0U);
}

TEST_F(LinkTables, ReadNoTextFromANumber) {
    TTPutInteger32(link(), 5);
    const char* text = nullptr;
    int length = 0;
    EXPECT_EQ(String<Encoding::Native>::Get(link(), &text, &length), 0);
    EXPECT_EQ(TTError(link()), TTE_TYPE);
}

} // namespace radvex::test
