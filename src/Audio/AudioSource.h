#pragma once

#include "Audio/AudioFrame.h"
#include "Audio/PCMConverter.h"
#include "Platform/Sound.h"

#include <qcoro/qcorotask.h>

#include <memory>
#include <utility>

namespace tavro {

/// A source of a take's sound, as audio frames. Reused for every take. Main thread.
class AudioSource {
public:
    virtual ~AudioSource() = default;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;

    /// Called on a thread of the source's own, from the next `start()` on.
    void setOnFrame(AudioFrameHandler handler) { onFrame = std::move(handler); }

    /// Completes when the source runs, however late, with the origin of its line: when the first sample that
    /// it hands out was at the device. Throws what keeps it from running, and also when it is stopped, or
    /// destroyed, before it runs; then nothing is left behind.
    virtual QCoro::Task<AudioClock::time_point> start() = 0;
    virtual void stop() = 0; ///< does not wait for a start under way
    bool isRunning() const { return running != nullptr; }

protected:
    AudioSource() = default;

    // What a source's callbacks need. One for each take: a converter that had served another would begin this
    // one with the last samples of that.
    struct Feed {
        PCMConverter converter;
        const AudioFrameHandler onFrame;

        void take(const PCMBufferPtr& buffer); // null where there is nothing to be had
    };

    std::shared_ptr<Feed> makeFeed(AudioConverterFactory& converters) const;
    /// Throws when `wanted` has expired: the source was stopped, or is gone.
    static void throwIfStopped(const std::weak_ptr<int>& wanted);

    std::shared_ptr<int> starting; // of the last start, until the stop
    std::shared_ptr<Feed> running; // between a successful start and the stop
    AudioClock::time_point origin; // of what runs

private:
    AudioFrameHandler onFrame;
};

} // namespace tavro
