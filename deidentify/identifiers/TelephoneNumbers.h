#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace radvex::deidentify {

/// Finds telephone numbers, however their digits are grouped, in their national and their international form.
class TelephoneNumbers {
  public:
    /// @param text    in any spelling; one with fewer than 6 digits is ignored
    /// @param number  what `seen` is called with
    void add(std::string_view text, std::uint32_t number);
    bool isEmpty() const { return mExact.empty(); }

    /// Calls `seen` with begin, end and number of every find in a folded text.
    using Seen = std::function<void(std::size_t begin, std::size_t end, std::uint32_t number)>;
    void findIn(std::string_view text, const Seen& seen) const;

  private:
    void findAt(std::string_view text, std::size_t begin, const Seen& seen) const;
    const std::uint32_t* find(const std::string& digits, bool isInternational) const;

    std::unordered_map<std::string, std::uint32_t> mExact{};   ///< all digits
    std::unordered_map<std::string, std::uint32_t> mWhole{};   ///< the digits after leading zeros
    std::unordered_map<std::string, std::uint32_t> mEndings{}; ///< the last 7 or more of these
};

} // namespace radvex::deidentify
