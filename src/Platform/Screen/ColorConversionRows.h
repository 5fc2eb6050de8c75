#pragma once

#include <cstdint>

namespace tavro::detail {

/// Two lines of pixels and where their brightness (two lines) and colour (one) go.
struct RowPair {
    const std::uint8_t* pixels[2];
    std::uint8_t* luma[2];
    std::uint8_t* blue; ///< Cb
    std::uint8_t* red;  ///< Cr
};

// BT.709, limited range, in units of 2^-15. The colour rows add up to zero, so that greys have none.
inline constexpr int fraction = 15;
inline constexpr int lumaRed = 5983, lumaGreen = 20127, lumaBlue = 2032;
inline constexpr int blueRed = -3298, blueGreen = -11094, blueBlue = 14392;
inline constexpr int redRed = 14392, redGreen = -13072, redBlue = -1320;
inline constexpr int lumaOffset = (16 << fraction) + (1 << (fraction - 1));
// Colour is taken from the sum of four pixels.
inline constexpr int colorFraction = fraction + 2;
inline constexpr int colorOffset = (128 << colorFraction) + (1 << (colorFraction - 1));

/// Converts the first pixels, 16 at a time, and returns how many.
int convertRowsAvx2(const RowPair& rows, int width);

} // namespace tavro::detail
