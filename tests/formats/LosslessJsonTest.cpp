#include "formats/json/LosslessJson.h"

#include <gtest/gtest.h>

#include <limits>

using namespace radvex::formats;
using namespace velmora;

namespace {

std::string textOf(const Value& value) { return dumpJson(toJson(value)); }
std::string roundTrip(const std::string& json) { return textOf(fromJson(parseJson(json))); }

} // namespace

TEST(LosslessJson, RealsAlwaysHaveAPointOrAnExponent) {
    EXPECT_EQ(textOf(1.0), "1.0");
    EXPECT_EQ(textOf(1e300), "1e+300");
    EXPECT_EQ(textOf(0.1), "0.1");
}

TEST(LosslessJson, RealsThatJsonLacksHaveNames) {
    EXPECT_EQ(textOf(std::numeric_limits<double>::quiet_NaN()), R"({"real":"nan"})");
    EXPECT_EQ(textOf(-std::numeric_limits<double>::infinity()), R"({"real":"-inf"})");
    EXPECT_EQ(roundTrip(R"({"real":"inf"})"), R"({"real":"inf"})");
}

TEST(LosslessJson, EveryFormComesBackAsItWent) {
    for (const char* json : {
             "true",
             "-5",
             "2.5",
             R"("text \" ü")",
             "null",
             R"({"complex":[1.0,-2.5]})",
             R"({"tensor":{"type":"integer","dims":[2,3],"data":[1,2,3,4,5,6]}})",
             R"({"tensor":{"type":"real","dims":[2],"data":[1.5,{"real":"nan"}]}})",
             R"({"tensor":{"type":"complex","dims":[1],"data":[{"complex":[1.0,2.0]}]}})",
             R"({"array":{"type":"u16","dims":[2],"base64":"AQACAA=="}})",
             R"({"array":{"type":"s8","dims":[0],"base64":""}})",
             R"({"image":{"type":"u8","rank":2,"slices":1,"rows":2,"columns":3,"channels":1,"colorSpace":0,)"
             R"("interleaved":false,"base64":"AAECAwQF"}})",
             R"({"image":{"type":"bit","rank":3,"slices":2,"rows":1,"columns":1,"channels":3,"colorSpace":1,)"
             R"("interleaved":true,"base64":"AAEAAQAB"}})",
             R"({"store":[["a",1],["a",2],["",{"store":[]}]]})",
             R"({"bytes":"6Q=="})",
         }) {
        EXPECT_EQ(roundTrip(json), json);
    }
}

TEST(LosslessJson, APlainListIsAStoreOfNodesWithoutNames) {
    EXPECT_EQ(roundTrip(R"(["a",["b",1],true,0.5])"),
              R"({"store":[["","a"],["",{"store":[["","b"],["",1]]}],["",true],["",0.5]]})");
}

TEST(LosslessJson, APlainObjectIsAStoreOfNamedNodes) {
    EXPECT_EQ(roundTrip(R"({"Rows":512,"Name":"x"})"), R"({"store":[["Rows",512],["Name","x"]]})");
    EXPECT_EQ(roundTrip(R"({"real":5})"), R"({"store":[["real",5]]})") << "a reserved key with another content";
}

TEST(LosslessJson, AnImageMayHaveNoChannels) {
    const Value value = fromJson(parseJson(R"({"image":{"type":"u8","rows":2,"columns":3,"channels":0,"base64":""}})"));
    EXPECT_EQ(value.get<Image>().info().channels, 0);
}

TEST(LosslessJson, RefusesWhatIsNoValue) {
    for (const char* json : {
             "4294967296",
             "-2147483649",
             R"({"tensor":{"type":"integer","dims":[2],"data":[1]}})",
             R"({"tensor":{"type":"integer","dims":[-1],"data":[]}})",
             R"({"tensor":{"type":"byte","dims":[1],"data":[1]}})",
             R"({"tensor":{"dims":[1],"data":[1]}})",
             R"({"array":{"type":"u16","dims":[2],"base64":"AQ=="}})",
             R"({"array":{"type":"u16","dims":[65536,65536],"base64":""}})",
             R"({"store":[["a"]]})",
             R"({"complex":[1]})",
             R"({"real":"many"})",
             R"({"bytes":"?"})",
         }) {
        EXPECT_THROW(fromJson(parseJson(json)), JsonError) << json;
    }
    EXPECT_THROW(parseJson("{"), JsonError);
    EXPECT_THROW(parseJson("text"), JsonError);
}

TEST(LosslessJson, RefusesNestingThatWouldCostTheStack) {
    EXPECT_THROW(fromJson(parseJson(std::string(600, '[') + std::string(600, ']'))), JsonError);
    EXPECT_NO_THROW(fromJson(parseJson(std::string(500, '[') + std::string(500, ']'))));
}
