#include "Audio/MicCapture.h"

#include "Core/Errors.h"
#include "Core/Log.h"

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

constexpr std::uint32_t tapFrames = 4096;
constexpr int usedChannels = 2;

} // namespace

MicCapture::MicCapture(AudioEngine& input, AudioConverterFactory& factory)
    : engine(input)
    , converters(factory) {}

MicCapture::~MicCapture() {
    stop();
}

QCoro::Task<AudioClock::time_point> MicCapture::start() {
    if (running)
        co_return AudioClock::time_point(origin);
    starting = std::make_shared<int>();
    const std::weak_ptr wanted = starting;
    auto asking = engine.inputFormat();
    const AudioFormat format = co_await asking;
    throwIfStopped(wanted);
    missing = !(format.sampleRate > 0) || format.channelCount == 0;
    if (missing)
        throw PlatformError(QStringLiteral("Tavro.Audio"), 1, QStringLiteral("No usable microphone input"));

    auto feed = makeFeed(converters);
    silence = std::make_shared<SilenceWatch>();
    engine.installTap(
        tapFrames, format, [weak = std::weak_ptr(feed), watch = silence](const PCMBufferPtr& buffer) {
            watch->add(*buffer);
            if (const auto present = weak.lock())
                present->take(downmixToMono(buffer, usedChannels));
        });
    try {
        engine.prepare();
        origin = engine.start();
    } catch (...) {
        missing = true;
        engine.removeTap(); // an engine has one tap at most
        throw;
    }
    running = std::move(feed);
    Log::info(QStringLiteral("Mic capture started: system default (%1 ch) @ %2 Hz, averaging first %3 ch")
                  .arg(format.channelCount)
                  .arg(static_cast<qint64>(format.sampleRate))
                  .arg(std::min<std::uint32_t>(format.channelCount, usedChannels)));
    co_return AudioClock::time_point(origin);
}

void MicCapture::stop() {
    missing = false;
    starting.reset();
    if (!running)
        return;
    engine.removeTap();
    engine.stop();
    running.reset();
    Log::info(QStringLiteral("Mic capture stopped"));
}

PCMBufferPtr MicCapture::downmixToMono(const PCMBufferPtr& buffer, int maxChannels) {
    const std::uint32_t frames = buffer->frameLength;
    const std::uint32_t channels = buffer->format.channelCount;
    if (frames == 0)
        return nullptr;
    if (channels == 1)
        return buffer;
    if (buffer->floatChannels.empty())
        return nullptr;

    auto mono = std::make_shared<PCMBuffer>();
    mono->format = {AudioFormat::Sample::float32, buffer->format.sampleRate, 1, false};
    mono->frameLength = frames;
    const auto used =
        static_cast<std::size_t>(std::max(std::min(static_cast<int>(channels), maxChannels), 1));
    const float scale = 1.F / static_cast<float>(used);
    std::vector<float>& out = mono->floatChannels.emplace_back(frames, 0.F);
    for (std::size_t c = 0; c < used; ++c)
        for (std::size_t i = 0; i < frames; ++i)
            out[i] += buffer->floatChannels[c][i];
    for (float& sample : out)
        sample *= scale;
    return mono;
}

} // namespace tavro
