#include "fuzz/ProfileRun.h"

#include <array>
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

} // namespace

void runProfile(Harness& harness, const Choices& choices, const std::vector<std::string>& originals) {
    deidentify::AnonymizationSettings settings;
    settings.key = "0123456789abcdef";
    settings.profile = settingsOf(choices);
    const auto run = deidentify::startAnonymization(settings);
    deidentify::KnownIdentifiers known;
    std::vector<std::pair<std::string, std::string>> learnt; // with the instance
    for (const std::string& original : originals) {
        (void)run->kindOf(original);
        (void)tries([&] {
            deidentify::LearntFile file = run->learn(original);
            known.merge(std::move(file.identifiers));
            learnt.emplace_back(original, file.instance);
        });
    }
    const std::set<std::string> words = tellingTexts(known);
    run->know(std::move(known));
    std::vector<deidentify::Anonymization::Listed> listed;
    for (const auto& [original, instance] : learnt) {
        const std::string name = "P" + std::to_string(listed.size());
        const std::string rewritten = harness.claim(name);
        if (tries([&] { (void)run->rewrite(original, rewritten); })) {
            (void)harness.callOnOwn("ReadAllMetadata", {rewritten, velmora::Store::empty(), false});
            expectNone(rewritten, words);
            (void)run->isResultOf(rewritten, instance);
            listed.push_back({rewritten, name});
        }
    }
    const std::string directory = harness.claim("DICOMDIR");
    if (tries([&] { (void)run->writeDirectory(directory, listed); })) {
        (void)harness.callOnOwn("ReadAllMetadata", {directory, velmora::Store::empty(), false});
        expectNone(directory, words);
    }
}

} // namespace radvex::fuzz
