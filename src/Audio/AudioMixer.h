#pragma once

#include "Audio/AudioFrame.h"
#include "Core/RepeatingTimer.h"
#include "Core/SerialQueue.h"

#include <memory>

namespace tavro {

/// Joins microphone and computer sound into one track: every 20 ms whatever the two buffers have in common is
/// mixed and passed on; where only one has samples, they go out as they are. The sources are aligned by order
/// of arrival alone. Reused for every take.
///
/// `stop()` keeps what one source had more than the other, and it would lead the next take; `SourcePairing`,
/// which feeds the mixer in a take, never leaves such a remainder.
class AudioMixer {
public:
    AudioMixer();

    /// Called on the mixer's queue, with each mixed frame.
    void setOnFrame(AudioFrameHandler handler);

    void start();
    /// Mixes what was fed before once more, and waits for it. Not from the mixer's queue.
    void stop();

    // Any thread; return at once.
    void feedMic(AudioFrame frame) { feed(std::move(frame), {}); }
    void feedSystem(AudioFrame frame) { feed({}, std::move(frame)); }
    /// Both in one step: no mix comes between them.
    void feed(AudioFrame mic, AudioFrame system);

    struct Mix {
        AudioFrame mixed;
        AudioFrame micRemainder;
        AudioFrame sysRemainder;
    };
    /// The saturating sum of what both have; what is alone passes unchanged.
    static Mix mix(AudioFrame mic, AudioFrame sys);

private:
    // Its own object, so that the timer can hold it weakly and end with it.
    struct Buffers {
        AudioFrameHandler onFrame;
        AudioFrame mic;
        AudioFrame sys;
        void flush();
    };

    const std::shared_ptr<Buffers> buffers = std::make_shared<Buffers>(); // used on the queue only
    SerialQueue queue;
    std::unique_ptr<RepeatingTimer> timer;
};

} // namespace tavro
