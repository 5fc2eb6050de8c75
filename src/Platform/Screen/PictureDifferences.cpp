#include "Platform/Screen/PictureDifferences.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace tavro {
namespace {

constexpr int tileWidth = 64, tileHeight = 16; // pixels

// One row of tiles. A change ends the comparison of its tile, so that pictures which differ everywhere cost
// least.
class TileRow {
public:
    TileRow(const PixelView& before, const PixelView& now)
        : old(before)
        , current(now)
        , changed(static_cast<std::size_t>((now.area.width + tileWidth - 1) / tileWidth)) {}

    void compare(int top, int bottom) {
        std::fill(changed.begin(), changed.end(), char(false));
        std::size_t unchanged = changed.size();
        for (int y = top; y < bottom && unchanged > 0; ++y) {
            if (isEqual(y, 0, current.area.width))
                continue;
            for (std::size_t tile = 0; tile < changed.size(); ++tile)
                if (!changed[tile] && !isEqual(y, leftOf(tile), leftOf(tile + 1))) {
                    changed[tile] = true;
                    --unchanged;
                }
        }
    }

    void addTo(PictureRegion& region, int top, int bottom) const {
        for (std::size_t tile = 0; tile < changed.size(); ++tile) {
            const std::size_t first = tile;
            while (tile < changed.size() && changed[tile])
                ++tile;
            if (tile > first)
                region.add({current.area.x + leftOf(first), top, leftOf(tile) - leftOf(first), bottom - top});
        }
    }

private:
    int leftOf(std::size_t tile) const {
        return std::min(static_cast<int>(tile) * tileWidth, current.area.width);
    }
    bool isEqual(int y, int left, int right) const {
        const int x = current.area.x + left;
        return std::memcmp(old.at(x, y), current.at(x, y), static_cast<std::size_t>(right - left) * 4) == 0;
    }

    const PixelView& old;
    const PixelView& current;
    std::vector<char> changed;
};

} // namespace

PictureRegion differences(const PixelView& before, const PixelView& now) {
    PictureRegion region;
    TileRow row(before, now);
    for (int top = now.area.y; top < bottomOf(now.area); top += tileHeight) {
        const int bottom = std::min(top + tileHeight, bottomOf(now.area));
        row.compare(top, bottom);
        row.addTo(region, top, bottom);
    }
    return region;
}

} // namespace tavro
