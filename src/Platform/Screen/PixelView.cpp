#include "Platform/Screen/PixelView.h"

#include "Platform/Screen/PictureRegion.h"

#include <algorithm>

namespace tavro {

void blendCursor(const PixelView& view, const CursorImage& cursor, int x, int y) {
    const Rect part = intersected(view.area, {x, y, cursor.width, cursor.height});
    for (int row = part.y; row < bottomOf(part); ++row) {
        std::uint8_t* pixel = view.at(part.x, row);
        const std::uint32_t* over = cursor.pixels.data() + (row - y) * cursor.width + (part.x - x);
        for (int i = 0; i < part.width; ++i, pixel += 4) {
            const unsigned keep = 255 - (over[i] >> 24);
            for (int channel = 0; channel < 3; ++channel) {
                const unsigned below = (pixel[channel] * keep + 127) / 255;
                pixel[channel] =
                    static_cast<std::uint8_t>(std::min(255u, below + ((over[i] >> (8 * channel)) & 255)));
            }
        }
    }
}

} // namespace tavro
