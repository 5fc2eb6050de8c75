#include "Platform/Screen/ColorConversionRows.h"

#include <immintrin.h>

// Gives exactly the results of the scalar loop.
namespace tavro::detail {
namespace {

// Eight pixels, or sums of pixels, as two vectors of 16-bit pairs: (blue, red) and (green, unused).
struct Pixels {
    __m256i blueRed;
    __m256i green;
};

Pixels load(const std::uint8_t* pixels) {
    const __m256i both = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
    return {_mm256_and_si256(both, _mm256_set1_epi32(0x00ff00ff)), _mm256_srli_epi16(both, 8)};
}

__m256i squares(__m256i upperLeft, __m256i lowerLeft, __m256i upperRight, __m256i lowerRight) {
    return _mm256_permute4x64_epi64(
        _mm256_hadd_epi32(_mm256_add_epi16(upperLeft, lowerLeft), _mm256_add_epi16(upperRight, lowerRight)),
        0xd8);
}

// Sums squares of four: first the left eight columns, then the right eight.
Pixels squares(
    const Pixels& upperLeft, const Pixels& lowerLeft, const Pixels& upperRight, const Pixels& lowerRight) {
    return {squares(upperLeft.blueRed, lowerLeft.blueRed, upperRight.blueRed, lowerRight.blueRed),
        squares(upperLeft.green, lowerLeft.green, upperRight.green, lowerRight.green)};
}

void prefetch(const std::uint8_t* line) {
    _mm_prefetch(reinterpret_cast<const char*>(line), _MM_HINT_T1);
}

// Eight canvas pixels from column `x`.
template <int scale>
Pixels loadSums(const RowPair& rows, int row, int x) {
    if constexpr (scale == 1) {
        return load(rows.pixels[row] + 4 * x);
    } else {
        const std::uint8_t* upper = rows.pixels[2 * row] + 8 * x;
        const std::uint8_t* lower = rows.pixels[2 * row + 1] + 8 * x;
        prefetch(upper + rows.next);
        prefetch(lower + rows.next);
        return squares(load(upper), load(lower), load(upper + 32), load(lower + 32));
    }
}

__m256i pair(int low, int high) {
    return _mm256_set1_epi32((high << 16) | (low & 0xffff));
}

template <int shift>
__m256i weighted(const Pixels& p, __m256i blueRed, __m256i green, int base) {
    const __m256i sum =
        _mm256_add_epi32(_mm256_madd_epi16(p.blueRed, blueRed), _mm256_madd_epi16(p.green, green));
    return _mm256_srai_epi32(_mm256_add_epi32(sum, _mm256_set1_epi32(offsetOf(base, shift))), shift);
}

template <int shift>
void storeLuma(std::uint8_t* to, const Pixels& left, const Pixels& right) {
    const __m256i blueRed = pair(lumaBlue, lumaRed), green = pair(lumaGreen, 0);
    const __m256i words =
        _mm256_permute4x64_epi64(_mm256_packs_epi32(weighted<shift>(left, blueRed, green, lumaBase),
                                     weighted<shift>(right, blueRed, green, lumaBase)),
            0xd8);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to),
        _mm_packus_epi16(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1)));
}

template <int shift>
void storeColor(std::uint8_t* to, const Pixels& sums, __m256i blueRed, __m256i green) {
    const __m256i words = weighted<shift>(sums, blueRed, green, colorBase);
    const __m128i packed = _mm_packs_epi32(_mm256_castsi256_si128(words), _mm256_extracti128_si256(words, 1));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(packed, packed));
}

} // namespace

template <int scale>
int convertRowsAvx2(const RowPair& rows, int width) {
    int x = 0;
    for (; x + 16 <= width; x += 16) {
        const Pixels upperLeft = loadSums<scale>(rows, 0, x), upperRight = loadSums<scale>(rows, 0, x + 8);
        const Pixels lowerLeft = loadSums<scale>(rows, 1, x), lowerRight = loadSums<scale>(rows, 1, x + 8);
        storeLuma<lumaFraction<scale>>(rows.luma[0] + x, upperLeft, upperRight);
        storeLuma<lumaFraction<scale>>(rows.luma[1] + x, lowerLeft, lowerRight);
        const Pixels sums = squares(upperLeft, lowerLeft, upperRight, lowerRight);
        storeColor<colorFraction<scale>>(
            rows.blue + x / 2, sums, pair(blueBlue, blueRed), pair(blueGreen, 0));
        storeColor<colorFraction<scale>>(rows.red + x / 2, sums, pair(redBlue, redRed), pair(redGreen, 0));
    }
    return x;
}

template int convertRowsAvx2<1>(const RowPair& rows, int width);
template int convertRowsAvx2<2>(const RowPair& rows, int width);

} // namespace tavro::detail
