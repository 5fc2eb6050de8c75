#pragma once

#include "Platform/VideoFrame.h"

#include <array>
#include <cstdint>
#include <vector>

namespace tavro::test {

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
};

/// A picture that is painted on and handed out as the frames of a stream, as a screen capture would.
class Canvas {
public:
    Canvas(int width, int height);

    int width() const { return columns; }
    int height() const { return rows; }

    void fill(const Rect& area, Colour colour); ///< even edges
    /// Rows of dark marks on white that look to an encoder like text; other text for another seed.
    void writeText(const Rect& area, std::uint32_t seed);
    /// Moves what is in the area up by `lines` (even).
    void scroll(const Rect& area, int lines);

    /// The picture as it is, with what was painted since the last call as damage.
    VideoFramePtr take(std::chrono::microseconds time);
    /// As `take`, but nobody gets the frame: the next one's sequence tells of the gap.
    void skip();

    const std::array<std::vector<std::uint8_t>, 3>& planes() const { return pixels; }

private:
    void set(int x, int y, Colour colour); // the 2 by 2 pixels at (x, y)

    int columns;
    int rows;
    std::array<std::vector<std::uint8_t>, 3> pixels;
    std::vector<Rect> damage;
    std::uint64_t sequence = 0;
};

} // namespace tavro::test
