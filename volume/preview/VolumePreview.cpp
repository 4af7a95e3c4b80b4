#include "volume/preview/VolumePreview.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "formats/json/Text.h"
#include "formats/pictures/Drawing.h"
#include "formats/pictures/Png.h"
#include "volume/VolumeSeries.h"
#include "volume/preview/PreviewPanels.h"
#include "volume/preview/PreviewWindow.h"

namespace radvex::volume {

namespace {

using formats::Colour;
using formats::Font;
using formats::kBoldFont;
using formats::kRegularFont;

// Grey is left to the voxels: no mixture of the background with another colour is grey either.
constexpr Colour kBackground{13, 12, 20};
constexpr Colour kFrame{50, 60, 80};
constexpr Colour kTitle{235, 240, 250};
constexpr Colour kPlain{165, 175, 195};
constexpr Colour kLetterColour{110, 200, 255};
constexpr Colour kWarning{255, 200, 90};
constexpr Colour kError{255, 115, 105};
constexpr Colour kNoNumber{90, 20, 110};

constexpr int kMargin = 24;
constexpr int kLetterSpace = 34;    ///< at each edge of a panel
constexpr int kSmallestCell = 310;  ///< a panel with all that belongs to it
constexpr int kLineSpace = 4;       ///< between lines of text
constexpr double kLongestBar = 120; ///< in pixels
constexpr int kBarHeight = 44;      ///< the bar with its label, and space above
constexpr std::size_t kMostTitleLines = 3;
constexpr std::size_t kMostFindingLines = 4;
constexpr std::size_t kMostFindings = 30;

/// A line of text on the page.
struct Line {
    std::string text{};
    Colour colour{};
    const Font* font = &kRegularFont;
};

/// A length in mm that has a round number and fits into a scale bar.
double barLength(double pixelsPerMm) {
    const double most = kLongestBar / pixelsPerMm;
    const double power = std::pow(10, std::floor(std::log10(most)));
    for (const double digit : {5.0, 2.0}) {
        if (digit * power <= most) {
            return digit * power;
        }
    }
    return power;
}

/// By how many degrees the axes differ most from right angles.
double tiltOf(const formats::VolumeGeometry& geometry) {
    const formats::Vector3* const steps[] = {&geometry.columnStep, &geometry.rowStep, &geometry.sliceStep};
    double largest = 0;
    for (int axis = 0; axis < 3; ++axis) {
        const formats::Vector3& a = *steps[axis];
        const formats::Vector3& b = *steps[(axis + 1) % 3];
        const double cosine = std::abs(dot(a, b)) / (length(a) * length(b));
        largest = cosine > largest ? cosine : largest; // false for what is no number
    }
    return std::asin(std::min(largest, 1.0)) * 45 / std::atan(1.0);
}

std::string captionOf(const PreviewPanel& panel) {
    return panel.caption + (panel.isWider ? ", wider than true" : "") + (panel.isHigher ? ", higher than true" : "");
}

/// Lays out and draws the page of one volume.
class PreviewPage {
  public:
    PreviewPage(const formats::VolumeHeader& header, const std::vector<PreviewPanel>& panels,
                const PreviewWindow& window, const PreviewText& text)
        : mHeader(header), mPanels(panels), mWindow(window), mText(text) {
        for (const PreviewPanel& panel : panels) {
            mWidth += cellWidth(panel);
            mPanelRows = std::max(mPanelRows, panel.rows);
        }
        mWidth += 2 * kMargin;
    }

    formats::Picture draw() {
        const std::vector<Line> above = linesAbove();
        const std::vector<Line> below = linesBelow();
        const int panelTop = kMargin + heightOf(above) + kMargin;
        const int belowTop = panelTop + kRegularFont.lineHeight + mPanelRows + 2 * kLetterSpace + kBarHeight + kMargin;
        mPage = formats::canvasOf(belowTop + heightOf(below) + kMargin, mWidth, kBackground);
        drawLines(above, kMargin);
        int left = kMargin;
        for (const PreviewPanel& panel : mPanels) {
            drawCell(panel, left, panelTop);
            left += cellWidth(panel);
        }
        drawLines(below, belowTop);
        return std::move(mPage);
    }

  private:
    static int cellWidth(const PreviewPanel& panel) {
        const int captionWidth = textWidth(captionOf(panel), kRegularFont) + 2 * kMargin;
        return std::max({panel.columns + 2 * kLetterSpace + kMargin, captionWidth, kSmallestCell});
    }

    static int heightOf(const std::vector<Line>& lines) {
        int height = 0;
        for (const Line& line : lines) {
            height += line.font->lineHeight + kLineSpace;
        }
        return height;
    }

    void addWrapped(std::vector<Line>& lines, const Line& line, std::size_t mostLines) const {
        for (std::string& part : wrappedText(line.text, *line.font, mWidth - 2 * kMargin, mostLines)) {
            lines.push_back({std::move(part), line.colour, line.font});
        }
    }

    std::vector<Line> linesAbove() const {
        std::vector<Line> lines;
        addWrapped(lines, {mText.title, kTitle, &kBoldFont}, kMostTitleLines);
        addWrapped(lines, {volumeSummary(mHeader), kPlain}, 1);
        addWrapped(lines, {mWindow.text, kPlain}, 1);
        if (!mHeader.geometry.hasPosition) {
            addWrapped(lines, {"no position in space: what is left and right is not known", kWarning}, 1);
        } else if (const double tilt = tiltOf(mHeader.geometry); tilt >= 1) {
            char text[96];
            std::snprintf(text, sizeof text, "axes tilted by %.0f degrees, drawn at right angles", tilt);
            addWrapped(lines, {text, kWarning}, 1);
        }
        const auto isNumberless = [](double value) { return std::isnan(value); };
        if (std::ranges::any_of(mPanels,
                                [&](const auto& panel) { return std::ranges::any_of(panel.values, isNumberless); })) {
            addWrapped(lines, {"purple: voxels that are not a number", kWarning}, 1);
        }
        return lines;
    }

    std::vector<Line> linesBelow() const {
        std::vector<Line> lines;
        std::vector<const Finding*> findings; // errors first
        for (const bool isError : {true, false}) {
            for (const Finding& finding : mText.findings) {
                if (finding.isError == isError) {
                    findings.push_back(&finding);
                }
            }
        }
        for (std::size_t index = 0; index < std::min(findings.size(), kMostFindings); ++index) {
            const Finding& finding = *findings[index];
            const std::string mark = finding.isError ? "ERROR: " : "warning: ";
            addWrapped(lines, {mark + finding.sentence, finding.isError ? kError : kWarning}, kMostFindingLines);
        }
        if (findings.size() > kMostFindings) {
            lines.push_back({"and " + std::to_string(findings.size() - kMostFindings) + " more", kWarning});
        }
        if (findings.empty()) {
            lines.push_back({"no findings", kPlain});
        }
        return lines;
    }

    void drawLines(const std::vector<Line>& lines, int top) {
        for (const Line& line : lines) {
            drawText(mPage, kMargin, top, line.text, *line.font, line.colour);
            top += line.font->lineHeight + kLineSpace;
        }
    }

    /// A panel with its caption above, letters around, and scale bar below.
    void drawCell(const PreviewPanel& panel, int left, int top) {
        const int centre = left + cellWidth(panel) / 2;
        drawCentred(captionOf(panel), centre, top, kRegularFont, kPlain);
        top += kRegularFont.lineHeight + kLetterSpace;
        const formats::Rectangle area{centre - panel.columns / 2, top + (mPanelRows - panel.rows) / 2, panel.columns,
                                      panel.rows};
        frameRectangle(mPage, {area.left - 1, area.top - 1, area.columns + 2, area.rows + 2}, kFrame);
        drawValues(panel, area);
        drawLetters(panel, area);
        if (!panel.isWider && hasSpacing()) { // the bar is for lengths across
            drawBar(panel.pixelsPerMm, centre, top + mPanelRows + kLetterSpace);
        }
    }

    /// Whether millimetres mean anything.
    bool hasSpacing() const {
        return std::ranges::find(mText.findings, FindingKind::noPixelSpacing, &Finding::kind) == mText.findings.end();
    }

    void drawValues(const PreviewPanel& panel, const formats::Rectangle& area) {
        const auto channels =
            panel.values.size() / (static_cast<std::size_t>(panel.rows) * static_cast<std::size_t>(panel.columns));
        const double* value = panel.values.data();
        for (int row = 0; row < panel.rows; ++row) {
            for (int column = 0; column < panel.columns; ++column, value += channels) {
                std::uint16_t* pixel = &mPage.samples[mPage.indexOf(area.top + row, area.left + column, 0)];
                const bool isNumber = !std::isnan(value[0]) && !std::isnan(value[channels - 1]);
                const std::uint16_t purple[] = {kNoNumber.red, kNoNumber.green, kNoNumber.blue};
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    pixel[channel] = isNumber ? shadeOf(value[channels == 3 ? channel : 0]) : purple[channel];
                }
            }
        }
    }

    std::uint16_t shadeOf(double value) const {
        const double part = (value - mWindow.lowest) / (mWindow.highest - mWindow.lowest);
        return static_cast<std::uint16_t>(std::lround(255 * std::clamp(part, 0.0, 1.0)));
    }

    void drawLetters(const PreviewPanel& panel, const formats::Rectangle& area) {
        const int middle = area.left + area.columns / 2;
        const int lineTop = area.top + (area.rows - kBoldFont.lineHeight) / 2;
        const int gap = 8;
        drawText(mPage, area.left - gap - textWidth(panel.left, kBoldFont), lineTop, panel.left, kBoldFont,
                 kLetterColour);
        drawText(mPage, area.left + area.columns + gap, lineTop, panel.right, kBoldFont, kLetterColour);
        drawCentred(panel.top, middle, area.top - gap / 2 - kBoldFont.lineHeight, kBoldFont, kLetterColour);
        drawCentred(panel.bottom, middle, area.top + area.rows + gap / 2, kBoldFont, kLetterColour);
    }

    void drawBar(double pixelsPerMm, int centre, int top) {
        const double bar = barLength(pixelsPerMm);
        const int columns = std::max(static_cast<int>(std::lround(bar * pixelsPerMm)), 1);
        const int left = centre - columns / 2;
        const int middle = top + 8;
        fillRectangle(mPage, {left, middle, columns, 2}, kTitle);
        fillRectangle(mPage, {left, middle - 4, 1, 10}, kTitle);
        fillRectangle(mPage, {left + columns - 1, middle - 4, 1, 10}, kTitle);
        char label[48];
        std::snprintf(label, sizeof label, "%.6g mm", bar);
        drawCentred(label, centre, middle + 10, kRegularFont, kTitle);
    }

    void drawCentred(const std::string& text, int centre, int top, const Font& font, Colour colour) {
        drawText(mPage, centre - textWidth(text, font) / 2, top, text, font, colour);
    }

    const formats::VolumeHeader& mHeader;
    const std::vector<PreviewPanel>& mPanels;
    const PreviewWindow& mWindow;
    const PreviewText& mText;
    int mWidth = 0;
    int mPanelRows = 0; ///< of the highest panel
    formats::Picture mPage{};
};

} // namespace

void writePreview(const files::Output& output, const formats::VolumeHeader& header,
                  const std::vector<formats::SliceBytes>& slices, const PreviewText& text) {
    const VoxelReader voxels(header, slices);
    const std::vector<PreviewPanel> panels = previewPanels(voxels, header.geometry);
    const PreviewWindow window = previewWindow(voxels, panels, text.unit);
    formats::writePng(output, PreviewPage(header, panels, window, text).draw());
}

} // namespace radvex::volume
