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

class Canvas {
public:
    Canvas(int width, int height);

    int width() const { return columns; }
    int height() const { return rows; }

    void fill(const Rect& area, Colour colour); ///< even edges
    /// Draws rows of dark marks on white, similar to text. `seed` selects the text.
    void writeText(const Rect& area, std::uint32_t seed);
    /// Moves the area's content up by `lines` (even).
    void scroll(const Rect& area, int lines);

    /// The present picture, with damage since the last call.
    VideoFramePtr take(std::chrono::microseconds time);
    /// Like `take`, but drops the frame, which leaves a gap in the sequence.
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
