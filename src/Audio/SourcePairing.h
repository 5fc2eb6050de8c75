#pragma once

#include "Audio/AudioFrame.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace tavro {

/// Hands the samples of a take's sources to the mixer in step: together what was heard at the same moments.
///
/// The mixer aligns by order of arrival alone, and a tick that finds one source empty lets the other's
/// backlog out by itself; what belongs to it then comes later, also by itself, and the file has become longer
/// by that much. The microphone arrives in blocks of 85 ms, and no thread can promise to bring the other's
/// samples before every single tick, so a take of minutes would gain seconds. In step the mixer's buffers are
/// always equally long, each tick empties them, and the file is exactly as long as the time.
///
/// Each source's line is the wall clock's from its origin (see `AudioEngine`), so the n-th samples of all
/// belong together once the time between the take's beginning and a line's origin has been put in front of it
/// as silence.
///
/// A source that has not begun yet, or has stopped to deliver, is waited for for a second. Then the others go
/// on with silence in its place, and what it brings for that time is left out.
///
/// Made for one take. Any thread.
class SourcePairing {
public:
    using Source = std::size_t; ///< counted from 0
    /// A frame of each source, all equally long; an empty one for a source that is left out. Called on the
    /// thread that brought the samples, one call at a time.
    using Handler = std::function<void(std::vector<AudioFrame> frames)>;

    SourcePairing(std::size_t sources, Handler handler);

    /// Samples of a source, in order. Those that come before `begin` wait for it.
    void add(Source source, const AudioFrame& frame);

    // One of the two, once for each source.
    void begin(Source source, std::chrono::nanoseconds sinceTakeBegan); ///< where its line's origin is
    void leaveOut(Source source);

    /// Hands over what is left: the end of the longest source, with silence beside it. Waits for a call under
    /// way. All calls after it do nothing.
    void close();

private:
    struct Line {
        enum class State { awaited, present, leftOut };
        State state = State::awaited;
        AudioFrame samples;
        std::size_t replaced = 0; // samples that did not come in time: silence went in their place

        void append(const AudioFrame& frame);
        AudioFrame takeFront(std::size_t count);
    };

    void handOver(std::unique_lock<std::mutex>& lock);
    std::size_t readyLength() const;

    const Handler handler;
    std::mutex mutex;
    std::condition_variable idle;
    std::vector<Line> lines;
    std::size_t handed = 0; // samples of the take
    bool handing = false;   // a thread is handing over; what others add meanwhile it takes along
    bool closed = false;
};

} // namespace tavro
