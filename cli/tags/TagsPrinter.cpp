#include "cli/tags/TagsPrinter.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <tuple>

#include "cli/arguments/Words.h"
#include "cli/tags/DicomJson.h"
#include "cli/tags/TagsTable.h"
#include "formats/json/MetadataJson.h"
#include "formats/json/Text.h"
#include "workers/Parcel.h"

namespace radvex::cli {

namespace {

using media::Element;

/// What another process sends of a file.
struct FileTags {
    std::string text{};
    Row cells{};
    std::vector<bool> isThere{}; ///< for each attribute that was asked for
    std::string guessed{};       ///< the first text that is in no known character set

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.text, self.cells, self.isThere, self.guessed);
    }
};

/// The first text whose bytes its character set does not explain; empty when there is none.
std::string firstGuessed(const std::vector<Element>& elements) {
    for (const Element& element : elements) {
        if (!element.isBinary() && !element.bytes.empty()) {
            return media::keyOf(element);
        }
        for (const auto& item : element.items) {
            if (std::string inside = firstGuessed(item); !inside.empty()) {
                return inside;
            }
        }
    }
    return "";
}

/// The elements that were asked for, or all.
std::vector<Element> chosenOf(std::vector<Element> elements, const TagsRequest& request, FileTags& tags) {
    if (request.choice.paths.empty()) {
        return elements;
    }
    std::vector<Element> chosen;
    for (const TagPath& path : request.choice.paths) {
        const auto found = findElements(elements, path);
        tags.isThere.push_back(!found.empty());
        for (const FoundElement& each : found) {
            chosen.push_back(*each.element);
        }
    }
    return chosen;
}

void appendDump(std::string& text, const std::vector<Element>& elements, std::size_t indent) {
    const std::string blanks(indent, ' ');
    for (const Element& element : elements) {
        text += blanks + element.text + '\n';
        for (const auto& item : element.items) {
            text += blanks + "  (fffe,e000) na (Item #=" + std::to_string(item.size()) + ")\n";
            appendDump(text, item, indent + 4);
        }
    }
}

FileTags attributesOf(velmora::Host& host, const TagsRequest& request, const std::string& file) {
    const FileAttributes attributes(host, file, request.choice);
    FileTags tags{.isThere = attributes.isThere()};
    if (request.form == TagsForm::Json) {
        appendJson(tags.text, attributes.shown(), request.lists);
    } else {
        appendText(tags.text, attributes.shown(), request.text);
    }
    return tags;
}

FileTags elementsOf(const TagsRequest& request, const std::string& file) {
    FileTags tags;
    if (request.form == TagsForm::Csv || request.form == TagsForm::Table) {
        const auto elements = media::listElements(file, requestFor(request.choice.paths));
        tags.cells = cellsOf(elements, request.choice.paths, tags.isThere);
        tags.guessed = firstGuessed(elements);
    } else if (request.form == TagsForm::DicomJson) {
        const auto all = media::listElements(file, {.values = media::ElementValues::Text, .binary = true});
        const auto chosen = chosenOf(all, request, tags);
        appendDicomJson(tags.text, chosen);
        tags.guessed = firstGuessed(chosen);
    } else {
        const auto elements =
            media::listElements(file, {.values = media::ElementValues::Dump, .whole = request.text.whole});
        appendDump(tags.text, chosenOf(elements, request, tags), 0);
    }
    return tags;
}

/// Prints one file after the other.
class TagsPrinter {
  public:
    TagsPrinter(const TagsRequest& request, bool several)
        : mRequest(request),
          mIsJson(request.form == TagsForm::Json || request.form == TagsForm::DicomJson),
          mIsNamed((several || request.byFile) && !isList(request, several)),
          mIsList(isList(request, several)) {
        Row head{"file"};
        for (const TagPath& path : request.choice.paths) {
            head.push_back(path.words);
        }
        mRows.push_back(head);
        if (request.form == TagsForm::Csv) {
            std::cout << csvRow(head);
        }
    }

    void print(const std::string& file, const FileTags& tags) {
        if (mRequest.form == TagsForm::Csv || mRequest.form == TagsForm::Table) {
            printRow(file, tags);
        } else {
            std::cout << headlineOf(file) << tags.text;
        }
        mIsFirst = false;
    }

    void finish() {
        if (mRequest.form == TagsForm::Table) {
            std::cout << alignedTable(mRows, mRequest.text.look, mRequest.text.whole);
        } else if (mIsNamed && mIsJson) {
            std::cout << (mIsFirst ? "{" : "") << "\n}\n";
        } else if (mIsList) {
            std::cout << (mIsFirst ? "[" : "") << "\n]\n";
        } else if (mIsJson && !mIsFirst) {
            std::cout << '\n';
        }
    }

  private:
    static bool isList(const TagsRequest& request, bool several) {
        return request.form == TagsForm::DicomJson && several && !request.byFile;
    }

    std::string headlineOf(const std::string& file) const {
        std::string headline;
        if (mIsList) {
            return mIsFirst ? "[\n" : ",\n";
        }
        if (mIsNamed && mIsJson) {
            headline = mIsFirst ? "{\n" : ",\n";
            formats::appendJsonText(headline, file);
            headline += ':';
        } else if (mIsNamed) {
            headline = toned("# " + formats::printable(file), Tone::Strong, mRequest.text.look.isColoured) + '\n';
        }
        return headline;
    }

    void printRow(const std::string& file, const FileTags& tags) {
        Row row{file};
        row.insert(row.end(), tags.cells.begin(), tags.cells.end());
        if (mRequest.form == TagsForm::Table) {
            mRows.push_back(std::move(row));
            return;
        }
        const bool isShown = mRequest.text.look.width > 0; // what is shown must not control the terminal
        std::ranges::transform(row, row.begin(),
                               [&](const std::string& cell) { return isShown ? formats::printable(cell) : cell; });
        std::cout << csvRow(row);
    }

    const TagsRequest& mRequest;
    bool mIsJson;
    bool mIsNamed; ///< each file is named in front of its attributes
    bool mIsList;
    bool mIsFirst = true;
    std::vector<Row> mRows{};
};

/// Which attributes are absent from how many files.
class AbsentTags {
  public:
    explicit AbsentTags(const std::vector<TagPath>& paths)
        : mPaths(paths), mAbsent(paths.size()), mFirst(paths.size()) {}

    void take(const std::string& file, const std::vector<bool>& isThere) {
        mLast = file;
        ++mFiles;
        for (std::size_t path = 0; path < std::min(isThere.size(), mPaths.size()); ++path) {
            if (!isThere[path] && mAbsent[path]++ == 0) {
                mFirst[path] = file;
            }
        }
    }

    void report(Session& session) const {
        for (std::size_t path = 0; path < mPaths.size(); ++path) {
            const std::string& words = mPaths[path].words;
            if (mAbsent[path] == 0) {
                continue;
            }
            if (mAbsent[path] < mFiles) {
                printError(std::to_string(mAbsent[path]) + " of " + std::to_string(mFiles) + " files have no " + words +
                           "; the first is " + mFirst[path] + ".");
                continue;
            }
            const std::string all = "None of the " + std::to_string(mFiles) + " files has " + words + ".";
            session.reportRefusal("", mFiles == 1 ? mLast + " has no " + words + "." : all);
        }
    }

  private:
    const std::vector<TagPath>& mPaths;
    std::vector<std::size_t> mAbsent;
    std::vector<std::string> mFirst;
    std::size_t mFiles = 0;
    std::string mLast{};
};

/// In how many files texts had to be guessed.
class GuessedTexts {
  public:
    void take(const std::string& file, const std::string& guessed) {
        if (!guessed.empty() && mFiles++ == 0) {
            mFirst = guessed + " of " + file;
        }
    }

    void report() const {
        if (mFiles > 0) {
            printError("warning: bytes that are in no known character set are shown as Latin 1, in " +
                       formats::counted(mFiles, "file", "files") + "; the first are " + mFirst +
                       ". 'radvex tags --json' shows such bytes as they are.");
        }
    }

  private:
    std::size_t mFiles = 0;
    std::string mFirst{};
};

} // namespace

std::string excludedKey(velmora::Host& host, const std::string& words) {
    const auto number = parseTagNumber(words);
    if (!number) {
        return knownKeyword(host, words);
    }
    Element element;
    element.group = static_cast<std::uint16_t>(std::stoul(number->first, nullptr, 16));
    element.number = static_cast<std::uint16_t>(std::stoul(number->second, nullptr, 16));
    const auto& known = media::knownAttributes();
    const auto found = std::ranges::find_if(known, [&](const media::KnownAttribute& attribute) {
        return attribute.group == element.group && attribute.number == element.number;
    });
    element.keyword = found == known.end() ? "" : found->keyword;
    return media::keyOf(element);
}

std::string describeFile(velmora::Host& host, const TagsRequest& request, const std::string& path) {
    const bool isFromLibrary = request.form == TagsForm::Text || request.form == TagsForm::Json;
    return workers::toParcel(isFromLibrary ? attributesOf(host, request, path) : elementsOf(request, path));
}

void printTags(Session& session, const TagsRequest& request, const FileJobs& jobs, const PartialOption& partial,
               const std::vector<std::string>& files, bool several, const DescribeFile& describe) {
    TagsPrinter printer(request, several);
    AbsentTags absent(request.choice.paths);
    GuessedTexts guessed;
    jobs.forEach(session, files, true, describe, [&](const std::string& file, const std::string& parcel) {
        const auto tags = workers::fromParcel<FileTags>(parcel);
        PartialOption::tell(session, partial.noticeOf(file));
        printer.print(file, tags);
        absent.take(file, tags.isThere);
        guessed.take(file, tags.guessed);
    });
    printer.finish();
    std::cout.flush();
    absent.report(session);
    guessed.report();
}

} // namespace radvex::cli
