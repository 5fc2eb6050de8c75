#pragma once

#include "Platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tavro {

/// The changed parts of a picture since the last encoded one.
class Damage {
public:
    void add(std::span<const Rect> areas);
    void addAll();
    bool isWhole() const { return whole; }
    std::span<const Rect> areas() const { return rects; }

private:
    bool whole = false;
    std::vector<Rect> rects;
};

/// One byte per macroblock (16 by 16 pixels), row by row: damaged or not.
class MacroblockMap {
public:
    MacroblockMap(int width, int height);
    /// Marks damaged blocks with `changed`, all others with `constant`.
    void set(const Damage& damage, std::uint8_t changed, std::uint8_t constant);
    std::size_t size() const { return blocks.size(); }
    std::size_t count(std::uint8_t value) const; ///< blocks with this mark
    std::uint8_t* data() { return blocks.data(); }

private:
    int columns;
    int rows;
    std::vector<std::uint8_t> blocks;
};

} // namespace tavro
