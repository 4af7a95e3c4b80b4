#include "cli/Terminal.h"

#include "tests/cli/Commands.h"
#include "tests/support/PseudoTerminal.h"

using namespace radvex::test;
using radvex::cli::columnsOf;
using radvex::cli::cutToColumns;
using radvex::cli::isTerminal;
using radvex::cli::padded;
using radvex::cli::terminalWidth;

namespace {

class TerminalOutput : public ::testing::Test {
  protected:
    /// What `radvex tags` shows on a terminal of 60 columns.
    std::string shown(const Words& words, const Words& environment = {"TERM=xterm"}) const {
        const Words start = joined({"env", "-u", "NO_COLOR"}, environment);
        return shownOnTerminal(joined(start, joined({RADVEX_COMMAND, "tags"}, words)), 60);
    }

    TemporaryFolder folder{};
    std::string file = writeDicom(folder.file("a.dcm"), [](DcmDataset& dataset) {
        put(dataset, {{DCM_PatientName, "Doe^Jane"}, {DCM_PatientComments, std::string(200, 'x')}});
        dataset.insertEmptyElement(DCM_Rows);
    });
};

} // namespace

TEST(Terminal, CountsColumnsAsTerminalsDo) {
    EXPECT_EQ(columnsOf("abc"), 3U);
    EXPECT_EQ(columnsOf("M\xC3\xBCller"), 6U);
    EXPECT_EQ(columnsOf("\xE5\xB1\xB1\xE7\x94\xB0"), 4U) << "two Chinese characters";
    EXPECT_EQ(columnsOf("e\xCC\x81"), 1U) << "a letter and its accent";
    EXPECT_EQ(columnsOf("\xFF\xE5"), 2U) << "bytes that are no text";
    EXPECT_EQ(columnsOf(""), 0U);
}

TEST(Terminal, CutsBetweenCharactersAndNeverBeyondTheColumns) {
    EXPECT_EQ(cutToColumns("abcdef", 6), "abcdef");
    EXPECT_EQ(cutToColumns("abcdefg", 6), "abc...");
    EXPECT_EQ(cutToColumns("\xE5\xB1\xB1\xE7\x94\xB0\xE5\xB1\xB1\xE7\x94\xB0", 6), "\xE5\xB1\xB1...");
    EXPECT_EQ(cutToColumns("abcdefg", 2), "..");
    EXPECT_EQ(cutToColumns("abcdefg", 0), "");
    EXPECT_EQ(cutToColumns("", 0), "");
}

TEST(Terminal, PadsToColumns) {
    EXPECT_EQ(padded("\xC3\xBC", 3), "\xC3\xBC  ");
    EXPECT_EQ(padded("abcd", 3), "abcd");
}

TEST(Terminal, HasTheWidthThatItSays) {
    EXPECT_EQ(terminalWidth(PseudoTerminal(123).descriptor()), 123U);
    EXPECT_EQ(terminalWidth(PseudoTerminal(0).descriptor()), 80U);
    EXPECT_FALSE(isTerminal(-1));
}

TEST_F(TerminalOutput, NamesAreColouredAndLongValuesCut) {
    // 36 columns of the name, 4 of the value representation: 20 are left.
    EXPECT_EQ(shown({"--tag", "PatientName", "--tag", "PatientComments", "--tag", "Rows", file}),
              "\x1B[36mPatientName\x1B[0m                         \x1B[2mPN\x1B[0m  Doe^Jane\n"
              "\x1B[36mPatientComments\x1B[0m                     \x1B[2mLT\x1B[0m  xxxxxxxxxxxxxxxxx...\n"
              "\x1B[36mRows\x1B[0m                                \x1B[2mUS\x1B[0m  \x1B[2m(empty)\x1B[0m\n");
    EXPECT_THAT(shown({"--full", "--tag", "PatientComments", file}), HasSubstr(std::string(200, 'x')));
}

TEST_F(TerminalOutput, NoColoursWhereTheyAreNotWanted) {
    const std::string plain = "PatientName                         PN  Doe^Jane\n";
    const Words words{"--tag", "PatientName", file};
    EXPECT_EQ(shown(words, {"TERM=xterm", "NO_COLOR=1"}), plain);
    EXPECT_EQ(shown(words, {"TERM=dumb"}), plain);
    EXPECT_EQ(shown(words, {"-u", "TERM"}), plain);
    EXPECT_NE(shown(words, {"TERM=xterm", "NO_COLOR="}), plain) << "empty: as if it were not there";
    EXPECT_EQ(runRadvex(joined({"tags"}, words)).output, plain) << "not on a terminal";
}

TEST_F(TerminalOutput, ATableFitsTheTerminal) {
    const std::string table =
        shown({"--table", "--tag", "PatientComments", "--tag", "PatientName", file}, {"TERM=dumb"});
    std::size_t start = 0;
    for (std::size_t end = table.find('\n'); end != std::string::npos; end = table.find('\n', start)) {
        EXPECT_LE(columnsOf(table.substr(start, end - start)), 60U);
        start = end + 1;
    }
    EXPECT_THAT(table, HasSubstr("Doe^Jane"));
    EXPECT_THAT(table, HasSubstr("xxx..."));
    EXPECT_THAT(shown({"--table", "--full", "--tag", "PatientComments", file}, {"TERM=dumb"}),
                HasSubstr(std::string(200, 'x')));
}

TEST_F(TerminalOutput, JsonAndCommaSeparatedValuesAreNotCut) {
    EXPECT_THAT(shown({"--json", "--tag", "PatientComments", file}), HasSubstr(std::string(200, 'x')));
    EXPECT_THAT(shown({"--csv", "--tag", "PatientComments", file}), HasSubstr(std::string(200, 'x')));
}
