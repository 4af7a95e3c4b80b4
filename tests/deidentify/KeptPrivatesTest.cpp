#include "deidentify/KeptPrivates.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

using namespace radvex::deidentify;
using radvex::test::TemporaryFolder;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

std::set<KeptPrivate> read(const std::string& text) {
    const TemporaryFolder folder;
    return readKeptPrivates(folder.write("kept.json", text));
}

/// The sentence that the text is refused with; empty when it is not.
std::string refusalOf(const std::string& text) {
    try {
        (void)read(text);
        return "";
    } catch (const std::exception& error) {
        return error.what();
    }
}

} // namespace

TEST(KeptPrivates, NameElementsOfTheBlockOfACreator) {
    EXPECT_THAT(read(R"({"ELBE 1.0": ["0019,xx0C", "0029,xx10"], "OTHER": ["0019,xx0c"]})"),
                ElementsAre(KeptPrivate{"ELBE 1.0", 0x0019, 0x0C}, KeptPrivate{"ELBE 1.0", 0x0029, 0x10},
                            KeptPrivate{"OTHER", 0x0019, 0x0C}));
}

TEST(KeptPrivates, MayNameABlockThatMeansNothing) {
    EXPECT_EQ(read(R"({"A": ["0019,100C"]})"), read(R"({"A": ["0019,XX0C"]})"));
    EXPECT_EQ(read(R"({"A": ["0019,100C", "0019,xx0C"]})").size(), 1U);
}

TEST(KeptPrivates, MayBeNone) {
    EXPECT_THAT(read("{}"), IsEmpty());
    EXPECT_THAT(read(R"({"A": []})"), IsEmpty());
}

TEST(KeptPrivates, RefuseTagsOfOtherForms) {
    for (const char* tag : {"0019,xx", "0019xx0C", "0018,xx0C", "(0019,xx0C)", "0019,xx0G", "00-9,xx0C", "0x19,xx0C",
                            "", "0019,xx0C ", "0019,zz0C", "0019;xx0C"}) {
        EXPECT_THAT(refusalOf(std::string(R"({"ELBE": [")") + tag + "\"]}"), HasSubstr("ELBE")) << tag;
    }
    EXPECT_THAT(refusalOf(R"({"ELBE": [25]})"), HasSubstr("0019,xx0C"));
}

TEST(KeptPrivates, RefuseJsonOfOtherForms) {
    for (const char* text : {"[]", "\"ELBE\"", "7", "null"}) {
        EXPECT_THAT(refusalOf(text), HasSubstr("an object of private creators")) << text;
    }
    EXPECT_THAT(refusalOf(R"({"ELBE": "0019,xx0C"})"), HasSubstr("have to be a list"));
    for (const char* text : {"", "{", "{\"A\": [}", "not JSON", "{\"A\": [], \"A\": []"}) {
        EXPECT_THAT(refusalOf(text), HasSubstr("kept.json")) << text;
    }
}

TEST(KeptPrivates, AFileThatIsNotThereIsNamed) {
    const TemporaryFolder folder;
    EXPECT_THAT([&] { (void)readKeptPrivates(folder.file("none")); },
                testing::ThrowsMessage<std::exception>(HasSubstr(folder.file("none"))));
}
