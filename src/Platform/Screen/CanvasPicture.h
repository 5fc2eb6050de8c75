#pragma once

#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/PictureFit.h"
#include "Platform/Screen/PixelView.h"

#include <chrono>
#include <memory>
#include <span>

namespace tavro {

/// The picture of a source on a stream's canvases: scaled to fit, and drawn anew only where it has changed.
/// Used by one capture thread.
class CanvasPicture {
public:
    /// Draws `area` of the canvas with source pixels from `view`, which contains those `neededFor(area)`.
    struct Patch {
        Rect area;
        PixelView view;
    };

    CanvasPicture(int width, int height, std::shared_ptr<CanvasPool> pool); ///< of the canvases

    /// The next drawing of a source of another size is of the whole canvas.
    void setSource(int width, int height);
    Rect source() const { return fit.source(); }

    /// The area of the canvas, even, that shows `part` of the source.
    Rect areaOf(const Rect& part) const { return fit.toCanvas(part); }
    /// The areas of the canvas to draw after `changed` areas of the source.
    PictureRegion areasOf(const PictureRegion& changed) const;
    /// The part of the source needed to draw `area` of the canvas; empty in the bars beside the picture.
    Rect neededFor(const Rect& area) const;

    /// Draws `areas` by `patches`, in their order, to be published. Needs a canvas that can be taken.
    void draw(const PictureRegion& areas, std::span<const Patch> patches);

    const std::shared_ptr<Canvas>& canvas() const { return latest; } ///< null before the first
    const PictureRegion& damage() const { return drawn; }            ///< of the last drawing
    /// Returns the memory of canvases that only a late reader needed a while ago.
    void forgetUnused() { pool->forgetUnused(std::chrono::milliseconds(200)); }

private:
    const int width;
    const int height;
    const std::shared_ptr<CanvasPool> pool;
    PictureFit fit;
    bool fitChanged = true;
    std::shared_ptr<Canvas> latest;
    PictureRegion drawn;
};

} // namespace tavro
