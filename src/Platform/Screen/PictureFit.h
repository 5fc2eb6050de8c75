#pragma once

#include "Platform/Screen/AxisTaps.h"
#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PixelView.h"

#include <cstdint>
#include <vector>

namespace tavro {

/// Scales a source to a canvas: centred, as large as fits, proportions kept. A canvas pixel depends on the
/// same source pixels for every drawn part, so damaged pieces match a full redraw.
class PictureFit {
public:
    PictureFit() = default;
    PictureFit(int sourceWidth, int sourceHeight, int canvasWidth, int canvasHeight);

    Rect source() const { return {0, 0, sourceWidth, sourceHeight}; }
    const Rect& picture() const { return placed; } ///< on the canvas; bars fill the rest

    /// The part of the canvas, even, that depends on `sourceRect`.
    Rect toCanvas(const Rect& sourceRect) const;
    /// The part of the source needed to draw `canvasRect`.
    Rect toSource(const Rect& canvasRect) const;
    /// Draws `canvasRect`, inside `picture()`; `view` contains `toSource(canvasRect)`.
    void draw(const PixelView& view, Canvas& canvas, const Rect& canvasRect);

private:
    void drawScaled(const PixelView& view, Canvas& canvas, const Rect& canvasRect);

    int sourceWidth = 0;
    int sourceHeight = 0;
    Rect placed;
    int square = 0;      // source pixels per canvas pixel and axis where that is exactly 1 or 2; otherwise 0
    AxisTaps columnTaps; // relative to `placed`
    AxisTaps lineTaps;
    std::vector<std::uint8_t> blended; // one line of the source's width
    std::vector<std::uint8_t> scaled;  // two canvas lines
};

} // namespace tavro
