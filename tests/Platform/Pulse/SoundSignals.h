#pragma once

#include <span>
#include <vector>

namespace tavro::test {

/// The strength of one frequency: the amplitude of that sine.
double amplitudeAt(std::span<const float> samples, double frequency, double rate);
/// The strongest frequency near `around`, to a hertz.
double frequencyNear(std::span<const float> samples, double around, double rate);
/// Where `needle` lies best in `haystack` (same rate), and how well it does: 1 for a perfect copy of any
/// loudness.
struct Match {
    std::size_t position = 0;
    double correlation = 0;
};
Match bestMatch(std::span<const float> haystack, std::span<const float> needle);

std::vector<float> sine(double frequency, double amplitude, double seconds, double rate);

} // namespace tavro::test
