#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <span>
#include <vector>

namespace tavro::pulse {

/// Lays what a sound device delivers on the wall clock's time line: frame n is what was heard n / rate
/// seconds after the origin. What is missing becomes silence of exactly its length; sound that is merely
/// late, or that comes in bursts, is not touched. Frames are interleaved floats. Not thread-safe.
///
/// Where a block belongs is told by the moment at which its first frame was at the device, as the server
/// reckons it. One such reckoning may be off by a cycle of the server, so none is trusted alone:
///  - at a stream's beginning a fifth of a second is held back, and the median of its blocks' moments
///    places it;
///  - afterwards only a gap that a third of a second of blocks agree on is filled, and only such a surplus
///    left out (a server that hung may be wrong about the first that it hands out);
///  - the rest is drift between the device's clock and ours. Crystals differ by up to 50 millionths or so,
///    30 ms in ten minutes, which would be heard; so its long average is kept within 8 ms by adding or
///    leaving out single frames, at most one in 10 ms (0.2 % of pitch at worst, for as long as it takes).
class SoundTimeline {
public:
    using Clock = std::chrono::steady_clock;
    using Emit = std::function<void(std::span<const float> frames)>;

    SoundTimeline(double rate, std::size_t channels, Clock::time_point origin, Emit deliver);

    /// A stream begins, or goes on after an interruption of unknown length: what comes now is placed anew.
    void interrupt();
    /// `captured`: when the first of the frames was at the device.
    void add(std::span<const float> frames, Clock::time_point captured);
    /// No stream delivers: silence, up to a little before `now`. Does nothing while a stream is being placed.
    void fill(Clock::time_point now);
    /// Lets out what is held back.
    void flush();

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
    std::vector<double> places; // of the first frame held, by each block's moment

    // Afterwards.
    struct Lateness {
        std::int64_t followed; // by then
        double frames;         // how far the line is behind the wall clock
    };
    std::deque<Lateness> recent;
    std::int64_t surplus = 0;         // frames still to be left out, all at once
    double average = 0;               // of the lateness, over some twenty seconds
    std::int64_t followed = 0;        // frames since the stream was placed
    std::int64_t correction = 0;      // frames still to be added (or, negative, left out)
    std::int64_t sinceCorrection = 0; // frames
    std::vector<float> corrected;
};

} // namespace tavro::pulse
