#pragma once

#include "Audio/AudioFrame.h"
#include "Core/SerialQueue.h"

#include <QTimer>

#include <memory>

namespace tavro {

/// Joins microphone and computer sound into one track: mixes what both buffers have, every 20 ms while they
/// have something. When one is empty, the other's samples pass unchanged. Aligns by order of arrival alone.
/// Reused for every take. `stop()` keeps the remainder of the longer source for the next take.
/// `SourcePairing` leaves none.
class AudioMixer {
public:
    AudioMixer();
    ~AudioMixer();

    void setOnFrame(AudioFrameHandler handler); ///< runs on the mixer's queue

    void start();
    /// Mixes once more what was fed before, and waits for it. Not from the mixer's queue.
    void stop();

    // Any thread; return at once.
    void feedMic(AudioFrame frame) { feed(std::move(frame), {}); }
    void feedSystem(AudioFrame frame) { feed({}, std::move(frame)); }
    /// Feeds both in one step; no mix comes in between.
    void feed(AudioFrame mic, AudioFrame system);

    struct Mix {
        AudioFrame mixed;
        AudioFrame micRemainder;
        AudioFrame sysRemainder;
    };
    /// The saturating sum of the common length. A single source passes unchanged.
    static Mix mix(AudioFrame mic, AudioFrame sys);

private:
    void mixSoon();
    void flush();

    // Used on the queue only:
    AudioFrameHandler onFrame;
    AudioFrame mic;
    AudioFrame sys;
    std::unique_ptr<QTimer> timer;

    SerialQueue queue; // last: it uses all of the above
};

} // namespace tavro
