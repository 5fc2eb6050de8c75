#include "PulseAudioEngine.h"

#include "Core/Errors.h"

#include <algorithm>
#include <utility>

namespace tavro::pulse {

// Collects buffers of the tap's size. On the client's thread, except constructor and format.
class PulseAudioEngine::TapBuffer {
public:
    TapBuffer(std::uint32_t size, const AudioFormat& tapFormat, Tap receiver)
        : capacity(size)
        , format(tapFormat)
        , tap(std::move(receiver)) {}

    const AudioFormat& bufferFormat() const { return format; }

    void add(std::span<const float> interleaved) {
        const std::size_t channels = format.channelCount;
        for (std::size_t frame = 0; frame < interleaved.size() / channels; ++frame) {
            if (!buffer)
                begin();
            for (std::size_t c = 0; c < channels; ++c)
                buffer->floatChannels[c].push_back(interleaved[frame * channels + c]);
            if (++buffer->frameLength == capacity)
                handOver();
        }
    }

    void finish() {
        if (buffer)
            handOver();
        tap = nullptr;
    }

private:
    void begin() {
        buffer = std::make_shared<PCMBuffer>();
        buffer->format = format;
        buffer->floatChannels.resize(format.channelCount);
        for (auto& plane : buffer->floatChannels)
            plane.reserve(capacity);
    }

    void handOver() {
        if (const auto full = std::exchange(buffer, nullptr); tap)
            tap(full);
    }

    const std::uint32_t capacity;
    const AudioFormat format;
    Tap tap;
    std::shared_ptr<PCMBuffer> buffer;
};

PulseAudioEngine::~PulseAudioEngine() {
    removeTap();
    stop();
}

QCoro::Task<AudioFormat> PulseAudioEngine::inputFormat() {
    const auto known = input;
    const auto asked = client.find(DeviceRole::microphone);
    *known = co_await asked;
    if (known->error != 0)
        co_return AudioFormat{};
    const pa_sample_spec& spec = known->device.spec;
    co_return AudioFormat{AudioFormat::Sample::float32, static_cast<double>(spec.rate), spec.channels, false};
}

void PulseAudioEngine::installTap(std::uint32_t bufferSize, const AudioFormat& format, Tap tap) {
    tapBuffer = std::make_shared<TapBuffer>(bufferSize, format, std::move(tap));
}

// Stops first: the frames that the line still holds belong to the tap.
void PulseAudioEngine::removeTap() {
    stop();
    if (const auto removed = std::exchange(tapBuffer, nullptr))
        client.sync([&] { removed->finish(); });
}

AudioClock::time_point PulseAudioEngine::start() {
    if (recording)
        return recording->origin();
    if (const int error = input->error; error != 0 && error != PA_ERR_TIMEOUT)
        throw PlatformError(QStringLiteral("PulseAudio"), error, QString::fromUtf8(pa_strerror(error)));
    PulseRecording::Description description{DeviceRole::microphone, "Narration", {}, input->device.map};
    const AudioFormat format = tapBuffer->bufferFormat();
    description.spec = {PA_SAMPLE_FLOAT32NE, static_cast<std::uint32_t>(format.sampleRate),
        static_cast<std::uint8_t>(format.channelCount)};
    if (description.map.channels != description.spec.channels)
        pa_channel_map_init_extend(&description.map, description.spec.channels, PA_CHANNEL_MAP_DEFAULT);
    recording = client.start(
        description, [buffer = tapBuffer](std::span<const float> frames) { buffer->add(frames); });
    return recording->origin();
}

void PulseAudioEngine::stop() {
    if (recording)
        client.stop(std::exchange(recording, nullptr));
}

} // namespace tavro::pulse
