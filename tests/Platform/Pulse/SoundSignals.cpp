#include "SoundSignals.h"

#include <cmath>
#include <complex>
#include <numbers>

namespace tavro::test {

double amplitudeAt(std::span<const float> samples, double frequency, double rate) {
    std::complex<double> sum = 0;
    for (std::size_t i = 0; i < samples.size(); ++i)
        sum += static_cast<double>(samples[i]) *
               std::polar(1.0, -2 * std::numbers::pi * frequency * static_cast<double>(i) / rate);
    return 2 * std::abs(sum) / static_cast<double>(samples.size());
}

double frequencyNear(std::span<const float> samples, double around, double rate) {
    double best = 0;
    double strength = -1;
    for (double f = around - 20; f <= around + 20; f += 0.5)
        if (const double a = amplitudeAt(samples, f, rate); a > strength) {
            strength = a;
            best = f;
        }
    return best;
}

Match bestMatch(std::span<const float> haystack, std::span<const float> needle) {
    Match best;
    if (haystack.size() < needle.size())
        return best;
    double needlePower = 0;
    for (const float v : needle)
        needlePower += v * v;
    double power = 0;
    for (std::size_t i = 0; i < needle.size(); ++i)
        power += haystack[i] * haystack[i];
    for (std::size_t at = 0;; ++at) {
        float product = 0;
        for (std::size_t i = 0; i < needle.size(); ++i)
            product += haystack[at + i] * needle[i];
        const double correlation = std::abs(product) / std::sqrt(std::max(power, 1e-9) * needlePower);
        if (correlation > best.correlation)
            best = {at, correlation};
        if (at + needle.size() >= haystack.size())
            return best;
        power += haystack[at + needle.size()] * haystack[at + needle.size()] - haystack[at] * haystack[at];
    }
}

std::vector<float> sine(double frequency, double amplitude, double seconds, double rate) {
    std::vector<float> samples(static_cast<std::size_t>(seconds * rate));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<float>(
            amplitude * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
    return samples;
}

} // namespace tavro::test
