#include "deidentify/PseudonymTable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "tests/support/TemporaryFolder.h"

using namespace radvex::deidentify;
using radvex::test::readFile;
using radvex::test::TemporaryFolder;
using testing::HasSubstr;

namespace {

PatientPseudonym made(const std::string& patient) {
    std::string word = patient;
    std::ranges::replace(word, '\n', '_');
    return {"N-" + word, "Name-" + word};
}

std::map<std::string, PatientPseudonym> use(const std::string& path, const std::set<std::string>& patients = {},
                                            bool isWritten = true) {
    return pseudonymsOf(path, patients, isWritten, made);
}

/// What a table is refused with; empty when it is not.
std::string refusalOf(const std::string& text) {
    const TemporaryFolder folder;
    const std::string path = folder.write("table.csv", text);
    try {
        (void)use(path, {"P9"});
        return "";
    } catch (const std::exception& error) {
        EXPECT_EQ(readFile(path), text) << "a table that is refused stays as it is";
        return error.what();
    }
}

/// The pseudonym of P1 in a table.
PatientPseudonym firstOf(const std::string& text) {
    const TemporaryFolder folder;
    return use(folder.write("table.csv", text)).at("P1");
}

/// Whether the body, in a process of its own, ends well.
template <typename Body>
pid_t inChild(Body body) {
    const pid_t child = fork();
    if (child == 0) {
        try {
            body();
            _exit(0);
        } catch (const std::exception&) {
            _exit(1);
        }
    }
    return child;
}

int statusOf(pid_t child) {
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace

TEST(PseudonymTable, IsMadeWithAHeadingAndForItsOwnerOnly) {
    const TemporaryFolder folder;
    const std::string path = folder.file("table.csv");
    EXPECT_EQ(use(path, {"P1", "P2"}).size(), 2U);
    EXPECT_EQ(readFile(path), "original ID,new ID,new name\nP1,N-P1,Name-P1\nP2,N-P2,Name-P2\n");
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

TEST(PseudonymTable, IsExtendedByThoseWhomItLacks) {
    const TemporaryFolder folder;
    const std::string path = folder.write("table.csv", "original ID,new ID,new name\nP1,S01,Subject 1\n");
    const auto table = use(path, {"P1", "P2"});
    EXPECT_EQ(table.at("P1").id, "S01");
    EXPECT_EQ(table.at("P1").name, "Subject 1");
    EXPECT_EQ(table.at("P2").id, "N-P2");
    EXPECT_EQ(readFile(path), "original ID,new ID,new name\nP1,S01,Subject 1\nP2,N-P2,Name-P2\n");
    EXPECT_EQ(use(path, {"P2"}).at("P2").id, "N-P2");
    EXPECT_EQ(readFile(path), "original ID,new ID,new name\nP1,S01,Subject 1\nP2,N-P2,Name-P2\n");
}

TEST(PseudonymTable, ReadsQuotedCells) {
    EXPECT_EQ(firstOf("P1,S01,\"Doe, Jane\"\n").name, "Doe, Jane");
    EXPECT_EQ(firstOf("\"P1\",\"S\"\"01\",\n").id, "S\"01");
    EXPECT_EQ(firstOf("P1,S01,\n").name, "");
}

TEST(PseudonymTable, WritesQuotesWhereTheyAreNeeded) {
    const TemporaryFolder folder;
    const std::string path = folder.file("table.csv");
    const std::set<std::string> patients{"a,b", "say \"x\"", "two\nlines"};
    const auto table = use(path, patients);
    const auto again = use(path);
    EXPECT_EQ(again.size(), patients.size());
    for (const std::string& patient : {std::string("a,b"), std::string("say \"x\""), std::string("two\nlines")}) {
        ASSERT_TRUE(table.contains(patient));
        ASSERT_TRUE(again.contains(patient)) << patient;
        EXPECT_EQ(again.at(patient).id, table.at(patient).id);
    }
}

TEST(PseudonymTable, ReadsWhatOtherProgramsWrite) {
    EXPECT_EQ(firstOf("original ID,new ID,new name\r\nP1,S01,One\r\n").name, "One");
    EXPECT_EQ(firstOf("P1,S01,One").name, "One") << "the last line does not end";
    EXPECT_EQ(firstOf("\xEF\xBB\xBForiginal ID,new ID,new name\nP1,S01,One\n").name, "One");
    EXPECT_EQ(firstOf("\xEF\xBB\xBFP1,S01,One\n").name, "One") << "a mark of UTF-8 is no part of the first ID";
    EXPECT_EQ(firstOf("P1,S01,One\n\n").name, "One");
    EXPECT_EQ(firstOf(" P1 , S01 , One \n").id, "S01");
}

TEST(PseudonymTable, ALastLineThatDoesNotEndIsNotGluedToTheNext) {
    const TemporaryFolder folder;
    const std::string path = folder.write("table.csv", "P1,S01,One");
    (void)use(path, {"P2"});
    EXPECT_EQ(readFile(path), "P1,S01,One\nP2,N-P2,Name-P2\n");
}

TEST(PseudonymTable, RefusesTwoLinesForOnePatientOrOneNewIdForTwo) {
    EXPECT_THAT(refusalOf("P1,S01,a\nP1,S02,b\n"), HasSubstr("line 2: the original ID stands in an earlier line too"));
    EXPECT_THAT(refusalOf("P1,S01,a\nP2,S01,b\n"), HasSubstr("line 2: another patient has the same new ID"));
    EXPECT_THAT(refusalOf("P1,S01,a\nP2,S01 ,b\n"), HasSubstr("the same new ID")) << "spaces around an ID do not count";
}

TEST(PseudonymTable, RefusesANewIdOrNameThatNoFileCanHold) {
    for (const std::string& id : {std::string(), std::string("a\\b"), std::string(65, 'x'), std::string("\"a\nb\""),
                                  std::string("a\tb"), std::string("   ")}) {
        EXPECT_THAT(refusalOf("P1," + id + ",One\n"), HasSubstr("the new ID")) << id;
    }
    for (const std::string& name : {std::string("a\\b"), std::string("\"a\nb\""), std::string(70, 'x')}) {
        EXPECT_THAT(refusalOf("P1,S01," + name + "\n"), HasSubstr("the new name")) << name;
    }
    EXPECT_THAT(refusalOf("P1,\xFC,One\n"), HasSubstr("UTF-8"));
    EXPECT_EQ(firstOf("P1," + std::string(64, 'x') + ",One\n").id.size(), 64U);
}

TEST(PseudonymTable, RefusesOtherNumbersOfCells) {
    for (const char* text : {"P1,S01\n", "P1;S01;One\n", "P1,S01,One,more\n", "P1\n"}) {
        EXPECT_THAT(refusalOf(text), HasSubstr("line 1: an original ID")) << text;
    }
}

TEST(PseudonymTable, RefusesAQuoteThatDoesNotEnd) {
    // Else the lines behind it would be a part of a name, and what is added too.
    EXPECT_THAT(refusalOf("P1,S01,\"One\nP2,S02,Two\n"), HasSubstr("quote"));
}

TEST(PseudonymTable, IsNotMadeOrChangedByARunThatWritesNothing) {
    const TemporaryFolder folder;
    EXPECT_EQ(use(folder.file("none.csv"), {"P1"}, false).at("P1").id, "N-P1");
    EXPECT_FALSE(std::filesystem::exists(folder.file("none.csv")));
    const std::string path = folder.write("table.csv", "P1,S01,One\n");
    EXPECT_EQ(use(path, {"P1", "P2"}, false).at("P1").id, "S01");
    EXPECT_EQ(readFile(path), "P1,S01,One\n");
}

TEST(PseudonymTable, ATableThatCannotBeOpenedOrReadIsNamed) {
    const TemporaryFolder folder;
    EXPECT_THAT([&] { (void)use(folder.path().string(), {"P1"}); },
                testing::ThrowsMessage<std::exception>(HasSubstr(folder.path().string())));
    EXPECT_THAT([&] { (void)use(folder.path().string(), {"P1"}, false); },
                testing::ThrowsMessage<std::exception>(HasSubstr("cannot be read")));
    EXPECT_THAT([&] { (void)use(folder.file("none/table.csv"), {"P1"}); },
                testing::ThrowsMessage<std::exception>(HasSubstr("none/table.csv cannot be opened")));
}

TEST(PseudonymTable, IsExtendedByManyProcessesAtOnceWithoutLoss) {
    constexpr int kProcesses = 4;
    constexpr int kTurns = 25;
    const TemporaryFolder folder;
    const std::string path = folder.file("table.csv");
    std::vector<pid_t> children;
    for (int process = 0; process < kProcesses; ++process) {
        children.push_back(inChild([&] {
            for (int turn = 0; turn < kTurns; ++turn) {
                (void)use(path, {"all" + std::to_string(turn), std::to_string(process) + '-' + std::to_string(turn)});
            }
        }));
    }
    for (const pid_t child : children) {
        EXPECT_EQ(statusOf(child), 0);
    }
    const auto table = use(path); // refuses a patient who was added twice
    EXPECT_EQ(table.size(), static_cast<std::size_t>(kTurns + kProcesses * kTurns));
}

TEST(PseudonymTable, WhatAFullDiskCutsShortIsTakenBack) {
    const TemporaryFolder folder;
    const std::string before = "original ID,new ID,new name\nP1,S01,One\n";
    const std::string path = folder.write("table.csv", before);
    const pid_t child = inChild([&] {
        (void)std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{before.size() + 10, before.size() + 10};
        if (setrlimit(RLIMIT_FSIZE, &limit) != 0) {
            _exit(2);
        }
        try {
            (void)use(path, {"P2"});
            _exit(3);
        } catch (const std::exception& error) {
            const std::string said = error.what();
            _exit(said.find("cannot be written") != std::string::npos && said.find("Success") == std::string::npos ? 0
                                                                                                                   : 4);
        }
    });
    EXPECT_EQ(statusOf(child), 0) << "3: nothing was said, 4: nothing useful";
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(use(path, {"P2"}).at("P2").id, "N-P2") << "the next run goes on";
}
