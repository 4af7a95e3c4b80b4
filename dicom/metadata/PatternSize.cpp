#include "dicom/metadata/PatternSize.h"

#include <algorithm>
#include <cctype>
#include <utility>
#include <vector>

namespace radvex {

namespace {

constexpr std::size_t kMost = 100'000;

/// The place behind a class in brackets. Inside it stand characters, and names such as [:alpha:].
std::size_t behindClass(const std::string& pattern, std::size_t place) {
    ++place;
    while (place < pattern.size() && pattern[place] != ']') {
        const char next = place + 1 < pattern.size() ? pattern[place + 1] : '\0';
        if (pattern[place] == '[' && (next == ':' || next == '.' || next == '=')) {
            const std::size_t end = pattern.find(std::string{next, ']'}, place + 2);
            place = end == std::string::npos ? pattern.size() : end + 2;
        } else {
            place += std::size_t{pattern[place] == '\\' ? 2U : 1U};
        }
    }
    return place + 1;
}

/// How often at most "{2}", "{2,}" or "{2,5}" repeats, from its bracket on; and the place of its end.
std::pair<std::size_t, std::size_t> repeats(const std::string& pattern, std::size_t place) {
    std::size_t most = 0;
    std::size_t number = 0;
    for (++place; place < pattern.size() && pattern[place] != '}'; ++place) {
        const bool isDigit = std::isdigit(static_cast<unsigned char>(pattern[place])) != 0;
        number = isDigit ? std::min(kMost, number * 10 + static_cast<std::size_t>(pattern[place] - '0')) : 0;
        most = std::max(most, number);
    }
    return {most + 1, place}; // one more, for the last one without a limit
}

/// Sums up states, group by group.
class StateCount {
  public:
    void open() { mGroups.push_back(kGroup); }
    void close() {
        if (mGroups.size() > 1) {
            mLast = mGroups.back();
            mGroups.pop_back();
            mGroups.back() = std::min(kMost, mGroups.back() + mLast);
        }
    }
    void add(std::size_t states) {
        mLast = states;
        mGroups.back() = std::min(kMost, mGroups.back() + states);
    }
    /// What came last, which is a group or a character.
    void repeat(std::size_t times) {
        const std::size_t all = std::min(kMost, times * (mLast + 1));
        mGroups.back() = std::min(kMost, mGroups.back() - std::min(mLast, mGroups.back()) + all);
        mLast = all;
    }
    std::size_t total() {
        while (mGroups.size() > 1) {
            close();
        }
        return mGroups.back();
    }

  private:
    static constexpr std::size_t kGroup = 3;

    std::vector<std::size_t> mGroups{0};
    std::size_t mLast = 0;
};

} // namespace

std::size_t openGroups(const std::string& pattern) {
    std::size_t open = 0;
    std::size_t most = 0;
    for (std::size_t place = 0; place < pattern.size(); ++place) {
        switch (pattern[place]) {
        case '\\': ++place; break;
        case '(': most = std::max(most, ++open); break; // one that stands for itself counts too, unless escaped
        case ')': open -= std::min<std::size_t>(open, 1); break;
        default: break;
        }
    }
    return most;
}

std::size_t statesOf(const std::string& pattern) {
    StateCount count;
    for (std::size_t place = 0; place < pattern.size(); ++place) {
        switch (pattern[place]) {
        case '(': count.open(); break;
        case ')': count.close(); break;
        case '*':
        case '+':
        case '?': count.repeat(1); break;
        case '|': count.add(2); break;
        case '{': {
            const auto [times, end] = repeats(pattern, place);
            count.repeat(times);
            place = end;
            break;
        }
        case '[':
            place = behindClass(pattern, place) - 1;
            count.add(1);
            break;
        case '\\':
            ++place;
            count.add(1);
            break;
        default: count.add(1); break;
        }
    }
    return count.total();
}

} // namespace radvex
