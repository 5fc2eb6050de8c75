#include "Platform/Screen/PictureFit.h"

#include "Platform/Screen/ColorConversion.h"

#include <algorithm>
#include <cmath>

namespace tavro {
namespace {

int evenAtLeastTwo(double size) {
    return std::max(2, 2 * static_cast<int>(std::lround(size / 2)));
}

} // namespace

PictureFit::PictureFit(int width, int height, int canvasWidth, int canvasHeight)
    : sourceWidth(width)
    , sourceHeight(height) {
    const double factor = std::min(double(canvasWidth) / width, double(canvasHeight) / height);
    placed.width = std::min(canvasWidth, evenAtLeastTwo(width * factor));
    placed.height = std::min(canvasHeight, evenAtLeastTwo(height * factor));
    placed.x = (canvasWidth - placed.width) / 2 & ~1;
    placed.y = (canvasHeight - placed.height) / 2 & ~1;
    for (const int step : {1, 2})
        if (step * placed.width == sourceWidth && step * placed.height == sourceHeight)
            square = step;
    if (square == 0) {
        columnTaps = AxisTaps(sourceWidth, placed.width);
        lineTaps = AxisTaps(sourceHeight, placed.height);
    }
}

Rect PictureFit::toCanvas(const Rect& rect) const {
    const auto scaledRange = [this](int start, int end, int from, int to) {
        if (square != 0)
            return std::pair{start / square, (end + square - 1) / square};
        const double factor = double(to) / from;
        return std::pair{static_cast<int>(std::floor((start - 1) * factor)) - 1,
            static_cast<int>(std::ceil((end + 1) * factor)) + 1};
    };
    const auto [left, right] = scaledRange(rect.x, rightOf(rect), sourceWidth, placed.width);
    const auto [top, bottom] = scaledRange(rect.y, bottomOf(rect), sourceHeight, placed.height);
    return intersected(evenAligned({left + placed.x, top + placed.y, right - left, bottom - top}), placed);
}

Rect PictureFit::toSource(const Rect& rect) const {
    const int left = rect.x - placed.x, top = rect.y - placed.y;
    if (square != 0)
        return {square * left, square * top, square * rect.width, square * rect.height};
    const int x = columnTaps.first(left), y = lineTaps.first(top);
    return {x, y, columnTaps.end(left + rect.width - 1) - x, lineTaps.end(top + rect.height - 1) - y};
}

void PictureFit::draw(const PixelView& view, Canvas& canvas, const Rect& rect) {
    const Rect from = toSource(rect);
    if (square == 1)
        convertPixels(view, from.x, from.y, canvas, rect);
    else if (square == 2)
        convertHalved(view, from.x, from.y, canvas, rect);
    else
        drawScaled(view, canvas, rect);
}

// Blends source lines first, then columns, two canvas lines at a time: what is read stays in the cache.
void PictureFit::drawScaled(const PixelView& view, Canvas& canvas, const Rect& rect) {
    const Rect from = toSource(rect);
    const int left = rect.x - placed.x;
    const int stride = rect.width * 4;
    scaled.resize(static_cast<std::size_t>(stride) * 2);
    blended.resize(static_cast<std::size_t>(from.width + columnTaps.room()) * 4);
    for (int row = 0; row < rect.height; row += 2) {
        const Rect target{rect.x, rect.y + row, rect.width, 2};
        for (int i = 0; i < 2; ++i) {
            const int line = target.y + i - placed.y;
            blendLines(view.at(from.x, lineTaps.first(line)), view.stride, lineTaps, line, blended.data(),
                from.width * 4);
            blendColumns(blended.data(), columnTaps, left, left + rect.width, scaled.data() + i * stride);
        }
        convertPixels({scaled.data(), stride, target}, target.x, target.y, canvas, target);
    }
}

} // namespace tavro
