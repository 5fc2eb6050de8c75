#include "Platform/Screen/ColorConversion.h"

#include "Platform/Screen/ColorConversionRows.h"

namespace tavro {
namespace {

using namespace detail;

struct Sums {
    int blue = 0, green = 0, red = 0;

    Sums& operator+=(const Sums& other) {
        blue += other.blue;
        green += other.green;
        red += other.red;
        return *this;
    }
    template <int shift>
    std::uint8_t weighted(int ofBlue, int ofGreen, int ofRed, int base) const {
        return static_cast<std::uint8_t>(
            (blue * ofBlue + green * ofGreen + red * ofRed + offsetOf(base, shift)) >> shift);
    }
};

// Of the source pixels that one canvas pixel shows.
template <int scale>
Sums sumsAt(const RowPair& rows, int x, int row) {
    Sums sums;
    for (int i = 0; i < scale; ++i)
        for (int j = 0; j < scale; ++j) {
            const std::uint8_t* pixel = rows.pixels[scale * row + i] + 4 * (scale * x + j);
            sums += {pixel[0], pixel[1], pixel[2]};
        }
    return sums;
}

template <int scale>
void convertRows(const RowPair& rows, int from, int width) {
    for (int x = from; x < width; x += 2) {
        Sums square;
        for (int row = 0; row < 2; ++row)
            for (int i = 0; i < 2; ++i) {
                const Sums pixel = sumsAt<scale>(rows, x + i, row);
                rows.luma[row][x + i] =
                    pixel.weighted<lumaFraction<scale>>(lumaBlue, lumaGreen, lumaRed, lumaBase);
                square += pixel;
            }
        constexpr int shift = colorFraction<scale>;
        rows.blue[x / 2] = square.weighted<shift>(blueBlue, blueGreen, blueRed, colorBase);
        rows.red[x / 2] = square.weighted<shift>(redBlue, redGreen, redRed, colorBase);
    }
}

template <int scale>
int convertRowsFast(const RowPair& rows, int width) {
#ifdef TAVRO_AVX2
    static const bool usable = __builtin_cpu_supports("avx2");
    if (usable)
        return convertRowsAvx2<scale>(rows, width);
#endif
    (void)rows, (void)width;
    return 0;
}

template <int scale>
void convert(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target) {
    for (int row = 0; row < target.height; row += 2) {
        RowPair rows{};
        rows.next = 2 * scale * view.stride;
        for (int i = 0; i < 2 * scale; ++i)
            rows.pixels[i] = view.at(x, y + scale * row + i);
        for (int i = 0; i < 2; ++i)
            rows.luma[i] =
                canvas.planes[0] + std::ptrdiff_t(target.y + row + i) * canvas.strides[0] + target.x;
        const std::ptrdiff_t colorAt =
            std::ptrdiff_t((target.y + row) / 2) * canvas.strides[1] + target.x / 2;
        rows.blue = canvas.planes[1] + colorAt;
        rows.red = canvas.planes[2] + colorAt;
        convertRows<scale>(rows, convertRowsFast<scale>(rows, target.width), target.width);
    }
}

} // namespace

void convertPixels(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target) {
    convert<1>(view, x, y, canvas, target);
}

void convertHalved(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target) {
    convert<2>(view, x, y, canvas, target);
}

} // namespace tavro
