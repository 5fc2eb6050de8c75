#pragma once

#include "Audio/AudioFrame.h"

#include <cstddef>
#include <mutex>
#include <span>
#include <vector>

namespace tavro {

/// The loudness of the mixed sound, for a meter. Maps the mean power of each 50 ms, -60 to 0 dB of full
/// scale, to 0 to 1. Rises at once and falls by 40 dB a second. One thread feeds it, another reads it.
class AudioLevel {
public:
    static constexpr std::size_t window = 800; ///< samples; 50 ms

    void add(std::span<const std::int16_t> samples);
    /// The level for the next 50 ms of display; falls without new sound. Up to three levels wait, as sound
    /// comes in blocks of up to 100 ms. Further ones merge into the last by their maximum.
    double next();

    /// Maps a mean square, relative to a full scale of 1, to 0 to 1.
    static double fromPower(double meanSquare);

private:
    // Used by the feeding thread only:
    double power = 0;
    std::size_t counted = 0;

    std::mutex mutex;
    std::vector<double> waiting; // one level for each window
    double shown = 0;
};

} // namespace tavro
