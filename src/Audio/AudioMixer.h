#pragma once

#include "Audio/AudioFrame.h"
#include "Core/SerialQueue.h"

#include <QTimer>

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
    ~AudioMixer();

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
    void flush();

    // Used on the queue only:
    AudioFrameHandler onFrame;
    AudioFrame mic;
    AudioFrame sys;
    std::unique_ptr<QTimer> timer;

    SerialQueue queue; // last: it uses all of the above
};

} // namespace tavro
