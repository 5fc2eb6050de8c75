#include "Audio/AudioLevel.h"

#include <algorithm>
#include <cmath>

namespace tavro {

namespace {

constexpr double floorDecibels = -60;
constexpr double fall = 2.0 / 60; // in 50 ms: 40 dB a second
constexpr std::size_t mostWaiting = 3;
constexpr double fullScale = 32768;

} // namespace

double AudioLevel::fromPower(double meanSquare) {
    if (!(meanSquare > 0))
        return 0;
    return std::clamp(1 - 10 * std::log10(meanSquare) / floorDecibels, 0.0, 1.0);
}

void AudioLevel::add(std::span<const std::int16_t> samples) {
    for (const std::int16_t sample : samples) {
        const double value = sample / fullScale;
        power += value * value;
        if (++counted < window)
            continue;
        const double level = fromPower(power / window);
        power = 0;
        counted = 0;
        const std::lock_guard lock(mutex);
        if (waiting.size() >= mostWaiting)
            waiting.back() = std::max(waiting.back(), level);
        else
            waiting.push_back(level);
    }
}

double AudioLevel::next() {
    const std::lock_guard lock(mutex);
    double level = 0;
    if (!waiting.empty()) {
        level = waiting.front();
        waiting.erase(waiting.begin());
    }
    shown = std::max({level, shown - fall, 0.0});
    return shown;
}

} // namespace tavro
