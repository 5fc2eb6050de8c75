#include "Platform/Screen/PictureFit.h"

#include "Platform/Screen/ColorConversion.h"

#include <algorithm>
#include <cmath>

namespace tavro {
namespace {

constexpr int unit = 256;

using Channels = std::uint16_t __attribute__((vector_size(8)));

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
    oneToOne = placed.width == sourceWidth && placed.height == sourceHeight;
    if (!oneToOne) {
        columnTaps = makeTaps(sourceWidth, placed.width);
        lineTaps = makeTaps(sourceHeight, placed.height);
    }
}

// Downscaling averages the area of a pixel; upscaling blends the two nearest pixels.
std::vector<PictureFit::Taps> PictureFit::makeTaps(int from, int to) {
    std::vector<Taps> all(static_cast<std::size_t>(to));
    const double step = double(from) / to;
    for (int i = 0; i < to; ++i) {
        const double reach = std::max(1.0, step); // source pixels per target pixel
        const double start = std::clamp((i + 0.5) * step - reach / 2, 0.0, from - reach);
        const double end = start + reach;
        Taps& taps = all[static_cast<std::size_t>(i)];
        taps.first = std::min(from - 1, static_cast<int>(start));
        int left = unit;
        for (int pixel = taps.first; pixel < std::min<double>(from, end - 1e-9) || taps.weights.empty();
             ++pixel) {
            const double covered = std::min(end, pixel + 1.0) - std::max(start, double(pixel));
            const int weight = std::clamp(static_cast<int>(std::lround(covered / reach * unit)), 0, left);
            taps.weights.push_back(static_cast<std::uint16_t>(weight));
            left -= weight;
        }
        auto& largest = *std::max_element(taps.weights.begin(), taps.weights.end());
        largest = static_cast<std::uint16_t>(largest + left); // weights add up to 256, so white stays white
    }
    return all;
}

Rect PictureFit::toCanvas(const Rect& rect) const {
    const auto scaledRange = [](int start, int end, int from, int to) {
        const double factor = double(to) / from;
        return std::pair{static_cast<int>(std::floor((start - 1) * factor)) - 1,
            static_cast<int>(std::ceil((end + 1) * factor)) + 1};
    };
    if (oneToOne)
        return intersected(
            evenAligned({rect.x + placed.x, rect.y + placed.y, rect.width, rect.height}), placed);
    const auto [left, right] = scaledRange(rect.x, rightOf(rect), sourceWidth, placed.width);
    const auto [top, bottom] = scaledRange(rect.y, bottomOf(rect), sourceHeight, placed.height);
    return intersected(evenAligned({left + placed.x, top + placed.y, right - left, bottom - top}), placed);
}

Rect PictureFit::toSource(const Rect& rect) const {
    const int left = rect.x - placed.x, top = rect.y - placed.y;
    if (oneToOne)
        return {left, top, rect.width, rect.height};
    const auto range = [](const std::vector<Taps>& taps, int start, int length) {
        const Taps& last = taps[static_cast<std::size_t>(start + length - 1)];
        const int first = taps[static_cast<std::size_t>(start)].first;
        return std::pair{first, last.first + static_cast<int>(last.weights.size()) - first};
    };
    const auto [x, width] = range(columnTaps, left, rect.width);
    const auto [y, height] = range(lineTaps, top, rect.height);
    return {x, y, width, height};
}

void PictureFit::draw(const PixelView& view, Canvas& canvas, const Rect& rect) {
    if (oneToOne) {
        convertPixels(view, rect.x - placed.x, rect.y - placed.y, canvas, rect);
        return;
    }
    scaled.resize(static_cast<std::size_t>(rect.width) * 4 * 2);
    for (int row = 0; row < rect.height; row += 2) {
        const Rect target{rect.x, rect.y + row, rect.width, 2};
        for (int i = 0; i < 2; ++i)
            scaleLine(view, target.y + i - placed.y, {rect.x - placed.x, 0, rect.width, 1},
                scaled.data() + std::ptrdiff_t(i) * rect.width * 4);
        convertPixels({scaled.data(), rect.width * 4, target}, target.x, target.y, canvas, target);
    }
}

// Blends source lines first, then columns.
void PictureFit::scaleLine(const PixelView& view, int line, const Rect& columns, std::uint8_t* to) {
    const Taps& lines = lineTaps[static_cast<std::size_t>(line)];
    const Taps& lastColumn = columnTaps[static_cast<std::size_t>(rightOf(columns) - 1)];
    const int first = columnTaps[static_cast<std::size_t>(columns.x)].first;
    const std::size_t bytes =
        4 * (static_cast<std::size_t>(lastColumn.first - first) + lastColumn.weights.size());

    sums.assign(bytes, unit / 2 - 1);
    for (std::size_t tap = 0; tap < lines.weights.size(); ++tap) {
        const std::uint8_t* from = view.at(first, lines.first + static_cast<int>(tap));
        const std::uint16_t weight = lines.weights[tap];
        for (std::size_t i = 0; i < bytes; ++i)
            sums[i] = static_cast<std::uint16_t>(sums[i] + from[i] * weight);
    }
    mixed.resize(bytes);
    for (std::size_t i = 0; i < bytes; ++i)
        mixed[i] = static_cast<std::uint8_t>(sums[i] >> 8);

    for (int column = columns.x; column < rightOf(columns); ++column, to += 4) {
        const Taps& taps = columnTaps[static_cast<std::size_t>(column)];
        const std::uint8_t* from = mixed.data() + std::ptrdiff_t(taps.first - first) * 4;
        Channels sum = {unit / 2 - 1, unit / 2 - 1, unit / 2 - 1, unit / 2 - 1};
        for (const std::uint16_t weight : taps.weights) {
            const Channels pixel = {from[0], from[1], from[2], from[3]};
            sum += pixel * weight;
            from += 4;
        }
        for (int channel = 0; channel < 4; ++channel)
            to[channel] = static_cast<std::uint8_t>(sum[channel] >> 8);
    }
}

} // namespace tavro
