#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PixelView.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tavro {

/// How a source of one size is shown on a canvas of another: as large as fits, proportions kept, in the
/// middle. Every pixel of the canvas depends on the same few source pixels whichever part of the picture is
/// drawn, so that pictures made of damaged pieces equal those drawn in one go.
class PictureFit {
public:
    PictureFit() = default;
    PictureFit(int sourceWidth, int sourceHeight, int canvasWidth, int canvasHeight);

    bool isOneToOne() const { return oneToOne; }
    Rect source() const { return {0, 0, sourceWidth, sourceHeight}; }
    const Rect& picture() const { return placed; } ///< on the canvas; the rest is bars

    /// The part of the canvas, even, that changes with that part of the source.
    Rect toCanvas(const Rect& sourceRect) const;
    /// The part of the source needed to draw that part of the canvas.
    Rect toSource(const Rect& canvasRect) const;
    /// Draws that part of the canvas, inside `picture()`; `view` has what `toSource` says.
    void draw(const PixelView& view, Canvas& canvas, const Rect& canvasRect);

private:
    // What the source pixels from `first` count for in one canvas line or column, in 256ths.
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
