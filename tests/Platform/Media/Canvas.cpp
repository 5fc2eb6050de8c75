#include "Canvas.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <utility>

namespace tavro::test {

namespace {

struct PaintedFrame final : VideoFrame {
    std::array<std::vector<std::uint8_t>, 3> pixels;
};

std::uint8_t rounded(double value) {
    return static_cast<std::uint8_t>(std::lround(value));
}

// BT.709, limited range.
std::array<std::uint8_t, 3> toYCbCr(Colour colour) {
    const double luma = 0.2126 * colour.red + 0.7152 * colour.green + 0.0722 * colour.blue;
    return {rounded(16 + luma * 219 / 255), rounded(128 + (colour.blue - luma) / 1.8556 * 224 / 255),
        rounded(128 + (colour.red - luma) / 1.5748 * 224 / 255)};
}

} // namespace

Canvas::Canvas(int width, int height) : columns(width), rows(height) {
    const auto size = static_cast<std::size_t>(width * height);
    pixels = {std::vector<std::uint8_t>(size), std::vector<std::uint8_t>(size / 4),
        std::vector<std::uint8_t>(size / 4)};
    fill({0, 0, width, height}, {});
}

void Canvas::set(int x, int y, Colour colour) {
    const auto [luma, blueness, redness] = toYCbCr(colour);
    for (const int row : {y, y + 1})
        for (const int column : {x, x + 1})
            pixels[0][static_cast<std::size_t>(row * columns + column)] = luma;
    const auto chroma = static_cast<std::size_t>(y / 2 * (columns / 2) + x / 2);
    pixels[1][chroma] = blueness;
    pixels[2][chroma] = redness;
}

void Canvas::fill(const Rect& area, Colour colour) {
    for (int y = area.y; y < area.y + area.height; y += 2)
        for (int x = area.x; x < area.x + area.width; x += 2)
            set(x, y, colour);
    damage.push_back(area);
}

void Canvas::writeText(const Rect& area, std::uint32_t seed) {
    constexpr int glyphWidth = 8;
    constexpr int lineHeight = 16;
    fill(area, {255, 255, 255});
    std::minstd_rand random(seed + 1);
    for (int top = area.y; top + lineHeight <= area.y + area.height; top += lineHeight)
        for (int left = area.x; left + glyphWidth <= area.x + area.width; left += glyphWidth) {
            std::uint32_t glyph = random() % 6 == 0 ? 0 : static_cast<std::uint32_t>(random());
            for (int y = top + 2; y < top + 14; ++y)
                for (int x = left + 1; x < left + 7; ++x, glyph = glyph >> 1 | glyph << 31)
                    if ((glyph & 5) == 1)
                        pixels[0][static_cast<std::size_t>(y * columns + x)] = 40;
        }
}

void Canvas::scroll(const Rect& area, int lines) {
    for (int plane = 0; plane < 3; ++plane) {
        const int scale = plane == 0 ? 1 : 2;
        auto& values = pixels[static_cast<std::size_t>(plane)];
        for (int y = area.y / scale; y < (area.y + area.height - lines) / scale; ++y) {
            const auto line = values.begin() + y * (columns / scale) + area.x / scale;
            std::copy_n(line + lines / scale * (columns / scale), area.width / scale, line);
        }
    }
    damage.push_back(area);
}

VideoFramePtr Canvas::take(std::chrono::microseconds time) {
    auto frame = std::make_shared<PaintedFrame>();
    frame->pixels = pixels;
    frame->width = columns;
    frame->height = rows;
    for (int plane = 0; plane < 3; ++plane) {
        frame->planes[plane] = frame->pixels[static_cast<std::size_t>(plane)].data();
        frame->strides[plane] = plane == 0 ? columns : columns / 2;
    }
    frame->presentationTime = time;
    frame->damage = std::exchange(damage, {});
    frame->sequence = sequence++;
    return frame;
}

void Canvas::skip() {
    damage.clear();
    ++sequence;
}

} // namespace tavro::test
