#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "tests/support/TemporaryFolder.h"

// What people read when something fails is written where it fails. This test finds the literals of these messages in
// the sources and judges their words.

using radvex::test::readFile;

namespace {

namespace fs = std::filesystem;

struct Message {
    std::string place{};                 ///< file and line
    std::string call{};                  ///< what it is given to
    std::vector<std::string> literals{}; ///< its parts, in their order
    bool endsWithLiteral = false;
};

struct Word {
    const char* pattern; ///< a regular expression for a whole word
    const char* instead; ///< what to say
};

// Words of programmers and of DCMTK, and synonyms of what docs/glossary.md names.
const std::vector<Word> kForbidden{
    {"I/O", "say what is wrong with the file"},
    {"suspension", "cut off at byte N"},
    {"premature", "cut off at byte N"},
    {"stream", "file, or the standard output"},
    {"OFCondition", "the reason itself"},
    {"Dcm[A-Z]\\w*", "what it is in the file: an element, an item"},
    {"Tag not found", "has no ATTRIBUTE"},
    {"errno", "the system's reason"},
    {"nullptr|null pointer|NULL", "is missing"},
    {"exception", "error"},
    {"segfault|segmentation fault", "ended with signal 11"},
    {"assert(ion)?", "the sentence itself"},
    {"buffer|malloc|heap", "memory"},
    {"parse[ds]?|parsing|parser", "read"},
    {"invalid|illegal", "say what is expected"},
    {"unsupported", "cannot be read, decoded, written"},
    {"aborted", "ended"},
    {"string", "text"},
    {"boolean|integer|float", "true or false, a whole number, a number"},
    {"argument", "word, option"},
    {"parameter", "option, value"},
    {"directory entry", "record"},
    {"pathname|file path|filename|file name", "path, or name"},
    {"stacked|z-position|z position", "position"},
    {"HU values|rescaled values|real world values", "modality values"},
    {"greyscale values|display values", "rendered values"},
    {"temporary directory|temp folder|temp dir", "staging, or nothing at all"},
    {"subdirectory|subdirectories", "folder"},
    {"anonymise|anonymised|anonymisation", "de-identify"},
    {"picture file format", "format"},
    {"deprecated", "say what to use"},
};

std::size_t lineOf(const std::string& text, std::size_t at) {
    return 1 + static_cast<std::size_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
}

/// The offset of the quotation mark that closes the one at `at`; the last offset if none does.
std::size_t closingOf(const std::string& text, std::size_t at) {
    const char mark = text[at];
    for (++at; at + 1 < text.size() && text[at] != mark; ++at) {
        at += text[at] == '\\' ? 1U : 0U;
    }
    return at;
}

/// The literals between the bracket at `at` and the one that closes it.
void collect(const std::string& text, std::size_t at, Message& message) {
    for (int depth = 0; at < text.size(); ++at) {
        const char character = text[at];
        if (character == '"' || character == '\'') { // a text, or a character such as '(' or '"'
            const std::size_t end = closingOf(text, at);
            message.endsWithLiteral = character == '"';
            if (message.endsWithLiteral) {
                message.literals.push_back(text.substr(at + 1, end - at - 1));
            }
            at = end;
        } else if (text.compare(at, 2, "//") == 0) {
            at = std::min(text.find('\n', at), text.size());
        } else if (character == '(' || character == '{') {
            ++depth;
        } else if (character == ')' || character == '}') {
            if (--depth == 0) {
                return;
            }
        } else if (std::isspace(static_cast<unsigned char>(character)) == 0) {
            message.endsWithLiteral = false;
        }
    }
}

/// The messages of one file.
std::vector<Message> messagesIn(const std::string& path, const std::string& text) {
    static const std::regex call(
        R"((?:throw\s+(?:[a-z]+::)*(\w*Error|UnreadFile|runtime_error)|\b(printError|reportRefusal|reportFile|refuse))\s*(?=[({]))");
    std::vector<Message> messages;
    for (std::sregex_iterator found(text.begin(), text.end(), call), end; found != end; ++found) {
        const auto at = static_cast<std::size_t>(found->position() + found->length());
        Message message{path + ":" + std::to_string(lineOf(text, at)),
                        (*found)[1].matched ? (*found)[1].str() : (*found)[2].str()};
        collect(text, at, message);
        if (!message.literals.empty()) {
            messages.push_back(std::move(message));
        }
    }
    return messages;
}

std::vector<Message> allMessages() {
    const fs::path source = RADVEX_SOURCE_DIR;
    std::vector<Message> all;
    for (const char* room : {"cli", "python", "media", "files", "volume", "deidentify", "formats"}) {
        for (const auto& entry : fs::recursive_directory_iterator(source / room)) {
            if (entry.path().extension() == ".cpp" || entry.path().extension() == ".h") {
                const auto some =
                    messagesIn(fs::relative(entry.path(), source).string(), readFile(entry.path().string()));
                all.insert(all.end(), some.begin(), some.end());
            }
        }
    }
    return all;
}

/// The word of the table that a message holds; null if there is none. What stands in quotation marks or behind two
/// dashes is what people typed.
const Word* forbiddenIn(const std::string& literal) {
    static const std::vector<std::regex> patterns = [] {
        std::vector<std::regex> all;
        for (const Word& word : kForbidden) {
            all.emplace_back(std::string("(^|[^\\w`'-])(") + word.pattern + ")($|[^\\w`'-])",
                             std::regex::icase | std::regex::optimize);
        }
        return all;
    }();
    for (std::size_t index = 0; index < patterns.size(); ++index) {
        if (std::regex_search(literal, patterns[index])) {
            return &kForbidden[index];
        }
    }
    return nullptr;
}

bool isSentence(const Message& message) {
    const std::string& last = message.literals.back();
    return !message.endsWithLiteral || last.ends_with('.') || last.ends_with(".)") || last.empty();
}

} // namespace

TEST(Messages, EachIsASentence) {
    for (const Message& message : allMessages()) {
        // Others complete the parts of sentences that these take.
        if (message.call != "refuse" && message.call != "runtime_error") {
            EXPECT_TRUE(isSentence(message)) << message.place << ": " << message.literals.back();
        }
    }
}

TEST(Messages, NoneHasAWordThatOnlyProgrammersKnow) {
    for (const Message& message : allMessages()) {
        for (const std::string& literal : message.literals) {
            const Word* word = forbiddenIn(literal);
            EXPECT_EQ(word, nullptr) << message.place << ": \"" << literal << "\"\n  instead: " << word->instead;
        }
    }
}

TEST(Messages, AreFoundInTheSources) {
    const auto all = allMessages();
    EXPECT_GT(all.size(), 150U);
    std::set<std::string> rooms;
    for (const Message& message : all) {
        rooms.insert(message.place.substr(0, message.place.find('/')));
    }
    EXPECT_EQ(rooms, (std::set<std::string>{"cli", "deidentify", "files", "formats", "media", "python", "volume"}));
}

TEST(Messages, TheSearchFindsWhatItShould) {
    const auto found = messagesIn("a.cpp", R"(
        throw FileError(path + " is a stream"); // of "bytes"
        printError("It is empty: " + name + ".");
        session.reportRefusal("", name);
        throw formats::VolumeError(std::string("a (b") + ')' + "c.");
        throw UsageError("a" + what);
    )");
    ASSERT_EQ(found.size(), 5U);
    EXPECT_EQ(found[0].place, "a.cpp:2");
    EXPECT_FALSE(isSentence(found[0]));
    ASSERT_NE(forbiddenIn(found[0].literals[0]), nullptr);
    EXPECT_TRUE(isSentence(found[1]));
    EXPECT_EQ(found[1].literals, (std::vector<std::string>{"It is empty: ", "."}));
    EXPECT_EQ(found[3].literals, (std::vector<std::string>{"a (b", "c."}));
    EXPECT_FALSE(found[4].endsWithLiteral);
    EXPECT_EQ(forbiddenIn("streamline the 'stream' of --string"), nullptr) << "other words, and what people typed";
}
