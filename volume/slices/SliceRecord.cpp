#include "volume/slices/SliceRecord.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace radvex::volume {

namespace {

template <typename T>
std::optional<T> numberOf(std::string_view text) {
    text = trimmed(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') { // DICOM allows the sign, from_chars does not
        text.remove_prefix(1);
    }
    T value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc{} && end == text.data() + text.size() ? std::optional<T>(value) : std::nullopt;
}

bool isLength(double value) { return value >= 1e-6 && value <= 1e6; }

/// Exactly N decimals, separated by backslashes.
template <std::size_t N>
std::optional<std::array<double, N>> decimalsOf(std::string_view text) {
    std::array<double, N> values{};
    for (std::size_t index = 0; index < N; ++index) {
        const std::size_t end = text.find('\\');
        const auto value = decimalOf(text.substr(0, end));
        if (!value || (end == std::string_view::npos) != (index + 1 == N)) {
            return std::nullopt;
        }
        values[index] = *value;
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return values;
}

} // namespace

std::string SliceRecord::name() const { return frames > 1 ? file + " frame " + std::to_string(frame) : file; }

std::string_view trimmed(std::string_view text) {
    // Values are padded to even length with a space or, by careless writers, with a zero byte.
    constexpr std::string_view kPadding(" \0\t\r\n", 5);
    const std::size_t first = text.find_first_not_of(kPadding);
    return first == std::string_view::npos ? std::string_view{}
                                           : text.substr(first, text.find_last_not_of(kPadding) - first + 1);
}

std::optional<double> decimalOf(std::string_view text) {
    const auto value = numberOf<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<vint> integerOf(std::string_view text) { return numberOf<vint>(text); }

std::optional<vint> leadingInteger(std::string_view text) {
    text = trimmed(text);
    const std::size_t sign = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
    const std::size_t end = text.find_first_not_of("0123456789", sign);
    return integerOf(text.substr(0, end));
}

std::optional<double> lengthOf(std::string_view text) {
    const auto value = decimalOf(text);
    return value && isLength(*value) ? value : std::nullopt;
}

std::optional<formats::Vector3> positionOf(std::string_view text) {
    const auto values = decimalsOf<3>(text);
    constexpr double kFarthest = 1e7; // numbers beyond it would overflow what is computed with them
    const bool isPosition =
        values && std::ranges::all_of(*values, [](double part) { return std::abs(part) <= kFarthest; });
    return isPosition ? std::optional(formats::Vector3{*values}) : std::nullopt;
}

std::optional<Orientation> orientationOf(std::string_view text) {
    constexpr double kTolerance = 0.01;
    const auto values = decimalsOf<6>(text);
    if (!values) {
        return std::nullopt;
    }
    const auto& v = *values;
    const formats::Vector3 alongColumns{v[0], v[1], v[2]};
    const formats::Vector3 alongRows{v[3], v[4], v[5]};
    const double lengths[] = {length(alongColumns), length(alongRows)};
    if (std::abs(lengths[0] - 1) > kTolerance || std::abs(lengths[1] - 1) > kTolerance ||
        std::abs(dot(alongColumns, alongRows)) > kTolerance) {
        return std::nullopt;
    }
    return Orientation{1 / lengths[0] * alongColumns, 1 / lengths[1] * alongRows};
}

std::optional<PixelSpacing> pixelSpacingOf(std::string_view text) {
    const auto values = decimalsOf<2>(text);
    if (!values || !isLength((*values)[0]) || !isLength((*values)[1])) {
        return std::nullopt;
    }
    return PixelSpacing{(*values)[0], (*values)[1]};
}

} // namespace radvex::volume
