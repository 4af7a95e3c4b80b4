#include <sstream>

#include "tests/cli/Commands.h"

using namespace radvex::test;

namespace {

class CallCommand : public ::testing::Test {
  protected:
    std::string file = writeDicom(folder().file("a.dcm"), with({{DCM_NumberOfFrames, "15"}}));

    static TemporaryFolder& folder() {
        static TemporaryFolder instance;
        return instance;
    }

    static std::vector<Json> answers(const std::string& lines) {
        const ProcessResult run = runRadvex({"call", "-"}, lines);
        EXPECT_EQ(run.status, 0) << run.errors;
        std::vector<Json> list;
        std::istringstream stream(run.output);
        for (std::string line; std::getline(stream, line);) {
            list.push_back(Json::parse(line));
        }
        return list;
    }
};

} // namespace

TEST_F(CallCommand, PrintsTheResultAsJson) {
    const ProcessResult run = runRadvex({"call", "GetFrameCount", Json(file).dump()});
    EXPECT_EQ(run.output, "15\n");
    EXPECT_EQ(run.status, 0);
}

TEST_F(CallCommand, PrintsNullForAFunctionWithoutAResult) {
    EXPECT_EQ(runRadvex({"call", "ClearCache"}).output, "null\n");
}

TEST_F(CallCommand, PrintsTheFilledMessageOfARefusal) {
    const ProcessResult run = runRadvex({"call", "GetFrameCount", "\"/missing\""});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, "radvex: Error when opening file /missing: No such file or directory.\n");
}

TEST_F(CallCommand, PassesMissingAndIllTypedArgumentsOn) {
    for (const auto& arguments : std::vector<Words>{{},
                                                    {"5"},
                                                    {"null"},
                                                    {"true"},
                                                    {"1.5"},
                                                    {"[]"},
                                                    {R"({"tensor":{"type":"real","dims":[1],"data":[1.0]}})"}}) {
        EXPECT_THAT(runRadvex(joined({"call", "GetFrameCount"}, arguments)),
                    exitsSaying(1, "radvex: An error occurred in the library function.\n"));
    }
}

TEST_F(CallCommand, RefusesWrongUsageWithStatusTwo) {
    EXPECT_EQ(runRadvex({"call", "NoSuchFunction"}).status, 2);
    EXPECT_EQ(runRadvex({"call", "GetFrameCount", "not json"}).status, 2);
    EXPECT_EQ(runRadvex({"call"}).status, 2);
}

TEST_F(CallCommand, ListsItsFunctions) {
    const ProcessResult run = runRadvex({"call", "--list"});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.output.find("GetFrameCount(path: text) -> integer\n    Reads NumberOfFrames.\n"), std::string::npos);
    EXPECT_NE(run.output.find("\nClearCache() -> nothing\n"), std::string::npos);
}

TEST_F(CallCommand, TellsAllOfOneFunction) {
    const ProcessResult run = runRadvex({"call", "--list", "GetKeyword"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output.starts_with("GetKeyword(group: text, element: text) -> text\n\n")) << run.output;
    EXPECT_NE(run.output.find("\n  element: element in hexadecimal\n"), std::string::npos);
    EXPECT_NE(run.output.find("\n  result: the keyword"), std::string::npos);
    EXPECT_NE(run.output.find("\n  errors: FunctionError\n"), std::string::npos);
    EXPECT_EQ(runRadvex({"call", "--list", "NoSuchFunction"}).status, 2);
}

TEST_F(CallCommand, ThePageOfFunctionsIsTheOneThatItPrints) {
    const ProcessResult run = runRadvex({"call", "--markdown"});
    EXPECT_EQ(run.status, 0);
    EXPECT_TRUE(run.output == readFile(RADVEX_SOURCE_DIR "/docs/functions.md"))
        << "docs/functions.md is out of date: radvex call --markdown >docs/functions.md";
}

TEST_F(CallCommand, AnswersOneObjectForEachLine) {
    const auto list = answers(Json({"GetFrameCount", file}).dump() + "\n\n" + R"(["GetFrameCount","/missing"])" + "\n");
    ASSERT_EQ(list.size(), 2U) << "an empty line is no request";
    EXPECT_EQ(list[0], Json({{"code", 0}, {"result", 15}}));
    EXPECT_EQ(list[1], Json({{"code", -62},
                             {"name", "OpenFileError"},
                             {"message", "Error when opening file /missing: No such file or directory."}}));
}

TEST_F(CallCommand, AMalformedLineGetsAnErrorAndTheSessionGoesOn) {
    const auto list = answers("{broken\n[5]\n\"text\"\n[\"NoSuchFunction\"]\n[\"ClearCache\"]\n");
    ASSERT_EQ(list.size(), 5U);
    for (std::size_t line = 0; line < 4; ++line) {
        EXPECT_EQ(list[line]["name"], "RequestError") << line;
        EXPECT_FALSE(list[line]["message"].get<std::string>().empty());
        EXPECT_FALSE(list[line].contains("result"));
    }
    EXPECT_EQ(list[4], Json({{"code", 0}, {"result", nullptr}}));
}

TEST_F(CallCommand, KeepsReadersOverTheLinesOfASession) {
    // A path that is open as a file is refused as a directory: only a reader that was kept can tell.
    const std::string path = writeDicom(folder().file("DICOMDIR"), {});
    const std::string asFile = Json({"GetFrameCount", path}).dump() + "\n";
    const std::string asDirectory = Json({"ReadMetadata", path, Json::array(), false}).dump() + "\n";
    const auto list = answers(asFile + asDirectory + Json({"CloseReader", path}).dump() + "\n" + asDirectory);
    ASSERT_EQ(list.size(), 4U);
    EXPECT_EQ(list[1]["code"], -62);
    EXPECT_EQ(list[3]["code"], 0);
}
