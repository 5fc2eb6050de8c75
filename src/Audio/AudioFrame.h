#pragma once

#include "Platform/TakeFormat.h"

#include <functional>
#include <vector>

namespace tavro {

/// What travels between the stages of the sound pipeline: any number of mono samples of the take.
using AudioFrame = std::vector<TakeFormat::Sample>;
using AudioFrameHandler = std::function<void(AudioFrame frame)>;

inline constexpr double audioFrameRate = TakeFormat::sampleRate; ///< Hz

} // namespace tavro
