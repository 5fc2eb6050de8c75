#include "Scene.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tavro::bench {

namespace {

constexpr std::uint32_t paper = 0xf4f1ea, ink = 0x2b2926, desk = 0x39424e;
constexpr Area textArea{240, 90, 1440, 900};
constexpr int glyphWidth = 10, lineHeight = 20, columns = textArea.width / glyphWidth - 4;
constexpr int scrollStep = 4; // pixels a frame
// Noise moves by parts of a pixel, which only subpixels of the encoder follow.
constexpr int columnParts = 2, lineParts = 4; // of a pixel
constexpr int columnStep = 7, lineStep = 5;   // parts a frame

std::uint32_t hash(std::uint32_t value) {
    value ^= value >> 16;
    value *= 0x7feb352du;
    value ^= value >> 15;
    value *= 0x846ca68bu;
    return value ^ (value >> 16);
}

std::uint32_t mix(std::uint32_t a, std::uint32_t b, std::uint32_t share) { // share of b, 0 to 255
    std::uint32_t out = 0;
    for (int shift = 0; shift < 24; shift += 8) {
        const std::uint32_t x = (a >> shift) & 255, y = (b >> shift) & 255;
        out |= ((x * (255 - share) + y * share) / 255) << shift;
    }
    return out;
}

void fill(std::uint32_t* pixels, const Area& area, std::uint32_t colour) {
    for (int y = area.y; y < area.y + area.height; ++y)
        std::fill_n(pixels + y * Scene::width + area.x, area.width, colour);
}

// A character of the endless text; 0 is a space.
std::uint32_t characterAt(int line, int column) {
    const auto seed = hash(static_cast<std::uint32_t>(line) * 977u + static_cast<std::uint32_t>(column));
    const int length = 30 + static_cast<int>(hash(static_cast<std::uint32_t>(line)) % (columns - 30));
    return column >= length || seed % 6 == 0 ? 0 : 1 + seed % 60;
}

} // namespace

Scene::Scene(SceneKind which) : kind(which) {
    if (kind == SceneKind::motion)
        makeShapes();
    if (kind == SceneKind::noise)
        makeNoise();
}

void Scene::makeShapes() {
    // Soft shapes with a little grain, as in a film or a photo viewer.
    texture.resize(4ull * width * height);
    for (int y = 0; y < 2 * height; ++y)
        for (int x = 0; x < 2 * width; ++x) {
            const double a = std::sin(x * 0.011) * std::cos(y * 0.017), b = std::sin((x + 2 * y) * 0.005);
            const auto seed = hash(static_cast<std::uint32_t>(y * 2 * width + x));
            const auto channel = [&](double base, double gain, std::uint32_t grain) {
                return static_cast<std::uint32_t>(
                    std::clamp(base + gain * a + 50 * b + grain % 7, 0.0, 255.0));
            };
            texture[static_cast<std::size_t>(y) * 2 * width + static_cast<std::size_t>(x)] =
                channel(110, 70, seed) << 16 | channel(120, -60, seed >> 8) << 8 |
                channel(100, 40, seed >> 16);
        }
}

bool Scene::parse(std::string_view name, SceneKind& kind) {
    constexpr std::string_view names[] = {"still", "typing", "scroll", "motion", "noise"};
    const auto found = std::find(std::begin(names), std::end(names), name);
    kind = static_cast<SceneKind>(found - std::begin(names));
    return found != std::end(names);
}

Area Scene::paint(std::uint32_t* pixels, std::uint32_t number, bool whole) const {
    const int n = static_cast<int>(number);
    if (whole)
        paintBackground(pixels);
    Area changed{0, 0, codeCells * cellSize, cellSize};
    const auto include = [&](int right, int bottom) {
        changed.width = std::max(changed.width, right);
        changed.height = std::max(changed.height, bottom);
    };
    switch (kind) {
    case SceneKind::still:
        if (whole)
            paintText(pixels, 0);
        break;
    case SceneKind::typing:
        // A field right below the number, as close as a caret is to its text.
        for (int i = whole ? 0 : n % 150; i <= n % 150; ++i) {
            if (i == 0)
                fill(pixels, {0, cellSize, 150 * glyphWidth, lineHeight}, paper);
            const auto typed = static_cast<std::uint32_t>(n / 150 * 150 + i);
            paintGlyph(pixels, i * glyphWidth, cellSize, 1 + hash(typed) % 60, 0, height);
        }
        if (whole)
            paintText(pixels, 0);
        include(n % 150 == 0 ? 150 * glyphWidth : (n % 150 + 1) * glyphWidth, cellSize + lineHeight);
        break;
    case SceneKind::scroll:
        paintText(pixels, n * scrollStep);
        include(textArea.x + textArea.width, textArea.y + textArea.height);
        break;
    case SceneKind::motion:
        paintMotion(pixels, number);
        include(width, height);
        break;
    case SceneKind::noise:
        paintNoise(pixels, number);
        include(width, height);
        break;
    }
    paintCode(pixels, number);
    return whole ? Area{0, 0, width, height} : changed;
}

void Scene::paintBackground(std::uint32_t* pixels) const {
    fill(pixels, {0, 0, width, height}, desk);
    fill(pixels, {textArea.x, textArea.y - 30, textArea.width, 30}, 0xd8d2c6);
    fill(pixels, textArea, paper);
}

void Scene::paintCode(std::uint32_t* pixels, std::uint32_t number) const {
    for (int i = 0; i < codeCells; ++i)
        fill(pixels, {i * cellSize, 0, cellSize, cellSize}, number >> (codeCells - 1 - i) & 1 ? 0xffffff : 0);
}

void Scene::paintGlyph(
    std::uint32_t* pixels, int x, int y, std::uint32_t character, int clipTop, int clipBottom) const {
    // An invented letter of 4×6 strokes, two pixels each, with soft edges like anti-aliased text.
    const std::uint32_t strokes = character == 0 ? 0 : hash(character) | 0x00420;
    for (int row = 0; row < lineHeight; ++row) {
        const int line = y + row;
        if (line < clipTop || line >= clipBottom)
            continue;
        for (int column = 0; column < glyphWidth; ++column) {
            const int sx = column / 2, sy = (row - 4) / 2;
            const bool inside = sx < 4 && row >= 4 && sy < 6 && strokes >> (sy * 4 + sx) & 1;
            const std::uint32_t share = inside ? (column % 2 ? 255 : 160) : 0;
            pixels[line * width + x + column] = mix(paper, ink, share);
        }
    }
}

void Scene::paintText(std::uint32_t* pixels, int scrolled) const {
    const int bottom = textArea.y + textArea.height;
    for (int line = scrolled / lineHeight; line * lineHeight - scrolled < textArea.height; ++line)
        for (int column = 0; column < columns; ++column)
            paintGlyph(pixels, textArea.x + (2 + column) * glyphWidth,
                textArea.y + line * lineHeight - scrolled, characterAt(line, column), textArea.y, bottom);
}

void Scene::paintMotion(std::uint32_t* pixels, std::uint32_t number) const {
    const double t = number * 0.02;
    const int left = static_cast<int>((0.5 + 0.5 * std::sin(t)) * (width - 1));
    const int top = static_cast<int>((0.5 + 0.5 * std::sin(0.73 * t)) * (height - 1));
    for (int y = 0; y < height; ++y)
        std::memcpy(pixels + y * width, texture.data() + static_cast<std::size_t>(top + y) * 2 * width + left,
            width * 4);
}

// Soft noise without an edge, so that it can move for ever.
void Scene::makeNoise() {
    const auto raw = [](int x, int y, int channel) {
        const auto at = static_cast<std::uint32_t>((y + height) % height * width + (x + width) % width);
        return static_cast<int>(hash(at) >> (8 * channel) & 255);
    };
    std::vector<int> soft(3ull * width * height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int channel = 0; channel < 3; ++channel) {
                int sum = 0;
                for (int dy = -1; dy <= 1; ++dy)
                    for (int dx = -1; dx <= 1; ++dx)
                        sum += raw(x + dx, y + dy, channel) * (2 - std::abs(dx)) * (2 - std::abs(dy));
                soft[(static_cast<std::size_t>(y) * width + static_cast<std::size_t>(x)) * 3 +
                     static_cast<std::size_t>(channel)] = sum / 16;
            }
    const auto at = [&](int x, int y, int channel) {
        const auto line = static_cast<std::size_t>(y % height), column = static_cast<std::size_t>(x % width);
        return soft[(line * width + column) * 3 + static_cast<std::size_t>(channel)];
    };
    texture.reserve(1ull * columnParts * lineParts * width * height);
    for (int part = 0; part < columnParts * lineParts; ++part) {
        const int right = part % columnParts, down = part / columnParts;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x) {
                std::uint32_t pixel = 0;
                for (int channel = 0; channel < 3; ++channel) {
                    const int upper =
                        at(x, y, channel) * (columnParts - right) + at(x + 1, y, channel) * right;
                    const int lower =
                        at(x, y + 1, channel) * (columnParts - right) + at(x + 1, y + 1, channel) * right;
                    const int value = (upper * (lineParts - down) + lower * down) / (columnParts * lineParts);
                    pixel |= static_cast<std::uint32_t>(value) << (8 * channel);
                }
                texture.push_back(pixel);
            }
    }
}

void Scene::paintNoise(std::uint32_t* pixels, std::uint32_t number) const {
    const std::uint64_t right = std::uint64_t(number) * columnStep, down = std::uint64_t(number) * lineStep;
    const auto part = down % lineParts * columnParts + right % columnParts;
    const auto left = static_cast<int>(right / columnParts % width);
    for (int y = 0; y < height; ++y) {
        const std::uint64_t line = (down / lineParts + static_cast<std::uint64_t>(y)) % height;
        const std::uint32_t* from = texture.data() + (part * height + line) * width;
        std::copy(from + left, from + width, pixels + std::ptrdiff_t(y) * width);
        std::copy(from, from + left, pixels + std::ptrdiff_t(y) * width + (width - left));
    }
}

} // namespace tavro::bench
