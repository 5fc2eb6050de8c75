#pragma once

#include "Platform/VideoFrame.h"

#include <cstdint>
#include <vector>

namespace tavro {

inline int rightOf(const Rect& r) {
    return r.x + r.width;
}
inline int bottomOf(const Rect& r) {
    return r.y + r.height;
}
inline std::int64_t areaOf(const Rect& r) {
    return r.isEmpty() ? 0 : std::int64_t{r.width} * r.height;
}
Rect united(const Rect& a, const Rect& b);
Rect intersected(const Rect& a, const Rect& b);
bool contains(const Rect& outer, const Rect& inner);
/// The least rectangle around `r` with even edges, for half-resolution chroma.
Rect evenAligned(const Rect& r);

/// A few rectangles that cover everything added. Close ones are joined.
class PictureRegion {
public:
    PictureRegion() = default;
    explicit PictureRegion(const Rect& rect) { add(rect); }

    void add(Rect rect);
    void add(const PictureRegion& other);
    void clear() { list.clear(); }

    bool isEmpty() const { return list.empty(); }
    const std::vector<Rect>& rects() const { return list; }
    bool covers(const Rect& rect) const; ///< one of the rectangles contains it
    std::int64_t area() const;           ///< pixels, overlaps counted twice
    Rect bounds() const;

private:
    std::vector<Rect> list;
};

} // namespace tavro
