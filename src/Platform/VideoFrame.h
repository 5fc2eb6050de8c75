#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

namespace tavro {

struct Rect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    bool isEmpty() const { return width <= 0 || height <= 0; }
    bool operator==(const Rect&) const = default;
};

/// One picture of the screen: 4:2:0 planar YCbCr, 8 bits, BT.709, limited range. Immutable while it is held;
/// who holds it for long makes the capture draw the next one elsewhere.
class VideoFrame {
public:
    virtual ~VideoFrame() = default;

    int width = 0; ///< pixels, even
    int height = 0;
    const std::uint8_t* planes[3] = {}; ///< Y, Cb, Cr; valid as long as the frame
    int strides[3] = {};                ///< bytes a line

    /// Time on the screen, since the epoch of std::chrono::steady_clock.
    std::chrono::microseconds presentationTime{0};

    /// Areas that may differ from the frame with the preceding `sequence`.
    std::vector<Rect> damage;
    /// Frame number, without gaps. A receiver that missed a frame must treat all of the next as damaged.
    std::uint64_t sequence = 0;

    bool isValid() const { return planes[0] != nullptr; }
};

using VideoFramePtr = std::shared_ptr<const VideoFrame>;

} // namespace tavro
