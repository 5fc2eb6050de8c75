#pragma once

#include <algorithm>
#include <chrono>

namespace tavro {

/// Limits the average frame rate but allows bursts: a fixed minimum gap would lose early frames.
class FramePacer {
public:
    using Clock = std::chrono::steady_clock;

    explicit FramePacer(std::chrono::microseconds leastInterval) : interval(leastInterval) {}

    /// Earliest time of the next frame; may lie in the past.
    Clock::time_point next() const { return due - (burst - 1) * interval; }
    void taken(Clock::time_point now) { due = std::max(due, now) + interval; }

private:
    static constexpr int burst = 4;
    const std::chrono::microseconds interval;
    Clock::time_point due{}; // of the next frame at an even rate
};

} // namespace tavro
