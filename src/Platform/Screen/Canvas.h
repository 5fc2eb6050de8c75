#pragma once

#include "Platform/Screen/PictureRegion.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

namespace tavro {

/// The planes of one picture, 4:2:0, and which parts of them are older than the stream's latest picture.
class Canvas {
public:
    Canvas(int width, int height); ///< even; black

    const int width;
    const int height;
    std::uint8_t* planes[3];
    int strides[3];

    Rect bounds() const { return {0, 0, width, height}; }
    void fillBlack();
    void copyFrom(const Canvas& other, const Rect& rect); ///< same size; `rect` even

private:
    friend class CanvasPool;
    void forget(); // what it shows, and with that most of its memory
    struct Free {
        void operator()(std::uint8_t* block) const;
    };
    std::unique_ptr<std::uint8_t, Free> memory;
    PictureRegion stale;
    std::chrono::steady_clock::time_point givenBack; // while it is free
    bool forgotten = false;
};

/// The canvases of one stream, used over and over. A canvas is written by the capture thread alone, before it
/// is published; readers give it back, from any thread, by dropping it.
class CanvasPool : public std::enable_shared_from_this<CanvasPool> {
public:
    /// `onRelease` is called, on the reader's thread, when a canvas has come back after one was missing.
    CanvasPool(int width, int height, std::size_t most, std::function<void()> onRelease);
    ~CanvasPool();

    /// Whether there is a canvas to take.
    bool canTake();
    /// A canvas to write `damage` into: elsewhere it shows what `latest` does. `damage` is copied from
    /// nowhere, and is all that has changed since `latest`. Only when `canTake()`. Without `latest`, black.
    std::shared_ptr<Canvas> take(const std::shared_ptr<Canvas>& latest, const PictureRegion& damage);
    /// Gives the system the memory of those that nobody has used for so long. Who takes one fills it anew.
    void forgetUnused(std::chrono::steady_clock::duration time);
    /// The stream has ended: no canvas is taken any more, and each gives its memory back when its readers do.
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
