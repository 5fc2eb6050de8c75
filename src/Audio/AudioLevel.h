#pragma once

#include "Audio/AudioFrame.h"

#include <cstddef>
#include <mutex>
#include <span>
#include <vector>

namespace tavro {

/// How loud the mixed sound is, for a meter: the mean power of each 50 ms in decibels of full scale, -60 to 0
/// dB mapped to 0 to 1. It rises at once and falls slowly, so that the eye can follow. Fed on one thread,
/// read on another; neither ever waits for the other's work.
class AudioLevel {
public:
    static constexpr std::size_t window = 800; ///< samples; 50 ms

    void add(std::span<const std::int16_t> samples);
    /// The level for the next 50 ms of display. Sound arrives in blocks of up to 100 ms, so two levels may be
    /// waiting; what waits longer than that is merged into its loudest. With nothing new the level falls.
    double next();

    /// 0 to 1 for a mean square of samples whose full scale is 1.
    static double fromPower(double meanSquare);

private:
    // Of the feeding thread.
    double power = 0;
    std::size_t counted = 0;

    std::mutex mutex;
    std::vector<double> waiting; // one level for each window
    double shown = 0;
};

} // namespace tavro
