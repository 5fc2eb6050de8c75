#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace tavro::bench {

/// Contents of a recorded screen. A picture depends on the frame number alone, so it can be rendered again
/// and compared with a recording.
enum class SceneKind { still, typing, scroll, motion, noise };

struct Area {
    int x, y, width, height;
};

/// A 1920×1080 picture, 4 bytes a pixel (B, G, R, unused). 24 cells of 16×16 pixels at the top left are the
/// frame number, most significant bit first, white for 1.
class Scene {
public:
    static constexpr int width = 1920, height = 1080;
    static constexpr int codeCells = 24, cellSize = 16;

    explicit Scene(SceneKind kind);
    static bool parse(std::string_view name, SceneKind& kind);

    /// Paints frame `number` into `pixels` and returns the changed area. `pixels` hold frame `number - 1`, or
    /// anything when `whole`.
    Area paint(std::uint32_t* pixels, std::uint32_t number, bool whole) const;

private:
    void paintBackground(std::uint32_t* pixels) const;
    void paintCode(std::uint32_t* pixels, std::uint32_t number) const;
    void paintGlyph(
        std::uint32_t* pixels, int x, int y, std::uint32_t character, int clipTop, int clipBottom) const;
    void paintText(std::uint32_t* pixels, int scrolled) const;
    void makeShapes();
    void paintMotion(std::uint32_t* pixels, std::uint32_t number) const;
    void makeNoise();
    void paintNoise(std::uint32_t* pixels, std::uint32_t number) const;

    const SceneKind kind;
    std::vector<std::uint32_t>
        texture; // motion: twice the screen's size; noise: a screen for each part of a pixel
};

} // namespace tavro::bench
