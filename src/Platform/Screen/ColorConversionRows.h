#pragma once

#include <cstddef>
#include <cstdint>

namespace tavro::detail {

/// Two rows of a canvas and the source rows that they show: two, or four of twice the width.
struct RowPair {
    const std::uint8_t* pixels[4];
    std::ptrdiff_t next; ///< bytes from here to the source rows of the next pair, whether there is one or not
    std::uint8_t* luma[2];
    std::uint8_t* blue; ///< Cb
    std::uint8_t* red;  ///< Cr
};

// BT.709, limited range, in units of 2^-15. The chroma rows add up to zero, so greys stay neutral.
inline constexpr int fraction = 15;
inline constexpr int lumaRed = 5983, lumaGreen = 20127, lumaBlue = 2032;
inline constexpr int blueRed = -3298, blueGreen = -11094, blueBlue = 14392;
inline constexpr int redRed = 14392, redGreen = -13072, redBlue = -1320;
inline constexpr int lumaBase = 16, colorBase = 128;

// Sums of source pixels are weighted and rounded once. `scale` is the source pixels per canvas pixel and
// axis.
template <int scale>
inline constexpr int lumaFraction = fraction + (scale == 2 ? 2 : 0);
template <int scale>
inline constexpr int colorFraction = lumaFraction<scale> + 2;

inline constexpr int offsetOf(int base, int shift) {
    return (base << shift) + (1 << (shift - 1));
}

/// Converts blocks of 16 canvas pixels from the left. Returns the number of columns converted.
template <int scale>
int convertRowsAvx2(const RowPair& rows, int width);

} // namespace tavro::detail
