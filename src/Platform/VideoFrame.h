#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace tavro {

/// A rectangle in pixels.
struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool isEmpty() const { return width <= 0 || height <= 0; }
    bool operator==(const Rect&) const = default;
};

/// One picture of the screen: 4:2:0 planar YCbCr, 8 bits, BT.709, limited range. Immutable once made, so it
/// passes between threads by shared pointer and is never copied.
class VideoFrame {
public:
    virtual ~VideoFrame() = default;

    int width = 0; ///< pixels, even
    int height = 0;
    const std::uint8_t* planes[3] = {}; ///< Y, Cb, Cr; valid as long as the frame
    int strides[3] = {};                ///< bytes a line

    /// When the picture was on the screen: std::chrono::steady_clock since its epoch.
    std::chrono::microseconds presentationTime{0};

    /// Where it may differ from the frame with the preceding `sequence`; empty means nowhere.
    std::vector<Rect> damage;
    /// Counts a stream's frames, without gaps. Who has missed one takes the whole next frame as damaged.
    std::uint64_t sequence = 0;

    bool isValid() const { return planes[0] != nullptr; }
};

using VideoFramePtr = std::shared_ptr<const VideoFrame>;

} // namespace tavro
