#pragma once

#include "Platform/Sound.h"

#include "PulseClient.h"

namespace tavro::pulse {

/// The default source as an audio engine's input.
class PulseAudioEngine final : public AudioEngine {
public:
    explicit PulseAudioEngine(PulseClient& sharedClient) : client(sharedClient) {}
    ~PulseAudioEngine() override;

    QCoro::Task<AudioFormat> inputFormat() override;
    void installTap(std::uint32_t bufferSize, const AudioFormat& format, Tap tap) override;
    void removeTap() override;
    void prepare() override {}
    AudioClock::time_point start() override;
    void stop() override;

private:
    class TapBuffer;

    PulseClient& client;
    // The last answer. Shared with the query under way, which may outlive this object.
    std::shared_ptr<PulseClient::Answer> input = std::make_shared<PulseClient::Answer>();
    std::shared_ptr<TapBuffer> tapBuffer;
    std::shared_ptr<PulseRecording> recording;
};

} // namespace tavro::pulse
