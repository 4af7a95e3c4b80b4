#include "view/Thumbnail.h"

#include <algorithm>

namespace radvex::view {

namespace {

/// The first pixel of the source for a pixel of the thumbnail, and the first one for the next.
int startOf(int index, int count, int sourceCount) {
    return static_cast<int>(static_cast<long>(index) * sourceCount / count);
}

} // namespace

formats::Picture thumbnailOf(const formats::Picture& picture, int side) {
    const int longer = std::max(picture.rows, picture.columns);
    if (longer <= side) {
        return picture;
    }
    const auto scaled = [&](int length) {
        return std::max(1, static_cast<int>(static_cast<long>(length) * side / longer));
    };
    formats::Picture small{.rows = scaled(picture.rows),
                           .columns = scaled(picture.columns),
                           .channels = picture.channels,
                           .bits = picture.bits};
    for (int row = 0; row < small.rows; ++row) {
        const int top = startOf(row, small.rows, picture.rows);
        const int bottom = startOf(row + 1, small.rows, picture.rows);
        for (int column = 0; column < small.columns; ++column) {
            const int left = startOf(column, small.columns, picture.columns);
            const int right = startOf(column + 1, small.columns, picture.columns);
            for (int channel = 0; channel < picture.channels; ++channel) {
                long sum = 0;
                for (int y = top; y < bottom; ++y) {
                    for (int x = left; x < right; ++x) {
                        sum += picture.samples[picture.indexOf(y, x, channel)];
                    }
                }
                const long count = static_cast<long>(bottom - top) * (right - left);
                small.samples.push_back(static_cast<std::uint16_t>((sum + count / 2) / count));
            }
        }
    }
    return small;
}

} // namespace radvex::view
