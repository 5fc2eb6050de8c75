#pragma once

#include "Platform/TakeFormat.h"

#include <functional>
#include <vector>

namespace tavro {

/// Mono samples of the take, in any number, as the stages of the sound pipeline pass them on.
using AudioFrame = std::vector<TakeFormat::Sample>;
using AudioFrameHandler = std::function<void(AudioFrame frame)>;

inline constexpr double audioFrameRate = TakeFormat::sampleRate; ///< Hz

} // namespace tavro
