#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PixelView.h"

namespace tavro {

/// Converts screen pixels into BT.709 limited range. `target`, even, is where on the canvas the pixels of the
/// same size from (`x`, `y`) of the view's picture go.
void convertPixels(const PixelView& view, int x, int y, Canvas& canvas, const Rect& target);

} // namespace tavro
