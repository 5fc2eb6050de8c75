#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PixelView.h"

namespace tavro {

/// Converts the view's pixels from (`x`, `y`) to BT.709 limited range, into `target` (even) on the canvas.
void convertPixels(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target);

} // namespace tavro
