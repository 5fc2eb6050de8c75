#include "Platform/Screen/AxisTaps.h"

#include <immintrin.h>

// Gives exactly the results of the scalar loops.
namespace tavro::detail {
namespace {

// The sum of one target pixel's taps: four channels of 32 bits.
__m128i sumOfTaps(const std::uint8_t* pixels, const std::uint16_t* weights, int room) {
    const __m128i pairs = _mm_setr_epi8(0, 4, 1, 5, 2, 6, 3, 7, 8, 12, 9, 13, 10, 14, 11, 15);
    const __m256i first = _mm256_setr_epi32(0, 0, 0, 0, 1, 1, 1, 1);
    __m256i sums = _mm256_setr_epi32(rounding, rounding, rounding, rounding, 0, 0, 0, 0);
    for (int tap = 0; tap < room; tap += 4) {
        const __m128i four = _mm_loadu_si128(reinterpret_cast<const __m128i*>(pixels + 4 * tap));
        const __m128i weight = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(weights + tap));
        sums =
            _mm256_add_epi32(sums, _mm256_madd_epi16(_mm256_cvtepu8_epi16(_mm_shuffle_epi8(four, pairs)),
                                       _mm256_permutevar8x32_epi32(_mm256_castsi128_si256(weight), first)));
    }
    return _mm_srli_epi32(_mm_add_epi32(_mm256_castsi256_si128(sums), _mm256_extracti128_si256(sums, 1)), 8);
}

// With a constant, the compiler unrolls the taps of the usual sizes.
template <int constantRoom>
int blendBlocks(const std::uint8_t* from, const AxisTaps& taps, int begin, int end, std::uint8_t* to) {
    const int room = constantRoom ? constantRoom : taps.room();
    const auto sumAt = [&](int column) {
        return sumOfTaps(
            from + std::ptrdiff_t(taps.first(column) - taps.first(begin)) * 4, taps.weights(column), room);
    };
    int column = begin;
    for (; column + 4 <= end; column += 4) {
        const __m128i left = _mm_packs_epi32(sumAt(column), sumAt(column + 1));
        const __m128i right = _mm_packs_epi32(sumAt(column + 2), sumAt(column + 3));
        _mm_storeu_si128(
            reinterpret_cast<__m128i*>(to + (column - begin) * 4), _mm_packus_epi16(left, right));
    }
    return column - begin;
}

} // namespace

int blendLinesAvx2(const std::uint8_t* from, std::ptrdiff_t stride, const std::uint16_t* weights, int count,
    std::uint8_t* to, int bytes) {
    const __m256i zero = _mm256_setzero_si256();
    int i = 0;
    for (; i + 32 <= bytes; i += 32) {
        __m256i low = _mm256_set1_epi16(rounding), high = low;
        for (int tap = 0; tap < count; ++tap) {
            const __m256i pixels =
                _mm256_loadu_si256(reinterpret_cast<const __m256i*>(from + tap * stride + i));
            const __m256i weight = _mm256_set1_epi16(static_cast<short>(weights[tap]));
            low = _mm256_add_epi16(low, _mm256_mullo_epi16(_mm256_unpacklo_epi8(pixels, zero), weight));
            high = _mm256_add_epi16(high, _mm256_mullo_epi16(_mm256_unpackhi_epi8(pixels, zero), weight));
        }
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(to + i),
            _mm256_packus_epi16(_mm256_srli_epi16(low, 8), _mm256_srli_epi16(high, 8)));
    }
    return i;
}

int blendColumnsAvx2(const std::uint8_t* from, const AxisTaps& taps, int begin, int end, std::uint8_t* to) {
    return taps.room() == 4 ? blendBlocks<4>(from, taps, begin, end, to)
                            : blendBlocks<0>(from, taps, begin, end, to);
}

} // namespace tavro::detail
