#include "text/TextEncoder.h"

namespace radvex::text {

namespace {

/// Whether all readers of the encoding have the character: they differ in those for private use, and in the euro sign,
/// for which there is none in GBK as it was first.
bool isCommon(std::string_view character, std::string_view encoding) {
    return encoding == "UTF-8" || (!isPrivateUse(character) && (encoding != "GBK" || character != "\xE2\x82\xAC"));
}

/// Writes one text. Readers differ in what an escape sequence leaves of the set before. So one set counts at a time:
/// the one that was named last.
class EscapedWriting {
  public:
    EscapedWriting(const DeclaredSets& sets, std::string_view delimiters, Converters& converters)
        : mSets(sets), mDelimiters(delimiters), mConverters(converters) {}

    std::optional<std::string> run(std::string_view text) {
        for (std::size_t at = 0; at < text.size();) {
            const std::string_view character = text.substr(at, bytesOfCharacter(text[at]));
            at += character.size();
            const bool isAscii = character.size() == 1;
            if (isAscii) {
                writeAscii(character.front());
            } else if (!write(character)) {
                return std::nullopt;
            }
        }
        returnToFirst();
        return std::move(mBytes);
    }

  private:
    void writeAscii(char character) {
        if (static_cast<unsigned char>(character) < ' ' || mDelimiters.find(character) != std::string_view::npos) {
            returnToFirst();
        } else {
            leavePairs();
        }
        mBytes += character;
    }

    bool write(std::string_view character) {
        // The set that holds, then the first one, then the others in their order.
        if (mActive != nullptr && writeIn(*mActive, character)) {
            return true;
        }
        if (mSets.high != nullptr && mSets.high != mActive && writeIn(*mSets.high, character)) {
            return true;
        }
        for (const CodedSet* set : mSets.changes) {
            if (set != mActive && set != mSets.high && writeIn(*set, character)) {
                return true;
            }
        }
        return false;
    }

    bool writeIn(const CodedSet& set, std::string_view character) {
        const auto bytes = encoded(set, character, mConverters);
        if (bytes) {
            const bool isFirst = mActive == nullptr && &set == mSets.high;
            if (!isFirst && &set != mActive) {
                change(set);
            }
            mBytes += *bytes;
        }
        return bytes.has_value();
    }

    void change(const CodedSet& set) {
        mBytes += kEscape;
        mBytes += set.escape;
        mActive = &set;
        if (!set.isLow) {
            mHigh = &set;
        }
    }

    /// ASCII behind characters of two bytes. Chinese ones have the highest bit and would not need it, but some readers
    /// take their characters in pairs.
    void leavePairs() {
        if (mActive != nullptr && mActive->bytes == 2 && (mActive->isLow || mActive->number == "58")) {
            change(*mSets.low);
        }
    }

    void returnToFirst() {
        leavePairs();
        if (mSets.high != nullptr && mHigh != nullptr && mHigh != mSets.high) {
            change(*mSets.high);
        }
        mActive = nullptr;
        mHigh = nullptr;
    }

    const DeclaredSets& mSets;
    std::string_view mDelimiters;
    Converters& mConverters;
    const CodedSet* mActive = nullptr; ///< named last; null: none since the first ones hold
    const CodedSet* mHigh = nullptr;   ///< named last for bytes with the highest bit
    std::string mBytes{};
};

} // namespace

std::optional<std::string> TextEncoder::encoded(const std::string& text, DcmEVR vr, const std::string& characterSet) {
    if (hasOneReading(text)) {
        return text;
    }
    const DeclaredSets sets = declaredSets(characterSet);
    const bool isAllowed = sets.isKnown && (sets.high == nullptr || sets.high->bytes == 1);
    if (!isAllowed || !hasCharacterSet(vr) || !isUtf8(text) || text.find(kEscape) != std::string::npos) {
        return std::nullopt;
    }
    auto bytes = sets.whole != nullptr ? encodedWhole(text, sets.whole)
                                       : EscapedWriting(sets, delimitersOf(vr), mConverters).run(text);
    const bool comesBack = bytes && mDecoder.converted(*bytes, vr, characterSet) == text;
    return comesBack ? bytes : std::nullopt;
}

std::optional<std::string> TextEncoder::encodedWhole(const std::string& text, const char* encoding) {
    for (std::size_t at = 0; at < text.size(); at += bytesOfCharacter(text[at])) {
        if (!isCommon(std::string_view(text).substr(at, bytesOfCharacter(text[at])), encoding)) {
            return std::nullopt;
        }
    }
    return mConverters.fromUtf8(encoding, text);
}

} // namespace radvex::text
