#pragma once

#include "Audio/AudioFrame.h"
#include "Platform/Sound.h"

#include <memory>

namespace tavro {

/// The narration: the default input device, as audio frames. Reused for every take. Main thread.
class MicCapture {
public:
    /// Both outlive the capture.
    MicCapture(AudioEngine& engine, AudioConverterFactory& converters);
    ~MicCapture();

    /// Called on the audio engine's thread, from the next `start()` on.
    void setOnFrame(AudioFrameHandler handler) { onFrame = std::move(handler); }

    /// Throws "Tavro.Audio" 1 when there is no usable input, or the engine's error; then nothing is left
    /// behind.
    void start();
    void stop(); ///< no frame comes after it has returned
    bool isRunning() const { return running != nullptr; }

    /// The mean of the first `maxChannels` channels; a buffer of one channel as it is. Null when there is
    /// nothing to be had from the buffer.
    static PCMBufferPtr downmixToMono(const PCMBufferPtr& buffer, int maxChannels);

private:
    struct Feed; // what the tap needs

    AudioEngine& engine;
    AudioConverterFactory& converters;
    AudioFrameHandler onFrame;
    std::shared_ptr<Feed> running; // between start and stop
};

} // namespace tavro
