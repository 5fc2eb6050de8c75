#pragma once

#include <span>
#include <vector>

namespace tavro::test {

/// The amplitude of the sine of one frequency.
double amplitudeAt(std::span<const float> samples, double frequency, double rate);
/// The strongest frequency near `around`, to 1 Hz.
double frequencyNear(std::span<const float> samples, double around, double rate);
/// The best position of `needle` in `haystack` (same rate). Score 1: a perfect copy of any loudness.
struct Match {
    std::size_t position = 0;
    double correlation = 0;
};
Match bestMatch(std::span<const float> haystack, std::span<const float> needle);

std::vector<float> sine(double frequency, double amplitude, double seconds, double rate);

} // namespace tavro::test
