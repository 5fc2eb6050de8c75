#include "Platform/PipeWire/PipeWireCursor.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <spa/param/video/raw.h>
#include <utility>

namespace tavro {
namespace {

constexpr std::uint32_t largestSide = 1024;
constexpr int farthest = 1 << 20; // pixels; keeps sums within an int

// The places of the colours among a pixel's bytes.
struct ByteOrder {
    std::uint32_t format;
    int red, green, blue, alpha;
};
constexpr ByteOrder orders[] = {
    {SPA_VIDEO_FORMAT_RGBA, 0, 1, 2, 3},
    {SPA_VIDEO_FORMAT_BGRA, 2, 1, 0, 3},
    {SPA_VIDEO_FORMAT_ARGB, 1, 2, 3, 0},
    {SPA_VIDEO_FORMAT_ABGR, 3, 2, 1, 0},
};

int bounded(int value) {
    return std::clamp(value, -farthest, farthest);
}

std::vector<std::uint32_t> pixelsFrom(
    const std::uint8_t* bytes, std::size_t stride, const spa_rectangle& size, const ByteOrder& order) {
    std::vector<std::uint32_t> pixels;
    pixels.reserve(std::size_t{size.width} * size.height);
    for (std::uint32_t row = 0; row < size.height; ++row, bytes += stride)
        for (std::uint32_t column = 0; column < size.width; ++column) {
            const std::uint8_t* pixel = bytes + std::size_t{column} * 4;
            pixels.push_back(std::uint32_t{pixel[order.alpha]} << 24 | std::uint32_t{pixel[order.red]} << 16 |
                             std::uint32_t{pixel[order.green]} << 8 | pixel[order.blue]);
        }
    return pixels;
}

// Empty without a new image; an image of no size when the pointer has become invisible.
std::optional<CursorImage> imageIn(const spa_meta& meta, const spa_meta_cursor& cursor) {
    const std::uint64_t start = cursor.bitmap_offset;
    if (start < sizeof cursor || start + sizeof(spa_meta_bitmap) > meta.size)
        return std::nullopt;
    const auto* memory = static_cast<const std::uint8_t*>(meta.data) + start;
    spa_meta_bitmap bitmap{};
    std::memcpy(&bitmap, memory, sizeof bitmap);
    const auto [width, height] = bitmap.size;
    if (bitmap.format == 0)
        return std::nullopt;
    if (bitmap.offset < sizeof bitmap || width == 0 || height == 0)
        return CursorImage{};
    const auto* order = std::find_if(std::begin(orders), std::end(orders),
        [&bitmap](const ByteOrder& known) { return known.format == bitmap.format; });
    const std::uint64_t line = std::uint64_t{width} * 4;
    const std::uint64_t stride = bitmap.stride > 0 ? static_cast<std::uint64_t>(bitmap.stride) : line;
    if (order == std::end(orders) || bitmap.stride < 0 || stride < line || width > largestSide ||
        height > largestSide || start + bitmap.offset + stride * (height - 1) + line > meta.size)
        return std::nullopt;
    return CursorImage{static_cast<int>(width), static_cast<int>(height), bounded(cursor.hotspot.x),
        bounded(cursor.hotspot.y), pixelsFrom(memory + bitmap.offset, stride, bitmap.size, *order)};
}

} // namespace

bool PipeWireCursor::update(const spa_buffer& buffer) {
    const spa_meta* meta = spa_buffer_find_meta(&buffer, SPA_META_Cursor);
    if (!meta || meta->size < sizeof(spa_meta_cursor))
        return false;
    spa_meta_cursor cursor{};
    std::memcpy(&cursor, meta->data, sizeof cursor);
    const Rect before = area();
    isThere = spa_meta_cursor_is_valid(&cursor);
    if (!isThere)
        return !before.isEmpty();
    x = bounded(cursor.position.x);
    y = bounded(cursor.position.y);
    bool hasNewImage = false;
    if (auto image = imageIn(*meta, cursor)) {
        hasNewImage = image->pixels != shape.pixels;
        shape = std::move(*image);
    }
    return hasNewImage || area() != before;
}

Rect PipeWireCursor::area() const {
    if (!isThere || shape.width == 0)
        return {};
    return {x - shape.hotX, y - shape.hotY, shape.width, shape.height};
}

} // namespace tavro
