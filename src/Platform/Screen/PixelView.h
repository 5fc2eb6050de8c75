#pragma once

#include "Platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavro {

/// Somebody else's pixels, 32 bits each, as a little-endian screen has them: blue, green, red, unused.
struct PixelView {
    std::uint8_t* pixels = nullptr; ///< of the top left corner of `area`
    std::ptrdiff_t stride = 0;      ///< bytes a line
    Rect area;                      ///< where they lie in the whole picture

    std::uint8_t* at(int x, int y) const { return pixels + (y - area.y) * stride + (x - area.x) * 4; }
};

/// The mouse pointer's picture: premultiplied colours, alpha in the top byte.
struct CursorImage {
    int width = 0;
    int height = 0;
    int hotX = 0; ///< the pixel that points
    int hotY = 0;
    std::vector<std::uint32_t> pixels;
};

/// Draws `cursor` over those of the view's pixels that it lies on; `x` and `y` are its top left corner.
void blendCursor(const PixelView& view, const CursorImage& cursor, int x, int y);

} // namespace tavro
