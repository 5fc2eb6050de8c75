#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <vector>

namespace tavro::pulse {

/// Places a device's sound on the wall clock's time line: frame n was heard n / rate seconds after the
/// origin. Missing sound becomes silence of the same length; late or bursty delivery changes nothing. Frames
/// are interleaved floats. Not thread-safe.
///
/// A block's capture time is when its first frame was at the device, as the server computes it. One may be
/// off by a cycle of the server, so several decide:
///  - A stream's first 200 ms are held back and placed by the median of their capture times.
///  - Later a gap is filled, or a surplus left out, when all blocks of 300 ms agree. (A server that hung may
///    be wrong at first.)
///  - The rest is drift of the device's clock: up to 50 ppm, 30 ms in ten minutes, which is audible. Single
///    frames are added or left out, at most one in 10 ms (0.2 % of pitch), to keep its average within 8 ms.
class SoundTimeline {
public:
    using Clock = std::chrono::steady_clock;
    using Emit = std::function<void(std::span<const float> frames)>;

    SoundTimeline(double rate, std::size_t channels, Clock::time_point origin, Emit deliver);

    /// A stream begins, or continues after an interruption of unknown length. Its frames are placed anew.
    void interrupt();
    void add(std::span<const float> frames, Clock::time_point captured);
    /// Emits silence up to a little before `now`. Does nothing while frames are held back.
    void fill(Clock::time_point now);
    void flush(); ///< emits what is held back

    Clock::time_point origin() const { return lineOrigin; }
    std::uint64_t emitted() const { return emittedFrames; }

private:
    void place();
    void follow(std::size_t frames, Clock::time_point captured);
    std::span<const float> withoutSurplus(std::span<const float> frames);
    void emitCorrected(std::span<const float> frames);
    void emitFrames(std::span<const float> frames);
    void emitSilence(std::int64_t frames);
    double framesAt(Clock::time_point moment) const; ///< the line's position of `moment`
    std::int64_t framesIn(std::chrono::milliseconds span) const;

    const double rate;
    const std::size_t channels;
    const Emit deliver;
    const Clock::time_point lineOrigin;
    std::uint64_t emittedFrames = 0;

    // While a stream is being placed.
    bool placing = true;
    std::vector<float> held;
    std::vector<double> places; // of the first held frame, by each block's capture time

    // Afterwards.
    struct Lateness {
        std::int64_t followed; // at that block
        double frames;         // how far the line is behind the wall clock
    };
    std::deque<Lateness> recent;
    std::int64_t surplus = 0;         // frames still to be left out without a break
    double average = 0;               // of the lateness, over 20 s
    std::int64_t followed = 0;        // frames since the stream was placed
    std::int64_t correction = 0;      // frames still to be added (or, negative, left out)
    std::int64_t sinceCorrection = 0; // frames
    std::vector<float> corrected;
};

} // namespace tavro::pulse
