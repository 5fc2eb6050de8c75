#pragma once

#include <cstdint>
#include <functional>
#include <vector>

namespace tavro {

/// What travels between the stages of the sound pipeline: mono samples of 16 bits, 16 000 a second, any
/// number.
using AudioFrame = std::vector<std::int16_t>;
using AudioFrameHandler = std::function<void(AudioFrame frame)>;

inline constexpr double audioFrameRate = 16'000; ///< Hz

} // namespace tavro
