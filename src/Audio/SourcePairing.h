#pragma once

#include "Audio/AudioFrame.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <vector>

namespace tavro {

/// Passes the samples of a take's sources on in step: equally long frames, heard at the same time.
///
/// The mixer aligns by order of arrival alone. When a tick finds one source empty, the other's backlog goes
/// out alone, the missing samples later, also alone, and the file grows. The microphone's blocks last 85 ms,
/// so a take of minutes would gain seconds. Equal lengths keep the file exactly as long as the take.
///
/// A source has no gaps from its origin on (see `AudioEngine`). Silence fills the time before its origin. The
/// pairing waits one second for a source that has not begun or delivers nothing; then silence replaces it,
/// and its samples for that time are dropped.
///
/// One object for each take. Any thread.
class SourcePairing {
public:
    using Source = std::size_t; ///< counted from 0
    /// One frame for each source, equally long; empty for a left-out source. Runs on a calling thread, one
    /// call at a time.
    using Handler = std::function<void(std::vector<AudioFrame> frames)>;

    SourcePairing(std::size_t sources, Handler handler);

    /// Adds the next samples of a source. Samples before `begin` are kept until then.
    void add(Source source, const AudioFrame& frame);

    // Call one of the two, once for each source.
    void begin(Source source, std::chrono::nanoseconds sinceTakeBegan); ///< up to its origin
    void leaveOut(Source source);

    /// Passes on the rest, with silence to the end of the longest source. Waits for a handler call under way.
    void close(); ///< the last call; later ones do nothing

private:
    struct Line {
        enum class State { awaited, present, leftOut };
        State state = State::awaited;
        AudioFrame samples;
        std::size_t replaced = 0; // samples to drop: silence went out for them

        void append(const AudioFrame& frame);
        AudioFrame takeFront(std::size_t count);
    };

    void handOver(std::unique_lock<std::mutex>& lock);
    std::size_t readyLength() const;

    const Handler handler;
    std::mutex mutex;
    std::condition_variable idle;
    std::vector<Line> lines;
    std::size_t handed = 0; // samples of each source, so far
    bool handing = false;   // a thread calls the handler; it also takes what others add meanwhile
    bool closed = false;
};

} // namespace tavro
