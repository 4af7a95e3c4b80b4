#include "deidentify/rewriting/NameSpelling.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <utility>
#include <vector>

#include "deidentify/identifiers/AsciiText.h"
#include "deidentify/identifiers/MeaninglessWords.h"
#include "deidentify/identifiers/TextWords.h"

namespace radvex::deidentify {

namespace {

constexpr char kSetEscape = 0x1B;
constexpr std::size_t kShortestPart = 4; ///< bytes that are in few texts by chance
constexpr std::size_t kLongestPart = 128;
constexpr std::string_view kWideSpace = "!!"; ///< of two-byte characters in bytes of ASCII

struct Part {
    std::string bytes{};
    std::string escapes{}; ///< the sequences that hold where it stands
    std::size_t group = 0; ///< counts '=' and backslashes before it
    bool isCoded = false;  ///< bytes of ASCII that an escape sequence made two-byte characters
    bool isUnspaced = false;
};

bool isHigh(char byte) { return static_cast<unsigned char>(byte) >= 0x80; }

/// Whether the bytes may be one character of two bytes in Shift JIS, GBK, Big5, EUC or Johab.
bool isPair(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    return bytes.size() > 1 && first > 0x80 && first < 0xFF && static_cast<unsigned char>(bytes[1]) >= 0x30;
}

bool isMadeOfPairs(std::string_view bytes) {
    for (; !bytes.empty() && isPair(bytes); bytes.remove_prefix(2)) {
    }
    return bytes.empty();
}

/// The size of a wide space of UTF-8, of EUC and GBK, of Shift JIS or of Big5; 0 for anything else.
std::size_t wideSpaceAt(std::string_view bytes) {
    for (const std::string_view space : {"\xE3\x80\x80", "\xA1\xA1", "\x81\x40", "\xA1\x40"}) {
        if (bytes.starts_with(space)) {
            return space.size();
        }
    }
    return 0;
}

/// Takes the bytes of a value apart. Where '^' may be the second byte of a character, nobody can tell without the
/// character set, so that both readings are tried.
class Parts {
  public:
    Parts(std::string_view rest, bool hasPairs) : mRest(rest), mHasPairs(hasPairs) {
        while (!mRest.empty()) {
            step();
        }
        finish();
    }
    std::vector<Part> all{};

  private:
    void step() {
        if (mRest.front() == kSetEscape) {
            finish();
            takeEscape();
            return;
        }
        const bool isLetter = isDigit(mRest.front()) || isCapital(capitals(mRest.substr(0, 1)).front());
        if (isCoded()) {
            const bool isCharacter = mRest.size() > 1 && mRest[0] > ' ' && mRest[1] > ' ';
            take(isCharacter ? 2 : 1, isCharacter && !mRest.starts_with(kWideSpace));
        } else if (const std::size_t space = wideSpaceAt(mRest); space > 0) {
            take(space, false);
        } else if (mHasPairs && isPair(mRest)) {
            take(2, true);
        } else {
            take(1, isLetter || isHigh(mRest.front()));
        }
    }

    void take(std::size_t size, bool isOfName) {
        if (isOfName) {
            mPart += mRest.substr(0, size);
        } else {
            finish();
            mGroup += mRest.front() == '=' || mRest.front() == '\\' ? 1U : 0U;
        }
        mRest.remove_prefix(size);
    }

    void finish() {
        if (!mPart.empty()) {
            all.push_back({std::exchange(mPart, {}), mFirst + mSecond, mGroup, isCoded(), false});
        }
    }

    /// A sequence is an escape, bytes from space to '/', and one more.
    void takeEscape() {
        const std::size_t last = mRest.find_first_not_of(" !\"#$%&'()*+,-./", 1);
        const std::size_t size = std::min(last, mRest.size() - 1) + 1;
        const std::string_view sequence = mRest.substr(0, size);
        const bool isSecond = sequence.find_first_of(")-") != std::string_view::npos;
        (isSecond ? mSecond : mFirst) = sequence;
        mRest.remove_prefix(size);
    }

    bool isCoded() const { return mFirst.size() > 1 && mFirst[1] == '$'; }

    std::string_view mRest;
    bool mHasPairs;
    std::string mPart{};
    std::string mFirst{};  ///< sequence for the bytes of ASCII
    std::string mSecond{}; ///< sequence for those beyond
    std::size_t mGroup = 0;
};

bool hasUnspaced(const TextWords& words) {
    for (std::size_t index = 0; index < words.count(); ++index) {
        if (words[index].isUnspaced) {
            return true;
        }
    }
    return false;
}

/// Whether the bytes may be in any character set: the set does not explain them, none is named, or the one that most
/// machines write always.
bool mayBeAnother(const std::string& bytes, const std::string& characterSet, TextDecoder& decoder) {
    constexpr std::array<std::string_view, 4> kSets{"", "ISO_IR 6", "ISO_IR 100", "ISO_IR 13"};
    return std::ranges::find(kSets, characterSet) != kSets.end() || !decoder.isKnown(characterSet) ||
           decoder.isDoubtful(bytes, EVR_PN, characterSet);
}

/// Whether bytes of an unknown character set may be a script without spaces.
bool mayBeUnspaced(const std::string& bytes) {
    return text::isUtf8(bytes) ? hasUnspaced(TextWords(bytes)) : isMadeOfPairs(bytes);
}

/// Whether the bytes are words in Latin 1, and so known to a search that reads it.
bool areLatinWords(std::string_view bytes) {
    return std::ranges::all_of(bytes, [](char byte) {
        const auto code = static_cast<unsigned char>(byte);
        return code < 0x80 || (code >= 0xC0 && code != 0xD7 && code != 0xF7);
    });
}

class Learning {
  public:
    Learning(IdentifierKind kind, const std::string& bytes, const std::string& characterSet, TextDecoder& decoder,
             KnownIdentifiers& identifiers)
        : mKind(kind),
          mCharacterSet(characterSet),
          mMayBeAnother(mayBeAnother(bytes, characterSet, decoder)),
          mDecoder(decoder),
          mIdentifiers(identifiers) {}

    void learn(std::vector<Part> parts) {
        for (Part& part : parts) {
            if (judge(part)) {
                add(part.bytes, part.isUnspaced);
            }
        }
        for (std::size_t index = 0; index + 1 < parts.size(); ++index) {
            const Part& one = parts[index];
            const Part& other = parts[index + 1];
            if (one.group == other.group && one.isCoded == other.isCoded && one.isUnspaced && other.isUnspaced) {
                add(one.bytes + other.bytes, true);
                add(other.bytes + one.bytes, true);
            }
        }
    }

  private:
    /// Finds out what a part is. @return whether its bytes have to be known
    bool judge(Part& part) {
        if (isAscii(part.bytes) && !part.isCoded) {
            return false;
        }
        const std::string text = mDecoder.utf8(part.escapes + part.bytes, EVR_PN, mCharacterSet);
        const TextWords words(text);
        const bool saysNothing = isMeaningless(words.text()) || isTitle(words.text());
        part.isUnspaced = !saysNothing && (hasUnspaced(words) || (mMayBeAnother && mayBeUnspaced(part.bytes)));
        const bool isRead = text::isUtf8(part.bytes) ||
                            (areLatinWords(part.bytes) && folded(text::latin1AsUtf8(part.bytes)) == words.text());
        return !saysNothing && (part.isUnspaced || part.isCoded || !isRead);
    }

    void add(const std::string& bytes, bool isUnspaced) {
        if (bytes.size() >= kShortestPart) {
            mIdentifiers.add(NameBytes{mKind, bytes.substr(0, kLongestPart), isUnspaced});
        }
    }

    IdentifierKind mKind;
    const std::string& mCharacterSet;
    bool mMayBeAnother;
    TextDecoder& mDecoder;
    KnownIdentifiers& mIdentifiers;
};

} // namespace

void learnNameBytes(IdentifierKind kind, const std::string& bytes, const std::string& characterSet,
                    TextDecoder& decoder, KnownIdentifiers& identifiers) {
    if (text::hasOneReading(bytes)) {
        return;
    }
    Learning learning(kind, bytes, characterSet, decoder, identifiers);
    for (const bool hasPairs : {false, true}) {
        learning.learn(Parts(bytes, hasPairs).all);
    }
}

} // namespace radvex::deidentify
