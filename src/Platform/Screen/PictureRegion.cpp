#include "Platform/Screen/PictureRegion.h"

#include <algorithm>
#include <limits>

namespace tavro {
namespace {

constexpr std::size_t mostRects = 4;
// Up to this many extra pixels, joining is cheaper than a further request and loop.
constexpr std::int64_t freePixels = 4096;

std::int64_t wasteOfJoining(const Rect& a, const Rect& b) {
    return areaOf(united(a, b)) - areaOf(a) - areaOf(b);
}

} // namespace

Rect united(const Rect& a, const Rect& b) {
    if (a.isEmpty())
        return b;
    if (b.isEmpty())
        return a;
    const int x = std::min(a.x, b.x), y = std::min(a.y, b.y);
    return {x, y, std::max(rightOf(a), rightOf(b)) - x, std::max(bottomOf(a), bottomOf(b)) - y};
}

Rect intersected(const Rect& a, const Rect& b) {
    const int x = std::max(a.x, b.x), y = std::max(a.y, b.y);
    return {x, y, std::min(rightOf(a), rightOf(b)) - x, std::min(bottomOf(a), bottomOf(b)) - y};
}

bool contains(const Rect& outer, const Rect& inner) {
    return inner.x >= outer.x && inner.y >= outer.y && rightOf(inner) <= rightOf(outer) &&
           bottomOf(inner) <= bottomOf(outer);
}

Rect evenAligned(const Rect& r) {
    const int x = r.x & ~1, y = r.y & ~1;
    return {x, y, (rightOf(r) - x + 1) & ~1, (bottomOf(r) - y + 1) & ~1};
}

void PictureRegion::add(Rect rect) {
    if (rect.isEmpty() || covers(rect))
        return;
    for (auto other = list.begin(); other != list.end();) {
        if (wasteOfJoining(rect, *other) > std::max(freePixels, areaOf(rect) / 4)) {
            ++other;
            continue;
        }
        rect = united(rect, *other);
        list.erase(other);
        other = list.begin(); // the larger rectangle may reach others now
    }
    list.push_back(rect);
    if (list.size() <= mostRects)
        return;

    auto least = std::numeric_limits<std::int64_t>::max();
    std::size_t first = 0, second = 1;
    for (std::size_t i = 0; i < list.size(); ++i)
        for (std::size_t j = i + 1; j < list.size(); ++j)
            if (const auto waste = wasteOfJoining(list[i], list[j]); waste < least) {
                least = waste;
                first = i;
                second = j;
            }
    const Rect joined = united(list[first], list[second]);
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(second));
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(first));
    add(joined);
}

void PictureRegion::add(const PictureRegion& other) {
    for (const Rect& rect : other.list)
        add(rect);
}

bool PictureRegion::covers(const Rect& rect) const {
    return std::any_of(list.begin(), list.end(), [&](const Rect& r) { return contains(r, rect); });
}

std::int64_t PictureRegion::area() const {
    std::int64_t sum = 0;
    for (const Rect& rect : list)
        sum += areaOf(rect);
    return sum;
}

Rect PictureRegion::bounds() const {
    Rect all;
    for (const Rect& rect : list)
        all = united(all, rect);
    return all;
}

} // namespace tavro
