#pragma once

#include <cstdint>

namespace tavro::detail {

struct RowPair {
    const std::uint8_t* pixels[2];
    std::uint8_t* luma[2];
    std::uint8_t* blue; ///< Cb
    std::uint8_t* red;  ///< Cr
};

// BT.709, limited range, in units of 2^-15. The chroma rows add up to zero, so greys stay neutral.
inline constexpr int fraction = 15;
inline constexpr int lumaRed = 5983, lumaGreen = 20127, lumaBlue = 2032;
inline constexpr int blueRed = -3298, blueGreen = -11094, blueBlue = 14392;
inline constexpr int redRed = 14392, redGreen = -13072, redBlue = -1320;
inline constexpr int lumaOffset = (16 << fraction) + (1 << (fraction - 1));
inline constexpr int colorFraction = fraction + 2;
inline constexpr int colorOffset = (128 << colorFraction) + (1 << (colorFraction - 1));

/// Converts blocks of 16 pixels from the left. Returns the number of columns converted.
int convertRowsAvx2(const RowPair& rows, int width);

} // namespace tavro::detail
