#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PixelView.h"

namespace tavro {

/// Converts the view's pixels from (`x`, `y`) to BT.709 limited range, into `target` (even) on the canvas.
void convertPixels(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target);
/// The same at half the size: a canvas pixel is the mean of 2×2 pixels of the view, its chroma of 4×4.
void convertHalved(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target);

} // namespace tavro
