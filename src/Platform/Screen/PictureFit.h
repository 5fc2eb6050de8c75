#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PixelView.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tavro {

/// Scales a source to a canvas: centred, as large as fits, proportions kept. A canvas pixel depends on the
/// same source pixels for every drawn part, so damaged pieces match a full redraw.
class PictureFit {
public:
    PictureFit() = default;
    PictureFit(int sourceWidth, int sourceHeight, int canvasWidth, int canvasHeight);

    bool isOneToOne() const { return oneToOne; }
    Rect source() const { return {0, 0, sourceWidth, sourceHeight}; }
    const Rect& picture() const { return placed; } ///< on the canvas; bars fill the rest

    /// The part of the canvas, even, that depends on `sourceRect`.
    Rect toCanvas(const Rect& sourceRect) const;
    /// The part of the source needed to draw `canvasRect`.
    Rect toSource(const Rect& canvasRect) const;
    /// Draws `canvasRect`, inside `picture()`; `view` contains `toSource(canvasRect)`.
    void draw(const PixelView& view, Canvas& canvas, const Rect& canvasRect);

private:
    // Weights, in 256ths, of the source pixels from `first` for one canvas line or column.
    struct Taps {
        int first = 0;
        std::vector<std::uint16_t> weights;
    };
    static std::vector<Taps> makeTaps(int from, int to);
    void scaleLine(const PixelView& view, int line, const Rect& columns, std::uint8_t* to);

    int sourceWidth = 0;
    int sourceHeight = 0;
    Rect placed;
    bool oneToOne = false;
    std::vector<Taps> columnTaps; // relative to `placed`
    std::vector<Taps> lineTaps;
    std::vector<std::uint16_t> sums;
    std::vector<std::uint8_t> mixed;
    std::vector<std::uint8_t> scaled;
};

} // namespace tavro
