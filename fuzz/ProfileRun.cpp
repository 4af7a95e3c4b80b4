#include "fuzz/ProfileRun.h"

#include <algorithm>
#include <array>
#include <memory>
#include <set>
#include <stdexcept>

#include "dcmtk/config/osconfig.h"
#include "deidentify/Anonymization.h"

#include "dcmtk/dcmdata/dcfilefo.h"

namespace radvex::fuzz {

namespace {

using deidentify::Identifier;
using deidentify::IdentifierKind;

constexpr const char* kMasks = R"([{"match": {}, "rectangles": [[0, 0, 3, 2], [-2, -2, 2, 2]], "burnedIn": "NO"},
                                   {"match": {"Modality": "US"}, "outsideRegions": true}])";

/// Options, masks and private attributes from the third to the fifth byte of the choices.
deidentify::ProfileSettings settingsOf(const Choices& choices) {
    deidentify::ProfileSettings settings;
    const unsigned word = choices.word(2);
    for (std::size_t option = 0; option < deidentify::kProfileOptionCount; ++option) {
        settings.options.chosen[option] = (word >> option & 1U) != 0;
    }
    if (choices.bit(4, 0)) {
        settings.masks = kMasks;
        settings.masksName = "masks.json";
    }
    if (choices.bit(4, 1)) {
        settings.acceptedPixels = {"face", "document"};
    }
    if (choices.bit(4, 2)) {
        for (unsigned element = 0; element < 256; ++element) {
            settings.keptPrivates.insert({"RADVEX", 0x0009, static_cast<std::uint8_t>(element)});
            settings.keptPrivates.insert({"RADVEX", 0x0029, static_cast<std::uint8_t>(element)});
        }
    }
    return settings;
}

bool isDigit(char character) { return character >= '0' && character <= '9'; }

bool isWordPart(char character) {
    return isDigit(character) || (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           character == '.';
}

/// UIDs and numbers that no dummy value and no word of a vocabulary holds by chance.
std::set<std::string> tellingTexts(const deidentify::KnownIdentifiers& known) {
    constexpr std::size_t kShortest = 8;
    constexpr std::ptrdiff_t kDigits = 5;
    std::set<std::string> texts;
    for (const Identifier& identifier : known.all()) {
        const std::string& text = identifier.text;
        const bool isNumber = identifier.kind == IdentifierKind::Uid || identifier.kind == IdentifierKind::PatientId ||
                              identifier.kind == IdentifierKind::OtherId;
        const bool isPlain = std::ranges::all_of(text, isWordPart) && isDigit(text.front()) && isDigit(text.back());
        const bool isDate = text.starts_with("19000101");
        if (isNumber && isPlain && !isDate && text.size() >= kShortest &&
            std::ranges::count_if(text, isDigit) >= kDigits) {
            texts.insert(text);
        }
    }
    return texts;
}

bool holdsWord(const std::string& text, const std::string& word) {
    for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) {
        const std::size_t end = at + word.size();
        const auto isPart = [&](std::size_t index) {
            return isWordPart(text[index]) || static_cast<signed char>(text[index]) < ' ';
        };
        if ((at == 0 || !isPart(at - 1)) && (end == text.size() || !isPart(end))) {
            return true;
        }
    }
    return false;
}

void expectNone(const std::string& text, const std::set<std::string>& words, DcmElement& element) {
    for (const std::string& word : words) {
        if (holdsWord(text, word)) {
            throw std::runtime_error("'" + word + "' is left in " + element.getTag().toString().c_str());
        }
    }
}

void expectNone(const std::string& path, const std::set<std::string>& words) {
    constexpr std::array kTexts{EVR_LO, EVR_LT, EVR_PN, EVR_SH, EVR_ST, EVR_UC, EVR_UT};
    DcmFileFormat file;
    if (words.empty() || file.loadFile(path.c_str()).bad()) {
        return;
    }
    DcmStack stack;
    while (file.getDataset()->nextObject(stack, true).good()) {
        auto* element = dynamic_cast<DcmElement*>(stack.top());
        char* text = nullptr;
        Uint32 length = 0;
        if (element != nullptr && std::ranges::count(kTexts, element->ident()) > 0 &&
            element->getString(text, length).good() && text != nullptr) {
            expectNone(std::string(text, length), words, *element);
        }
    }
}

/// A run tells of its errors by sentences for the user. @return false  it did
template <typename Step>
bool tries(Step step) {
    try {
        step();
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

/// The steps of the command for the files of one input.
class ProfileRun {
  public:
    ProfileRun(Harness& harness, const Choices& choices) : mHarness(harness) {
        deidentify::AnonymizationSettings settings;
        settings.key = "0123456789abcdef";
        settings.profile = settingsOf(choices);
        mRun = deidentify::startAnonymization(settings);
    }

    void learn(const std::string& original) {
        (void)mRun->kindOf(original);
        (void)tries([&] {
            deidentify::LearntFile file = mRun->learn(original);
            mKnown.merge(std::move(file.identifiers));
            mLearnt.emplace_back(original, file.instance);
        });
    }

    void rewriteAll() {
        mWords = tellingTexts(mKnown);
        mRun->know(std::move(mKnown));
        for (const auto& file : mLearnt) {
            const std::string name = "P" + std::to_string(mListed.size());
            const std::string rewritten = mHarness.claim(name);
            if (tries([&] { (void)mRun->rewrite(file.first, rewritten); })) {
                check(rewritten);
                (void)mRun->earlierResult(rewritten, file.second);
                mListed.push_back({rewritten, name});
            }
        }
        const std::string directory = mHarness.claim("DICOMDIR");
        if (tries([&] { (void)mRun->writeDirectory(directory, mListed); })) {
            check(directory);
        }
    }

  private:
    void check(const std::string& path) {
        (void)mHarness.callOnOwn("ReadAllMetadata", {path, velmora::Store::empty(), false});
        expectNone(path, mWords);
    }

    Harness& mHarness;
    std::unique_ptr<deidentify::Anonymization> mRun{};
    deidentify::KnownIdentifiers mKnown{};
    std::set<std::string> mWords{};                             ///< no new file may hold them
    std::vector<std::pair<std::string, std::string>> mLearnt{}; ///< originals and their instances
    std::vector<deidentify::Anonymization::Listed> mListed{};
};

} // namespace

void runProfile(Harness& harness, const Choices& choices, const std::vector<std::string>& originals) {
    ProfileRun run(harness, choices);
    for (const std::string& original : originals) {
        run.learn(original);
    }
    run.rewriteAll();
}

} // namespace radvex::fuzz
