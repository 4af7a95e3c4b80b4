#include "text/EscapedText.h"

namespace radvex::text {

namespace {

/// Reads one text.
class EscapedText {
  public:
    EscapedText(std::string_view bytes, const DeclaredSets& sets, std::string_view delimiters, NoCharacter noCharacter,
                Converters& converters)
        : mBytes(bytes),
          mDelimiters(delimiters),
          mFirstLow(sets.low),
          mFirstHigh(sets.high == nullptr && noCharacter == NoCharacter::ReplaceOrGuess ? setOfEscape("-A")
                                                                                        : sets.high),
          mReplaces(noCharacter != NoCharacter::Refuse),
          mConverters(converters) {}

    std::optional<std::string> run() {
        while (mAt < mBytes.size() && !mIsRefused) {
            if (mBytes[mAt] == kEscape) {
                readEscape();
            } else {
                readCharacter();
            }
        }
        flush();
        return mIsRefused ? std::nullopt : std::optional(std::move(mText));
    }

  private:
    void readEscape() {
        const CodedSet* set = setOfEscape(mBytes.substr(++mAt));
        if (set == nullptr) {
            mIsRefused = !mReplaces;
            return;
        }
        mAt += set->escape.size();
        (set->isLow ? mLow : mHigh) = set;
    }

    void readCharacter() {
        const char first = mBytes[mAt];
        const bool isHigh = static_cast<signed char>(first) < 0;
        const bool isControl = !isHigh && first < ' ';
        const bool isDelimiter = mLow->bytes == 1 && mDelimiters.find(first) != std::string_view::npos;
        if (isControl || isDelimiter) {
            mLow = mFirstLow;
            mHigh = mFirstHigh;
        }
        const bool isInNoSet = isControl || first == ' ' || first == '\x7F'; // the same in all of two bytes
        const CodedSet* set = isHigh ? mHigh : isInNoSet ? mFirstLow : mLow;
        const std::string_view character = mBytes.substr(mAt, set == nullptr ? 1 : set->bytes);
        if (set == nullptr || character.size() < set->bytes || !isFormed(*set, character)) {
            addReplacement();
            ++mAt;
            return;
        }
        if (mSet != set) {
            flush();
            mSet = set;
        }
        mWaiting += character;
        mAt += character.size();
    }

    void addReplacement() {
        flush();
        mText += "\xEF\xBF\xBD";
        mIsRefused = !mReplaces;
    }

    void flush() {
        if (mSet == nullptr || mWaiting.empty() || mIsRefused) {
            return;
        }
        if (const auto text = decoded(*mSet, mWaiting, mConverters)) {
            mText += *text;
        } else if (!mReplaces) {
            mIsRefused = true;
        } else {
            for (std::size_t at = 0; at < mWaiting.size(); at += mSet->bytes) {
                const auto one = decoded(*mSet, std::string_view(mWaiting).substr(at, mSet->bytes), mConverters);
                mText += one ? *one : "\xEF\xBF\xBD";
            }
        }
        mWaiting.clear();
    }

    std::string_view mBytes;
    std::string_view mDelimiters;
    const CodedSet* mFirstLow;
    const CodedSet* mFirstHigh;
    const bool mReplaces;
    Converters& mConverters;
    const CodedSet* mLow = mFirstLow;
    const CodedSet* mHigh = mFirstHigh;
    std::size_t mAt = 0;
    bool mIsRefused = false;
    const CodedSet* mSet = nullptr;
    std::string mWaiting{}; ///< characters of that set
    std::string mText{};
};

} // namespace

std::optional<std::string> utf8FromEscapes(std::string_view bytes, const DeclaredSets& sets,
                                           std::string_view delimiters, NoCharacter noCharacter,
                                           Converters& converters) {
    return EscapedText(bytes, sets, delimiters, noCharacter, converters).run();
}

} // namespace radvex::text
