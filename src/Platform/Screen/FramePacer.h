#pragma once

#include <chrono>

namespace tavro {

/// Holds a stream to its frame rate on average, while letting a few frames follow closely: a painter's frames
/// come with jitter, and a fixed least gap would lose those that come early.
class FramePacer {
public:
    using Clock = std::chrono::steady_clock;

    explicit FramePacer(std::chrono::microseconds leastInterval) : interval(leastInterval) {}

    /// When the next frame may be taken; in the past when at once.
    Clock::time_point next() const;
    void taken(Clock::time_point now);

private:
    const std::chrono::microseconds interval;
    Clock::time_point due{}; // of the next frame, were they evenly spaced
};

} // namespace tavro
