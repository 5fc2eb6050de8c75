#include "Platform/PipeWire/PipeWireBuffer.h"

#include <algorithm>
#include <cstdint>

namespace tavro {
namespace {

constexpr int bytesPerPixel = 4;

// The part of `region`, of any size and place, inside `limits`.
Rect clipped(const spa_region& region, const Rect& limits) {
    const std::int64_t x = region.position.x, y = region.position.y;
    const auto left = std::max<std::int64_t>(x, limits.x), top = std::max<std::int64_t>(y, limits.y);
    const auto right = std::min<std::int64_t>(x + region.size.width, rightOf(limits));
    const auto bottom = std::min<std::int64_t>(y + region.size.height, bottomOf(limits));
    if (right <= left || bottom <= top)
        return {};
    return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left),
        static_cast<int>(bottom - top)};
}

Rect cropIn(const spa_buffer& buffer, const Rect& all) {
    const auto* crop = static_cast<const spa_meta_region*>(
        spa_buffer_find_meta_data(&buffer, SPA_META_VideoCrop, sizeof(spa_meta_region)));
    const Rect part = crop ? clipped(crop->region, all) : Rect{};
    return part.isEmpty() ? all : part;
}

const spa_meta_header* headerOf(const spa_buffer& buffer) {
    return static_cast<const spa_meta_header*>(
        spa_buffer_find_meta_data(&buffer, SPA_META_Header, sizeof(spa_meta_header)));
}

} // namespace

bool hasPicture(const spa_buffer& buffer) {
    if (buffer.n_datas == 0)
        return false;
    const auto* header = headerOf(buffer);
    if (header && header->flags & SPA_META_HEADER_FLAG_CORRUPTED)
        return false;
    const spa_data& data = buffer.datas[0];
    return data.data && data.chunk->size > 0 && !(data.chunk->flags & SPA_CHUNK_FLAG_CORRUPTED);
}

std::optional<std::chrono::steady_clock::time_point> stampOf(const spa_buffer& buffer) {
    const auto* header = headerOf(buffer);
    if (!header || header->pts <= 0)
        return std::nullopt;
    return std::chrono::steady_clock::time_point(std::chrono::nanoseconds(header->pts));
}

std::optional<PipeWirePicture> pictureIn(const spa_buffer& buffer, const PipeWireFormat& format) {
    const spa_data& data = buffer.datas[0];
    const std::int64_t line = std::int64_t{format.width} * bytesPerPixel;
    const std::int64_t stride = data.chunk->stride != 0 ? data.chunk->stride : line;
    const std::int64_t offset = data.chunk->offset % std::max(data.maxsize, 1u);
    if (stride < line || offset + stride * (format.height - 1) + line > data.maxsize)
        return std::nullopt;
    PipeWirePicture picture;
    picture.crop = cropIn(buffer, {0, 0, format.width, format.height});
    picture.view.pixels = static_cast<std::uint8_t*>(data.data) + offset + picture.crop.y * stride +
                          std::ptrdiff_t{picture.crop.x} * bytesPerPixel;
    picture.view.stride = stride;
    picture.view.area = {0, 0, picture.crop.width, picture.crop.height};
    picture.isRgb = format.isRgb;
    return picture;
}

std::optional<PictureRegion> damageIn(const spa_buffer& buffer, const PipeWirePicture& picture) {
    const spa_meta* told = spa_buffer_find_meta(&buffer, SPA_META_VideoDamage);
    if (!told)
        return std::nullopt;
    PictureRegion damage;
    const auto* regions = static_cast<const spa_meta_region*>(told->data);
    for (std::size_t i = 0; i < told->size / sizeof(spa_meta_region); ++i) {
        if (!spa_meta_region_is_valid(&regions[i]))
            break; // the list's end
        Rect rect = clipped(regions[i].region, picture.crop);
        rect.x -= picture.crop.x;
        rect.y -= picture.crop.y;
        damage.add(rect);
    }
    return damage;
}

} // namespace tavro
