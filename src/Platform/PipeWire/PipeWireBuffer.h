#pragma once

#include "Platform/PipeWire/PipeWireStream.h"
#include "Platform/Screen/PictureRegion.h"
#include "Platform/Screen/PixelView.h"

#include <chrono>
#include <optional>
#include <spa/buffer/buffer.h>

namespace tavro {

/// The picture in a buffer, in the sender's memory, which is only read.
struct PipeWirePicture {
    PixelView view;     ///< from (0, 0)
    Rect crop;          ///< the part of the buffer that is the picture
    bool isRgb = false; ///< red and blue are in each other's place
};

/// False for a buffer that only tells something beside the picture, e.g. where the pointer is.
bool hasPicture(const spa_buffer& buffer);
/// The sender's time stamp, on the monotonic clock; none when it sets none.
std::optional<std::chrono::steady_clock::time_point> stampOf(const spa_buffer& buffer);
/// Empty when the buffer is too small for its format.
std::optional<PipeWirePicture> pictureIn(const spa_buffer& buffer, const PipeWireFormat& format);
/// What the sender says has changed since its last buffer, in the picture; empty when it says nothing.
std::optional<PictureRegion> damageIn(const spa_buffer& buffer, const PipeWirePicture& picture);

} // namespace tavro
