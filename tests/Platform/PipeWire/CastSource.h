#pragma once

#include "Core/FileDescriptor.h"
#include "Platform/VideoFrame.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

namespace tavro::test {

/// Blue, green, red and alpha or nothing, from the lowest byte on.
struct CastPicture {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> pixels = {};

    CastPicture(int pictureWidth, int pictureHeight, std::uint32_t color)
        : width(pictureWidth)
        , height(pictureHeight)
        , pixels(static_cast<std::size_t>(width) * height, color) {}
    std::uint32_t& at(int x, int y) { return pixels[static_cast<std::size_t>(y) * width + x]; }
    std::uint32_t at(int x, int y) const { return pixels[static_cast<std::size_t>(y) * width + x]; }
    void fill(const Rect& rect, std::uint32_t color);
};

enum class CastColors { bgrx, bgra, rgbx, rgba, argb, abgr }; ///< bytes of a pixel; the last two for pointers

struct CastCursor {
    struct Bitmap {
        CastPicture picture; ///< of no size: the pointer is invisible
        int hotX = 0;
        int hotY = 0;
        CastColors colors = CastColors::rgba;
        int linePadding = 0; ///< bytes
    };
    int x = 0; ///< of the hot spot
    int y = 0;
    std::optional<Bitmap> bitmap = {}; ///< a new one
    std::uint32_t id = 1;              ///< 0: elsewhere
};

/// What is written into one buffer.
struct CastFrame {
    std::optional<CastPicture> picture = {}; ///< none: what the buffer happens to hold
    std::vector<Rect> damage = {};
    std::optional<Rect> crop = {};
    std::optional<CastCursor> cursor = {}; ///< none: the pointer is elsewhere
    bool isCorrupted = false;
    bool isEmpty = false;       ///< of size 0
    bool withoutStride = false; ///< tells 0
    std::chrono::steady_clock::time_point stamp = {};
};

struct CastOptions {
    int width = 320;
    int height = 180;
    CastColors colors = CastColors::bgrx;
    bool tellsDamage = true; ///< else the buffers have no place for it
    bool tellsCursor = true;
    int buffers = 8;
    int linePadding = 0; ///< bytes
    int missing = 0;     ///< bytes at a buffer's end
};

/// A desktop's side of a cast: a video source on this environment's PipeWire that sends what a test says. Has
/// its own thread; used on any one other, that of the receiver too: only what needs no act of it is waited
/// for, for some seconds until std::runtime_error.
class CastSource {
public:
    explicit CastSource(const CastOptions& options = {});
    ~CastSource(); ///< takes the source away

    std::uint32_t node() const;
    bool isWatched() const; ///< by a receiver, which has agreed to the format
    /// False when nobody watches or all buffers are with the receiver. Returns when the frame has been passed
    /// on.
    bool send(const CastFrame& frame);
    void resize(int width, int height); ///< nobody watches until the receiver has agreed
    void setPaused(bool paused);        ///< nobody watches meanwhile
    /// The pictures in all buffers are still those that were sent.
    bool isUntouched() const;

private:
    struct Impl;
    const std::unique_ptr<Impl> impl;
};

/// A connection to this environment's PipeWire, as a portal hands it out.
FileDescriptor openPipeWireRemote();

} // namespace tavro::test
