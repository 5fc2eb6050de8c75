#pragma once

#include "Platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavro {

/// Pixels in borrowed memory, 32 bits each: blue, green, red, unused.
struct PixelView {
    std::uint8_t* pixels = nullptr; ///< top left corner of `area`
    std::ptrdiff_t stride = 0;      ///< bytes a line
    Rect area;                      ///< position in the whole picture

    std::uint8_t* at(int x, int y) const { return pixels + (y - area.y) * stride + (x - area.x) * 4; }
};

/// The mouse pointer's picture: premultiplied colours, alpha in the top byte.
struct CursorImage {
    int width = 0;
    int height = 0;
    int hotX = 0; ///< the hot spot
    int hotY = 0;
    std::vector<std::uint32_t> pixels;
};

/// Blends `cursor`, with its top left corner at (`x`, `y`), into the view.
void blendCursor(const PixelView& view, const CursorImage& cursor, int x, int y);

} // namespace tavro
