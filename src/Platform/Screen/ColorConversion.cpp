#include "Platform/Screen/ColorConversion.h"

#include "Platform/Screen/ColorConversionRows.h"

namespace tavro {
namespace {

using namespace detail;

std::uint8_t lumaOf(const std::uint8_t* bgr) {
    return static_cast<std::uint8_t>(
        (bgr[0] * lumaBlue + bgr[1] * lumaGreen + bgr[2] * lumaRed + lumaOffset) >> fraction);
}

void convertRows(const RowPair& rows, int from, int width) {
    for (int x = from; x < width; x += 2) {
        int sums[3];
        const std::uint8_t* upper = rows.pixels[0] + 4 * x;
        const std::uint8_t* lower = rows.pixels[1] + 4 * x;
        for (int channel = 0; channel < 3; ++channel)
            sums[channel] = upper[channel] + upper[channel + 4] + lower[channel] + lower[channel + 4];
        rows.luma[0][x] = lumaOf(upper);
        rows.luma[0][x + 1] = lumaOf(upper + 4);
        rows.luma[1][x] = lumaOf(lower);
        rows.luma[1][x + 1] = lumaOf(lower + 4);
        rows.blue[x / 2] = static_cast<std::uint8_t>(
            (sums[0] * blueBlue + sums[1] * blueGreen + sums[2] * blueRed + colorOffset) >> colorFraction);
        rows.red[x / 2] = static_cast<std::uint8_t>(
            (sums[0] * redBlue + sums[1] * redGreen + sums[2] * redRed + colorOffset) >> colorFraction);
    }
}

int convertRowsFast(const RowPair& rows, int width) {
#ifdef TAVRO_AVX2
    static const bool usable = __builtin_cpu_supports("avx2");
    if (usable)
        return convertRowsAvx2(rows, width);
#endif
    (void)rows, (void)width;
    return 0;
}

} // namespace

void convertPixels(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target) {
    for (int row = 0; row < target.height; row += 2) {
        RowPair rows;
        for (int i = 0; i < 2; ++i) {
            rows.pixels[i] = view.at(x, y + row + i);
            rows.luma[i] =
                canvas.planes[0] + std::ptrdiff_t(target.y + row + i) * canvas.strides[0] + target.x;
        }
        const std::ptrdiff_t colorAt =
            std::ptrdiff_t((target.y + row) / 2) * canvas.strides[1] + target.x / 2;
        rows.blue = canvas.planes[1] + colorAt;
        rows.red = canvas.planes[2] + colorAt;
        convertRows(rows, convertRowsFast(rows, target.width), target.width);
    }
}

} // namespace tavro
