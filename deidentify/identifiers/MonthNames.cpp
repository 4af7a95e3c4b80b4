#include "deidentify/identifiers/MonthNames.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <unordered_map>

namespace radvex::deidentify {

namespace {

/// The names of each month, folded. No name is that of two months in two languages. Polish ones have the case that they
/// have behind a day, too.
constexpr std::array<std::string_view, 12> kNames{
    "jan january januar janner januari janvier janv jnv enero ene gennaio gen janeiro stycznia styczen sty",
    "feb february februar februari fevrier fevr fev febrero febbraio fevereiro lutego luty lut",
    "mar march marz maerz mrz mars marzo marco maart mrt marca marzec",
    "apr april avril avr abril abr aprile kwietnia kwiecien kwi",
    "may mai mayo maggio mag maio mei maja maj",
    "jun june juni juin junio giugno giu junho czerwca czerwiec cze",
    "jul july juli juillet juil julio luglio lug julho lipca lipiec lip",
    "aug august aout agosto ago augustus sierpnia sierpien sie",
    "sep sept september septembre septiembre setiembre settembre setembro set wrzesnia wrzesien wrz",
    "oct october okt oktober octobre octubre ottobre ott outubro out pazdziernika pazdziernik paz",
    "nov november novembre noviembre novembro listopada listopad lis",
    "dec december dez dezember decembre diciembre dic dicembre dezembro grudnia grudzien gru"};

constexpr std::array<std::string_view, 12> kRoman{"i",   "ii",   "iii", "iv", "v",  "vi",
                                                  "vii", "viii", "ix",  "x",  "xi", "xii"};

std::unordered_map<std::string_view, int> monthsByName() {
    std::unordered_map<std::string_view, int> months;
    for (std::size_t index = 0; index < kNames.size(); ++index) {
        const std::string_view names = kNames[index];
        for (std::size_t begin = 0; begin < names.size();) {
            const std::size_t end = std::min(names.find(' ', begin), names.size());
            months.try_emplace(names.substr(begin, end - begin), static_cast<int>(index) + 1);
            begin = end + 1;
        }
    }
    return months;
}

} // namespace

int monthOf(std::string_view foldedWord) {
    static const std::unordered_map<std::string_view, int> months = monthsByName();
    const auto found = months.find(foldedWord);
    return found == months.end() ? 0 : found->second;
}

int romanMonthOf(std::string_view foldedWord) {
    const auto* found = std::find(kRoman.begin(), kRoman.end(), foldedWord);
    return found == kRoman.end() ? 0 : static_cast<int>(found - kRoman.begin()) + 1;
}

} // namespace radvex::deidentify
