#pragma once

#include "Audio/AudioFrame.h"

#include <array>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>

namespace tavro {

/// Hands the two sources' samples to the mixer in pairs: what microphone and computer sound of the same
/// moments.
///
/// The mixer aligns by order of arrival alone, and a tick that finds one source empty lets the other's
/// backlog out by itself; what belongs to it then comes later, also by itself, and the file has become longer
/// by that much. The microphone arrives in blocks of 85 ms, and no thread can promise to bring the other's
/// samples before every single tick, so a take of minutes would gain seconds. In pairs both buffers of the
/// mixer are always equally long, each tick empties both, and the file is exactly as long as the time.
///
/// Each source's line is the wall clock's from where it began (see `AudioEngine`), so the n-th samples of
/// both belong together once the time between the take's beginning and a source's has been put in front of it
/// as silence.
///
/// Made for one take. Any thread.
class SourcePairing {
public:
    enum class Source { microphone, system };
    /// Both equally long, or one of them empty where there is only one source. Called on the thread that
    /// brought the samples, one call at a time.
    using Handler = std::function<void(AudioFrame microphone, AudioFrame system)>;

    explicit SourcePairing(Handler handler);

    /// Samples of a source, in order. Those that come before `begin` wait for it; those after `close` are
    /// dropped.
    void add(Source source, const AudioFrame& frame);

    // Once for each source; nothing is handed over before both are known.
    void begin(Source source, std::chrono::nanoseconds sinceTakeBegan);
    void leaveOut(Source source);

    /// Hands over what is left: the end of the longer source, with silence beside it. Waits for a call under
    /// way.
    void close();

private:
    struct Line {
        bool known = false;
        bool present = false;
        AudioFrame samples;
        std::size_t replaced = 0; // samples that did not come in time: silence went in their place
    };
    struct Pair {
        AudioFrame microphone;
        AudioFrame system;
        bool isEmpty() const { return microphone.empty() && system.empty(); }
    };

    Line& line(Source source) { return lines[source == Source::microphone ? 0 : 1]; }
    void handOver(std::unique_lock<std::mutex>& lock);
    Pair takePair();
    AudioFrame takeFront(Line& from, std::size_t count) const;
    std::size_t pairLength() const;

    const Handler handler;
    std::mutex mutex;
    std::condition_variable idle;
    std::array<Line, 2> lines;
    bool handing = false; // a thread is handing over; what others add meanwhile it takes along
    bool closed = false;
};

} // namespace tavro
