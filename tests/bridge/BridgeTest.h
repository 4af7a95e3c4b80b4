#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "bridge/ErrorManager.h"
#include "bridge/VArgumentManager.h"
#include "host/CallFrame.h"
#include "tests/support/HostTest.h"

namespace radvex::test {

using GTU::VArgumentType;
using GTU::Passing::Automatic;
using GTU::Passing::Manual;
using GTU::Passing::Shared;
using velmora::ledger;
using velmora::ObjectKind;
using velmora::Operation;
using velmora::Owner;

/// Symbol that holds the parameters of the last error, as long as no context is set.
inline constexpr const char* kParametersSymbol = "GTU`$LastFailureParameters";

/// What is left of a GantryError once it and its loopback are gone. Nothing thrown: id 0 and an empty name.
struct Thrown {
    int id = 0;
    std::string name{};
    std::string debugInfo{};
};

/// What a failed expectation prints.
inline void PrintTo(const Thrown& thrown, std::ostream* stream) {
    *stream << thrown.id << ' ' << thrown.name << " '" << thrown.debugInfo << '\'';
}

/// Matches an error by its id and its name.
inline auto isError(int id, const std::string& name) {
    return testing::AllOf(testing::Field("id", &Thrown::id, id), testing::Field("name", &Thrown::name, name));
}

inline auto isError(int id, const std::string& name, const std::string& debugInfo) {
    return testing::AllOf(isError(id, name), testing::Field("debugInfo", &Thrown::debugInfo, debugInfo));
}

/// Matches an error by its id and its debug text.
inline auto tells(int id, const std::string& debugInfo) {
    return testing::AllOf(testing::Field("id", &Thrown::id, id),
                          testing::Field("debugInfo", &Thrown::debugInfo, debugInfo));
}

template <typename Body>
Thrown thrownBy(Body body) {
    try {
        body();
    } catch (const GTU::GantryError& error) {
        return {error.id(), error.name(), error.getDebugInfo()};
    }
    return {};
}

/// A test of the bridge against the host's services, whose table the bridge knows from the start.
class BridgeTest : public ServicesTest {
  protected:
    /// Copies of the host's tables in which a test replaces operations.
    struct AlteredTable {
        VelmoraLibraryRecord main;
        VelmoraDataStoreFunctions dataStores;
        VelmoraImageFunctions images;
        VelmoraNumericArrayFunctions numericArrays;
    };

    void SetUp() override {
        ServicesTest::SetUp();
        GTU::LibraryData::setLibraryData(services().table());
        GTU::GantryError::setExceptionDetailsSymbolContext("");
    }

    void TearDown() override {
        GTU::LibraryData::setLibraryData(nullptr);
        GTU::GantryError::setExceptionDetailsSymbolContext("");
        velmora::ledger().refuseNothing();
        ServicesTest::TearDown();
    }

    /// Makes the bridge use copies of the tables until the test ends.
    AlteredTable& alterTable() {
        const VelmoraLibraryData table = services().table();
        mAltered = {*table, *table->dataStoreFunctions, *table->imageFunctions, *table->numericArrayFunctions};
        mAltered.main.dataStoreFunctions = &mAltered.dataStores;
        mAltered.main.imageFunctions = &mAltered.images;
        mAltered.main.numericArrayFunctions = &mAltered.numericArrays;
        GTU::LibraryData::setLibraryData(&mAltered.main);
        return mAltered;
    }

    /// Runs `body` as the library: only then are link functions counted and refused.
    template <typename Body>
    void inLibrary(Body body) {
        services().setInLibrary(true);
        body();
        services().setInLibrary(false);
    }

    /// Values that the host's symbol for failure parameters holds.
    std::vector<std::string> deliveredParameters() { return services().symbolValues(kParametersSymbol); }

    /// A result of a call: hands over what the library stored in the result cell.
    static velmora::CallFrame frameOf(const std::vector<velmora::Value>& arguments) { return {{}, arguments}; }

  private:
    AlteredTable mAltered{};
};

/// Takes the next expression off a link: a text or a number as text; "?" for anything else.
inline std::string readText(TTLink link) {
    switch (TTGetNext(link)) {
    case TTTK_STRING: {
        const unsigned char* units = nullptr;
        int length = 0;
        TTGetUTF8String(link, &units, &length);
        std::string text(reinterpret_cast<const char*>(units), static_cast<std::size_t>(length));
        TTReleaseUTF8String(link, units, length);
        return text;
    }
    case TTTK_INTEGER: {
        long long number = 0;
        TTGetInteger64(link, &number);
        return std::to_string(number);
    }
    default: return "?";
    }
}

/// Takes a function head off a link, as "head/arguments"; "?" for anything else.
inline std::string readHead(TTLink link) {
    const char* head = nullptr;
    int count = 0;
    if (TTGetFunction(link, &head, &count) == 0) {
        return "?";
    }
    std::string text = std::string(head) + "/" + std::to_string(count);
    TTReleaseSymbol(link, head);
    return text;
}

/// Takes a list of texts and numbers off a link; empty when none comes.
inline std::vector<std::string> readList(TTLink link) {
    std::vector<std::string> values;
    int count = 0;
    if (TTTestHead(link, "List", &count) == 0) {
        return values;
    }
    for (int index = 0; index < count; ++index) {
        values.push_back(readText(link));
    }
    return values;
}

/// A loopback that is closed with its scope.
class Loopback {
  public:
    explicit Loopback(TTEnvironment environment) : mLink(GTU::GantryError::openLoopback(environment)) {}
    ~Loopback() { TTClose(mLink); }
    Loopback(const Loopback&) = delete;
    Loopback& operator=(const Loopback&) = delete;

    TTLink link() const { return mLink; }
    TTLink& reference() { return mLink; }

  private:
    TTLink mLink;
};

/// A test with a loopback in the host's environment.
class LoopbackTest : public BridgeTest {
  protected:
    void SetUp() override {
        BridgeTest::SetUp();
        mLoopback = std::make_unique<Loopback>(services().environment());
    }
    void TearDown() override {
        mLoopback.reset();
        BridgeTest::TearDown();
    }

    TTLink link() { return mLoopback->link(); }
    TTLink& reference() { return mLoopback->reference(); }

  private:
    std::unique_ptr<Loopback> mLoopback{};
};

} // namespace radvex::test
