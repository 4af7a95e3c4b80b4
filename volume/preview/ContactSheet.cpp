#include "volume/preview/ContactSheet.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "formats/pictures/Drawing.h"
#include "volume/preview/PreviewPanels.h"
#include "volume/slices/AttributeValues.h"

namespace radvex::volume {

using formats::Picture;

namespace {

constexpr formats::Colour kEmptyTile{32, 32, 32};
constexpr formats::Colour kLabelColour{255, 220, 90};
constexpr formats::Colour kLabelShadow{0, 0, 0};
constexpr int kLabelMargin = 4;

/// The end of the patient that a direction points to. Volume files say superior and inferior, pictures head and feet.
std::string lettersOf(const formats::Vector3& direction) {
    std::string letters = orientationLetters(direction);
    std::ranges::replace(letters, 'S', 'H');
    std::ranges::replace(letters, 'I', 'F');
    return letters;
}

/// The other end; nothing if a letter is none of the six.
std::string oppositeOf(std::string_view letters) {
    constexpr std::string_view kLetters = "RLAPHF";
    constexpr std::string_view kOpposites = "LRPAFH";
    std::string opposite;
    for (const char letter : letters) {
        const std::size_t index = kLetters.find(letter);
        if (index == std::string_view::npos) {
            return "";
        }
        opposite += kOpposites[index];
    }
    return opposite;
}

/// First and last sample that a pixel of a tile covers.
struct Covered {
    int first;
    int end;
};

std::vector<Covered> coveredBy(int samples, int pixels) {
    std::vector<Covered> all;
    for (int pixel = 0; pixel < pixels; ++pixel) {
        const auto first = static_cast<int>(static_cast<long long>(pixel) * samples / pixels);
        const auto end = static_cast<int>(static_cast<long long>(pixel + 1) * samples / pixels);
        all.push_back({first, std::max(end, first + 1)});
    }
    return all;
}

char meanOf(const Picture& picture, const Covered& rows, const Covered& columns, int channel) {
    std::uint64_t sum = 0;
    for (int row = rows.first; row < rows.end; ++row) {
        for (int column = columns.first; column < columns.end; ++column) {
            sum += picture.samples[picture.indexOf(row, column, channel)];
        }
    }
    const auto count =
        static_cast<std::uint64_t>(rows.end - rows.first) * static_cast<std::uint64_t>(columns.end - columns.first);
    const std::uint64_t most = (std::uint64_t{1} << static_cast<unsigned>(picture.bits)) - 1;
    return static_cast<char>((sum * 255 + count * most / 2) / (count * most));
}

/// How much higher a pixel is than wide.
double heightOf(const SliceRecord& slice) {
    constexpr double kMost = 5; // more would leave nothing to see
    return slice.pixelSpacing
               ? std::clamp(slice.pixelSpacing->betweenRows / slice.pixelSpacing->betweenColumns, 1 / kMost, kMost)
               : 1;
}

void drawLegibly(Picture& sheet, int left, int top, const std::string& text) {
    formats::drawText(sheet, left + 1, top + 1, text, formats::kRegularFont, kLabelShadow);
    formats::drawText(sheet, left, top, text, formats::kRegularFont, kLabelColour);
}

void drawTile(Picture& sheet, const SheetTile& tile, int left, int top) {
    const int rowOffset = top + (kTileSide - tile.rows) / 2;
    const int columnOffset = left + (kTileSide - tile.columns) / 2;
    const std::size_t line = static_cast<std::size_t>(tile.columns) * 3;
    for (int row = 0; row < tile.rows; ++row) {
        const auto from = tile.rgb.begin() + static_cast<std::ptrdiff_t>(static_cast<std::size_t>(row) * line);
        std::transform(from, from + static_cast<std::ptrdiff_t>(line),
                       sheet.samples.begin() +
                           static_cast<std::ptrdiff_t>(sheet.indexOf(rowOffset + row, columnOffset, 0)),
                       [](char byte) { return static_cast<std::uint16_t>(static_cast<unsigned char>(byte)); });
    }
}

void drawLabels(Picture& sheet, const SheetTile& tile, int left, int top, std::size_t number) {
    const formats::Font& font = formats::kRegularFont;
    const auto width = [&](const std::string& text) { return formats::textWidth(text, font); };
    const int middle = top + (kTileSide - font.lineHeight) / 2;
    const auto centre = [&](const std::string& text) { return left + (kTileSide - width(text)) / 2; };
    drawLegibly(sheet, left + kLabelMargin, top + kLabelMargin, std::to_string(number));
    drawLegibly(sheet, left + kLabelMargin, middle, tile.letters.left);
    drawLegibly(sheet, left + kTileSide - kLabelMargin - width(tile.letters.right), middle, tile.letters.right);
    drawLegibly(sheet, centre(tile.letters.top), top + kLabelMargin, tile.letters.top);
    drawLegibly(sheet, centre(tile.letters.bottom), top + kTileSide - kLabelMargin - font.lineHeight,
                tile.letters.bottom);
}

} // namespace

EdgeLetters edgeLettersOf(const Orientation& orientation) {
    return {lettersOf(-1 * orientation.alongColumns), lettersOf(orientation.alongColumns),
            lettersOf(-1 * orientation.alongRows), lettersOf(orientation.alongRows)};
}

EdgeLetters edgeLettersOf(std::string_view patientOrientation) {
    const auto values = splitValues(patientOrientation);
    if (values.size() != 2 || oppositeOf(values[0]).empty() || oppositeOf(values[1]).empty()) {
        return {};
    }
    constexpr std::size_t kMost = 3; // a direction has a part along each of the three axes at most
    return values[0].size() > kMost || values[1].size() > kMost
               ? EdgeLetters{}
               : EdgeLetters{oppositeOf(values[0]), std::string(values[0]), oppositeOf(values[1]),
                             std::string(values[1])};
}

SheetTile tileOf(const Picture& picture, const SliceRecord& slice) {
    const double height = picture.rows * heightOf(slice);
    const double scale = kTileSide / std::max(height, static_cast<double>(picture.columns));
    const auto pixels = [](double size) { return std::clamp(static_cast<int>(std::lround(size)), 1, kTileSide); };
    SheetTile tile{.rows = pixels(height * scale), .columns = pixels(picture.columns * scale)};
    const auto columns = coveredBy(picture.columns, tile.columns);
    for (const Covered& row : coveredBy(picture.rows, tile.rows)) {
        for (const Covered& column : columns) {
            for (int channel = 0; channel < 3; ++channel) {
                tile.rgb += meanOf(picture, row, column, std::min(channel, picture.channels - 1));
            }
        }
    }
    if (slice.orientation) {
        tile.letters = edgeLettersOf(*slice.orientation);
    }
    return tile;
}

Picture sheetOf(std::span<const SheetTile> tiles, std::size_t number) {
    const auto across = static_cast<std::size_t>(std::ceil(std::sqrt(static_cast<double>(tiles.size()))));
    const std::size_t down = (tiles.size() + across - 1) / across;
    Picture sheet =
        formats::canvasOf(static_cast<int>(down) * kTileSide, static_cast<int>(across) * kTileSide, kEmptyTile);
    for (std::size_t index = 0; index < tiles.size(); ++index) {
        const int left = static_cast<int>(index % across) * kTileSide;
        const int top = static_cast<int>(index / across) * kTileSide;
        drawTile(sheet, tiles[index], left, top);
        drawLabels(sheet, tiles[index], left, top, number + index);
    }
    return sheet;
}

} // namespace radvex::volume
