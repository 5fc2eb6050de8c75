#pragma once

#include "Platform/VideoFrame.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace tavro {

/// The parts of a picture that changed, collected over frames that nobody encoded.
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

/// Which macroblocks (16 by 16 pixels) of a picture are touched by damage: one byte each, row by row.
class MacroblockMap {
public:
    MacroblockMap(int width, int height);
    /// Marks with `changed` what the damage touches, with `constant` all else.
    void set(const Damage& damage, std::uint8_t changed, std::uint8_t constant);
    std::size_t size() const { return blocks.size(); }
    std::size_t count(std::uint8_t value) const; ///< how many have this mark
    std::uint8_t* data() { return blocks.data(); }

private:
    int columns;
    int rows;
    std::vector<std::uint8_t> blocks;
};

} // namespace tavro
