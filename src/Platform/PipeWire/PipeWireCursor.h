#pragma once

#include "Platform/Screen/PixelView.h"

#include <spa/buffer/buffer.h>

namespace tavro {

/// The mouse pointer, as buffers tell it beside the picture. Its image comes only when it changes.
class PipeWireCursor {
public:
    /// True when the place or the image has changed.
    bool update(const spa_buffer& buffer);

    Rect area() const; ///< in the buffer; empty while the pointer is elsewhere, hidden or without an image
    const CursorImage& image() const { return shape; }

private:
    bool isThere = false;
    int x = 0; ///< of the hot spot
    int y = 0;
    CursorImage shape;
};

} // namespace tavro
