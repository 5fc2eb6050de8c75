#include "Platform/Screen/Canvas.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <sys/mman.h>
#include <unistd.h>
#include <utility>

namespace tavro {
namespace {

constexpr int lineAlignment = 64; // bytes, for vector code

int aligned(int bytes) {
    return (bytes + lineAlignment - 1) / lineAlignment * lineAlignment;
}

} // namespace

void Canvas::Free::operator()(std::uint8_t* block) const {
    std::free(block);
}

Canvas::Canvas(int canvasWidth, int canvasHeight) : width(canvasWidth), height(canvasHeight) {
    strides[0] = aligned(width);
    strides[1] = strides[2] = aligned(width / 2);
    const std::size_t luma = std::size_t(strides[0]) * height,
                      chroma = std::size_t(strides[1]) * (height / 2);
    memory.reset(static_cast<std::uint8_t*>(std::aligned_alloc(lineAlignment, luma + 2 * chroma)));
    if (!memory)
        throw std::bad_alloc();
    planes[0] = memory.get();
    planes[1] = planes[0] + luma;
    planes[2] = planes[1] + chroma;
    fillBlack();
}

void Canvas::fillBlack() {
    std::memset(planes[0], 16, std::size_t(strides[0]) * height);
    std::memset(planes[1], 128, std::size_t(strides[1]) * (height / 2) * 2);
}

void Canvas::copyFrom(const Canvas& other, const Rect& rect) {
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane > 0 ? 2 : 1;
        const int bytes = rect.width / half;
        for (int row = rect.y / half; row < bottomOf(rect) / half; ++row) {
            const std::ptrdiff_t at = std::ptrdiff_t(row) * strides[plane] + rect.x / half;
            std::memcpy(planes[plane] + at, other.planes[plane] + at, static_cast<std::size_t>(bytes));
        }
    }
}

void Canvas::forget() {
    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* first = memory.get();
    std::size_t left = std::size_t(strides[0]) * height + std::size_t(strides[1]) * height;
    if (std::align(page, page, first, left)) // whole pages only
        ::madvise(first, left / page * page, MADV_DONTNEED);
    stale = PictureRegion(bounds());
    forgotten = true;
}

CanvasPool::CanvasPool(
    int canvasWidth, int canvasHeight, std::size_t mostCanvases, std::function<void()> release)
    : width(canvasWidth)
    , height(canvasHeight)
    , most(mostCanvases)
    , onRelease(std::move(release)) {}

CanvasPool::~CanvasPool() = default;

bool CanvasPool::canTake() {
    const std::lock_guard lock(mutex);
    missing = free.empty() && all.size() >= most && (!latest || latest->readers > 0);
    return !missing;
}

bool CanvasPool::beginDrawingOver(Canvas& canvas) {
    const std::lock_guard lock(mutex);
    if (canvas.readers > 0)
        return false;
    canvas.isIncomplete = true;
    return true;
}

std::shared_ptr<const Canvas> CanvasPool::publish(const std::shared_ptr<Canvas>& canvas) {
    {
        const std::lock_guard lock(mutex);
        canvas->isIncomplete = false;
        ++canvas->readers;
    }
    return reading(canvas);
}

std::shared_ptr<const Canvas> CanvasPool::read(const std::shared_ptr<Canvas>& canvas) {
    {
        const std::lock_guard lock(mutex);
        if (canvas->isIncomplete)
            return nullptr;
        ++canvas->readers;
    }
    return reading(canvas);
}

std::shared_ptr<const Canvas> CanvasPool::reading(const std::shared_ptr<Canvas>& canvas) {
    return {canvas.get(), [pool = shared_from_this(), canvas](const Canvas*) { pool->endReading(*canvas); }};
}

void CanvasPool::endReading(Canvas& canvas) {
    bool awaited = false;
    {
        const std::lock_guard lock(mutex);
        awaited = --canvas.readers == 0 && &canvas == latest && std::exchange(missing, false);
    }
    if (awaited)
        onRelease();
}

Canvas* CanvasPool::findFree() {
    {
        const std::lock_guard lock(mutex);
        // Among equally stale canvases take the one used last; the others can then be forgotten.
        const auto best = std::min_element(free.rbegin(), free.rend(),
            [](const Canvas* a, const Canvas* b) { return a->stale.area() < b->stale.area(); });
        if (best != free.rend()) {
            Canvas* canvas = *best;
            free.erase(std::next(best).base());
            return canvas;
        }
    }
    all.push_back(std::make_unique<Canvas>(width, height));
    all.back()->stale.add(all.back()->bounds());
    return all.back().get();
}

void CanvasPool::giveBack(Canvas* canvas) {
    bool awaited = false;
    {
        const std::lock_guard lock(mutex);
        canvas->givenBack = std::chrono::steady_clock::now();
        if (retired)
            canvas->forget();
        free.push_back(canvas);
        awaited = std::exchange(missing, false);
    }
    if (awaited)
        onRelease();
}

void CanvasPool::forgetUnused(std::chrono::steady_clock::duration time) {
    const auto before = std::chrono::steady_clock::now() - time;
    const std::lock_guard lock(mutex);
    for (Canvas* canvas : free)
        if (!canvas->forgotten && canvas->givenBack <= before)
            canvas->forget();
}

void CanvasPool::retire() {
    {
        const std::lock_guard lock(mutex);
        retired = true;
    }
    forgetUnused(std::chrono::seconds(0));
}

std::shared_ptr<Canvas> CanvasPool::take(const std::shared_ptr<Canvas>& before, const PictureRegion& damage) {
    const bool inPlace = before && beginDrawingOver(*before);
    Canvas* canvas = inPlace ? before.get() : findFree();
    if (before && !inPlace) {
        for (const Rect& rect : canvas->stale.rects())
            if (!damage.covers(rect))
                canvas->copyFrom(*before, rect);
    }
    canvas->stale.clear();
    canvas->forgotten = false;
    for (const auto& other : all)
        if (other.get() != canvas)
            other->stale.add(damage);
    if (inPlace)
        return before;
    {
        const std::lock_guard lock(mutex);
        latest = canvas;
        canvas->isIncomplete = true;
    }
    return {canvas, [pool = shared_from_this()](Canvas* used) { pool->giveBack(used); }};
}

} // namespace tavro
