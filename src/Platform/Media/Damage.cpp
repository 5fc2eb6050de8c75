#include "Platform/Media/Damage.h"

#include <algorithm>

namespace tavro {

namespace {
constexpr int blockSize = 16;
// A longer list costs more than it saves.
constexpr std::size_t mostAreas = 512;
} // namespace

void Damage::add(std::span<const Rect> areas) {
    if (whole)
        return;
    for (const Rect& area : areas)
        if (!area.isEmpty())
            rects.push_back(area);
    if (rects.size() > mostAreas)
        addAll();
}

void Damage::addAll() {
    whole = true;
    rects.clear();
}

MacroblockMap::MacroblockMap(int width, int height)
    : columns((width + blockSize - 1) / blockSize)
    , rows((height + blockSize - 1) / blockSize)
    , blocks(static_cast<std::size_t>(columns * rows)) {}

std::size_t MacroblockMap::count(std::uint8_t value) const {
    return static_cast<std::size_t>(std::count(blocks.begin(), blocks.end(), value));
}

void MacroblockMap::set(const Damage& damage, std::uint8_t changed, std::uint8_t constant) {
    std::fill(blocks.begin(), blocks.end(), damage.isWhole() ? changed : constant);
    if (damage.isWhole())
        return;
    for (const Rect& area : damage.areas()) {
        const int left = std::clamp(area.x / blockSize, 0, columns);
        const int right = std::clamp((area.x + area.width + blockSize - 1) / blockSize, 0, columns);
        const int top = std::clamp(area.y / blockSize, 0, rows);
        const int bottom = std::clamp((area.y + area.height + blockSize - 1) / blockSize, 0, rows);
        for (int row = top; row < bottom; ++row)
            if (right > left)
                std::fill_n(blocks.begin() + row * columns + left, right - left, changed);
    }
}

} // namespace tavro
