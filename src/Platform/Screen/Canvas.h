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
};

/// Canvases of one stream. The capture thread writes them before publication. Any thread may release them.
class CanvasPool : public std::enable_shared_from_this<CanvasPool> {
public:
    /// Calls `onRelease` on the reader's thread when a canvas is returned after `canTake()` was false.
    CanvasPool(int width, int height, std::size_t most, std::function<void()> onRelease);
    ~CanvasPool();

    bool canTake();
    /// Returns a canvas that equals `latest` outside `damage`; the caller draws `damage`, all that has
    /// changed since `latest`. Without `latest` it is black. Requires `canTake()`.
    std::shared_ptr<Canvas> take(const std::shared_ptr<Canvas>& latest, const PictureRegion& damage);
    /// Returns the memory of canvases unused for `time` to the system. `take()` fills them again.
    void forgetUnused(std::chrono::steady_clock::duration time);
    /// Ends the use of the pool: no more `take()`. Canvases free their memory when released.
    void retire();

private:
    Canvas* findFree();
    void giveBack(Canvas* canvas);

    const int width;
    const int height;
    const std::size_t most;
    const std::function<void()> onRelease;
    std::vector<std::unique_ptr<Canvas>> all; // the capture thread's
    std::mutex mutex;
    std::vector<Canvas*> free;
    bool missing = false;
    bool retired = false;
};

} // namespace tavro
