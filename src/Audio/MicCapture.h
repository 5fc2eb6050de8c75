#pragma once

#include "Audio/AudioSource.h"
#include "Audio/SilenceWatch.h"

namespace tavro {

/// The narration, from the default input device.
class MicCapture final : public AudioSource {
public:
    /// Both outlive the capture.
    MicCapture(AudioEngine& engine, AudioConverterFactory& converters);
    ~MicCapture() override;

    /// Throws "Tavro.Audio" 1 when there is no usable input, or the engine's error.
    QCoro::Task<AudioClock::time_point> start() override;
    void stop() override; ///< no frame comes after it has returned

    /// It could not be started, or the device has delivered only zeros for some seconds.
    bool isSilent() const { return missing || (isRunning() && silence->isSilent()); }

    /// The mean of the first `maxChannels` channels; null without samples. A mono buffer is returned as it
    /// is.
    static PCMBufferPtr downmixToMono(const PCMBufferPtr& buffer, int maxChannels);

private:
    AudioEngine& engine;
    AudioConverterFactory& converters;
    std::shared_ptr<SilenceWatch> silence; // of the running source
    bool missing = false;
};

} // namespace tavro
