#pragma once

#include "Audio/AudioFrame.h"
#include "Audio/PCMConverter.h"
#include "Platform/Sound.h"

#include <qcoro/qcorotask.h>

#include <memory>
#include <utility>

namespace tavro {

/// One source of a take's sound. Reused for every take. Main thread.
class AudioSource {
public:
    virtual ~AudioSource() = default;
    AudioSource(const AudioSource&) = delete;
    AudioSource& operator=(const AudioSource&) = delete;

    /// `handler` runs on a thread of the source, from the next `start()` on.
    void setOnFrame(AudioFrameHandler handler) { onFrame = std::move(handler); }

    /// Completes, however late, with the origin: when the first sample was at the device. Throws, with
    /// nothing left behind, when the source cannot run, or is stopped or destroyed before it runs.
    virtual QCoro::Task<AudioClock::time_point> start() = 0;
    virtual void stop() = 0; ///< does not wait for a start under way
    bool isRunning() const { return running != nullptr; }

protected:
    AudioSource() = default;

    // State of the callbacks, new for each take: a used converter holds its take's last samples.
    struct Feed {
        PCMConverter converter;
        const AudioFrameHandler onFrame;

        void take(const PCMBufferPtr& buffer); // null: no samples
    };

    std::shared_ptr<Feed> makeFeed(AudioConverterFactory& converters) const;
    static void throwIfStopped(const std::weak_ptr<int>& wanted); ///< throws when `wanted` has expired

    std::shared_ptr<int> starting; // from `start()` to `stop()`
    std::shared_ptr<Feed> running; // from a successful start to the stop
    AudioClock::time_point origin; // of the running source

private:
    AudioFrameHandler onFrame;
};

} // namespace tavro
