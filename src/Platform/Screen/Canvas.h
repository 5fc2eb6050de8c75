#pragma once

#include "Platform/Screen/PictureRegion.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tavro {

/// The planes of one 4:2:0 picture. `stale` marks the parts older than the stream's latest picture.
class Canvas {
public:
    Canvas(int width, int height); ///< even; starts black

    const int width;
    const int height;
    std::uint8_t* planes[3];
    int strides[3];

    Rect bounds() const { return {0, 0, width, height}; }
    void fillBlack();
    void copyFrom(const Canvas& other, const Rect& rect); ///< same size; `rect` even

private:
    friend class CanvasPool;
    void forget(); // the picture, and with it most of the memory
    struct Free {
        void operator()(std::uint8_t* block) const;
    };
    std::unique_ptr<std::uint8_t, Free> memory;
    PictureRegion stale;
    std::chrono::steady_clock::time_point givenBack; // while it is free
    bool forgotten = false;
    int readers = 0;           // this and the next are guarded by the pool
    bool isIncomplete = false; // changed since it was published
};

/// Canvases of one stream. The capture thread draws them, the latest in place when nobody reads it. Any
/// thread may read what is published.
class CanvasPool : public std::enable_shared_from_this<CanvasPool> {
public:
    /// Calls `onRelease`, on a reader's thread or the capture's, when one can be taken after `canTake()` was
    /// false.
    CanvasPool(int width, int height, std::size_t most, std::function<void()> onRelease);
    ~CanvasPool();

    bool canTake();
    /// Returns a canvas that equals `before`, the last one taken, outside `damage`; the caller draws
    /// `damage`, all that has changed since, then publishes it. Without `before` it is black. Requires
    /// `canTake()`.
    std::shared_ptr<Canvas> take(const std::shared_ptr<Canvas>& before, const PictureRegion& damage);
    /// The finished canvas for a reader, unchanged as long as it is held.
    std::shared_ptr<const Canvas> publish(const std::shared_ptr<Canvas>& canvas);
    /// The published canvas for another reader; null until it is published again. Any thread.
    std::shared_ptr<const Canvas> read(const std::shared_ptr<Canvas>& canvas);
    /// Returns the memory of canvases unused for `time` to the system. `take()` fills them again.
    void forgetUnused(std::chrono::steady_clock::duration time);
    /// Ends the use of the pool: no more `take()`. Canvases free their memory when released.
    void retire();

private:
    bool beginDrawingOver(Canvas& canvas); // false while it is read
    Canvas* findFree();
    std::shared_ptr<const Canvas> reading(const std::shared_ptr<Canvas>& canvas);
    void endReading(Canvas& canvas);
    void giveBack(Canvas* canvas);

    const int width;
    const int height;
    const std::size_t most;
    const std::function<void()> onRelease;
    std::vector<std::unique_ptr<Canvas>> all; // the capture thread's
    std::mutex mutex;
    std::vector<Canvas*> free;
    const Canvas* latest = nullptr; // of those taken
    bool missing = false;
    bool retired = false;
};

} // namespace tavro
