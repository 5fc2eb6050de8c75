#include "Platform/Screen/AxisTaps.h"

#include <algorithm>
#include <cmath>

namespace tavro {

using namespace detail;

namespace {

#ifdef TAVRO_AVX2
bool canUseAvx2() {
    static const bool usable = __builtin_cpu_supports("avx2");
    return usable;
}
#endif

} // namespace

AxisTaps::AxisTaps(int from, int to) : taps(static_cast<std::size_t>(to)) {
    const double step = double(from) / to;
    const double reach = std::max(1.0, step); // source pixels per target pixel
    places = (static_cast<int>(std::ceil(reach)) + 1 + 3) / 4 * 4;
    all.resize(taps.size() * static_cast<std::size_t>(places));
    for (int i = 0; i < to; ++i) {
        const double start = std::clamp((i + 0.5) * step - reach / 2, 0.0, from - reach);
        const double end = start + reach;
        auto& [first, count] = taps[static_cast<std::size_t>(i)];
        first = std::min(from - 1, static_cast<int>(start));
        std::uint16_t* weight = all.data() + std::ptrdiff_t(i) * places;
        int left = unit;
        for (int pixel = first; pixel < std::min<double>(from, end - 1e-9) || count == 0; ++pixel) {
            const double covered = std::min(end, pixel + 1.0) - std::max(start, double(pixel));
            const int share = std::clamp(static_cast<int>(std::lround(covered / reach * unit)), 0, left);
            weight[count++] = static_cast<std::uint16_t>(share);
            left -= share;
        }
        auto& largest = *std::max_element(weight, weight + count);
        largest = static_cast<std::uint16_t>(largest + left); // weights add up to 256, so white stays white
    }
}

void blendLines(const std::uint8_t* from, std::ptrdiff_t stride, const AxisTaps& taps, int line,
    std::uint8_t* to, int bytes) {
    const std::uint16_t* weights = taps.weights(line);
    const int count = taps.count(line);
    int done = 0;
#ifdef TAVRO_AVX2
    if (canUseAvx2())
        done = blendLinesAvx2(from, stride, weights, count, to, bytes);
#endif
    for (int i = done; i < bytes; ++i) {
        int sum = rounding;
        for (int tap = 0; tap < count; ++tap)
            sum += from[tap * stride + i] * weights[tap];
        to[i] = static_cast<std::uint8_t>(sum / unit);
    }
}

void blendColumns(const std::uint8_t* from, const AxisTaps& taps, int begin, int end, std::uint8_t* to) {
    int done = begin;
#ifdef TAVRO_AVX2
    if (canUseAvx2())
        done += blendColumnsAvx2(from, taps, begin, end, to);
#endif
    for (int column = done; column < end; ++column)
        for (int channel = 0; channel < 4; ++channel) {
            const std::uint8_t* pixel = from + std::ptrdiff_t(taps.first(column) - taps.first(begin)) * 4;
            const std::uint16_t* weights = taps.weights(column);
            int sum = rounding;
            for (int tap = 0; tap < taps.count(column); ++tap)
                sum += pixel[4 * tap + channel] * weights[tap];
            to[(column - begin) * 4 + channel] = static_cast<std::uint8_t>(sum / unit);
        }
}

} // namespace tavro
