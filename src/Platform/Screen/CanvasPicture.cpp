#include "Platform/Screen/CanvasPicture.h"

#include <utility>

namespace tavro {

CanvasPicture::CanvasPicture(int canvasWidth, int canvasHeight, std::shared_ptr<CanvasPool> canvases)
    : width(canvasWidth)
    , height(canvasHeight)
    , pool(std::move(canvases)) {}

void CanvasPicture::setSource(int sourceWidth, int sourceHeight) {
    if (fit.source() == Rect{0, 0, sourceWidth, sourceHeight})
        return;
    fit = PictureFit(sourceWidth, sourceHeight, width, height);
    fitChanged = true;
}

PictureRegion CanvasPicture::areasOf(const PictureRegion& changed) const {
    if (fitChanged)
        return PictureRegion({0, 0, width, height});
    PictureRegion areas;
    for (const Rect& rect : changed.rects())
        areas.add(areaOf(rect));
    return areas;
}

Rect CanvasPicture::neededFor(const Rect& area) const {
    const Rect shown = intersected(area, fit.picture());
    return shown.isEmpty() ? Rect{} : fit.toSource(shown);
}

void CanvasPicture::draw(const PictureRegion& areas, std::span<const Patch> patches) {
    const auto next = pool->take(latest, areas);
    if (std::exchange(fitChanged, false))
        next->fillBlack();
    for (const Patch& patch : patches)
        if (const Rect shown = intersected(patch.area, fit.picture()); !shown.isEmpty())
            fit.draw(patch.view, *next, shown);
    latest = next;
    drawn = areas;
}

} // namespace tavro
