#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

namespace radvex::deidentify {

/// An option of the basic confidentiality profile (PS3.15, E.3). The order is that of the columns of table E.1-1.
enum class ProfileOption {
    SafePrivate,
    Uids,
    Device,
    Institution,
    PatientCharacteristics,
    FullDates,
    ModifiedDates,
    Descriptors,
    StructuredContent,
    Graphics
};

inline constexpr std::size_t kProfileOptionCount = 10;

/// Edition of the standard whose table is applied.
inline constexpr std::string_view kProfileEdition = "2024b";

/// What is known of an option, to people and in files.
struct ProfileOptionNames {
    ProfileOption option;
    std::string_view word;    ///< of the command line: "uids" in "--keep uids"
    std::string_view column;  ///< in reports: "retain UIDs"
    std::string_view code;    ///< of CID 7050, coding scheme DCM
    std::string_view meaning; ///< of that code
};

/// All options in their order.
const std::array<ProfileOptionNames, kProfileOptionCount>& profileOptionNames();

const ProfileOptionNames& namesOf(ProfileOption option);

/// The options that a run applies.
struct ProfileOptions {
    std::array<bool, kProfileOptionCount> chosen{};

    bool has(ProfileOption option) const { return chosen[static_cast<std::size_t>(option)]; }
    void choose(ProfileOption option) { chosen[static_cast<std::size_t>(option)] = true; }
    /// No date or time is left as it was: they are neither kept nor moved.
    bool removesDates() const { return !has(ProfileOption::FullDates) && !has(ProfileOption::ModifiedDates); }

    /// The basic profile and its options, in words for people: "basic profile 2024b, retain UIDs".
    std::string describe(std::string_view separator = ", ") const;

    template <typename Self>
    static auto fields(Self& self) {
        return std::tie(self.chosen);
    }
};

/// The words between the commas of a list; one empty word for an empty list.
std::vector<std::string> splitList(const std::string& list);

/// The options that words of a command line name, as "uids,device" does.
/// @param words    each a list with commas
/// @param allowed  options that may be named
/// @return the options, and the first word that names none of them; empty when all do
std::pair<std::vector<ProfileOption>, std::string> parseProfileOptions(const std::vector<std::string>& words,
                                                                       const std::vector<ProfileOption>& allowed);

} // namespace radvex::deidentify
