#pragma once

#include "Platform/Sound.h"

#include "PulseClient.h"

namespace tavro::pulse {

/// The default source as an audio engine's input.
class PulseAudioEngine final : public AudioEngine {
public:
    explicit PulseAudioEngine(PulseClient& sharedClient) : client(sharedClient) {}
    ~PulseAudioEngine() override;

    AudioFormat inputFormat() override;
    void installTap(std::uint32_t bufferSize, const AudioFormat& format, Tap tap) override;
    void removeTap() override;
    void prepare() override {}
    void start() override;
    void stop() override;

private:
    class TapBuffer;

    PulseClient& client;
    pa_channel_map map{}; // of the input last asked for
    std::shared_ptr<TapBuffer> tapBuffer;
    std::shared_ptr<PulseRecording> recording;
};

} // namespace tavro::pulse
