#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavro {

/// How one axis is scaled: each target pixel is a weighted sum of neighbouring source pixels. Downscaling
/// averages the area of a target pixel, upscaling blends the two nearest source pixels.
class AxisTaps {
public:
    AxisTaps() = default;
    AxisTaps(int from, int to); ///< pixels

    int first(int target) const { return taps[static_cast<std::size_t>(target)].first; }
    int count(int target) const { return taps[static_cast<std::size_t>(target)].count; }
    int end(int target) const { return first(target) + count(target); }
    /// In 256ths, adding up to 256. Zeros follow the last, up to `room()`.
    const std::uint16_t* weights(int target) const { return all.data() + std::ptrdiff_t(target) * places; }
    int room() const { return places; } ///< a multiple of four

private:
    struct Taps {
        int first = 0;
        int count = 0;
    };
    std::vector<Taps> taps;
    std::vector<std::uint16_t> all;
    int places = 0;
};

/// Writes the sum of the lines at `from`, `stride` bytes apart, that the taps of `line` weight.
void blendLines(const std::uint8_t* from, std::ptrdiff_t stride, const AxisTaps& taps, int line,
    std::uint8_t* to, int bytes);

/// Writes the pixels of the target's columns `begin` to `end`, 4 bytes each. `from` is the pixel
/// `taps.first(begin)`, followed by all pixels that the taps weight and by `taps.room()` more, of any value.
void blendColumns(const std::uint8_t* from, const AxisTaps& taps, int begin, int end, std::uint8_t* to);

namespace detail {
inline constexpr int unit = 256;
inline constexpr int rounding = unit / 2 - 1;
/// As above, for blocks from the left. Return the number of bytes or columns written.
int blendLinesAvx2(const std::uint8_t* from, std::ptrdiff_t stride, const std::uint16_t* weights, int count,
    std::uint8_t* to, int bytes);
int blendColumnsAvx2(const std::uint8_t* from, const AxisTaps& taps, int begin, int end, std::uint8_t* to);
} // namespace detail

} // namespace tavro
