#include "Platform/Media/LibavHandles.h"
#include "Platform/Media/Media.h"

#include <utility>

namespace tavro {

namespace {

AVSampleFormat sampleFormat(const AudioFormat& format) {
    return format.sample == AudioFormat::Sample::float32 ? AV_SAMPLE_FMT_FLTP : AV_SAMPLE_FMT_S16;
}

bool isUsable(const AudioFormat& format) {
    return format.sampleRate >= 1 && format.channelCount >= 1 && format.channelCount <= 64;
}

struct Layout {
    AVChannelLayout value{};
    explicit Layout(std::uint32_t channels) { av_channel_layout_default(&value, static_cast<int>(channels)); }
    ~Layout() { av_channel_layout_uninit(&value); }
    Layout(const Layout&) = delete;
    Layout& operator=(const Layout&) = delete;
};

std::vector<std::uint8_t*> planes(PCMBuffer& buffer, std::uint32_t first) {
    std::vector<std::uint8_t*> result;
    if (buffer.format.sample == AudioFormat::Sample::int16)
        result.push_back(
            reinterpret_cast<std::uint8_t*>(buffer.int16Samples.data() + first * buffer.format.channelCount));
    else
        for (auto& channel : buffer.floatChannels)
            result.push_back(reinterpret_cast<std::uint8_t*>(channel.data() + first));
    return result;
}

std::vector<const std::uint8_t*> planes(const PCMBuffer& buffer) {
    std::vector<const std::uint8_t*> result;
    if (buffer.format.sample == AudioFormat::Sample::int16)
        result.push_back(reinterpret_cast<const std::uint8_t*>(buffer.int16Samples.data()));
    else
        for (const auto& channel : buffer.floatChannels)
            result.push_back(reinterpret_cast<const std::uint8_t*>(channel.data()));
    return result;
}

bool isComplete(const PCMBuffer& buffer) {
    if (buffer.format.sample == AudioFormat::Sample::int16)
        return buffer.int16Samples.size() >= std::size_t{buffer.frameLength} * buffer.format.channelCount;
    if (buffer.floatChannels.size() != buffer.format.channelCount)
        return false;
    for (const auto& channel : buffer.floatChannels)
        if (channel.size() < buffer.frameLength)
            return false;
    return true;
}

void resize(PCMBuffer& buffer, std::uint32_t frames) {
    buffer.frameLength = frames;
    if (buffer.format.sample == AudioFormat::Sample::int16) {
        buffer.int16Samples.resize(std::size_t{frames} * buffer.format.channelCount);
    } else {
        buffer.floatChannels.resize(buffer.format.channelCount);
        for (auto& channel : buffer.floatChannels)
            channel.resize(frames);
    }
}

class SwrConverter final : public AudioConverter {
public:
    SwrConverter(libav::Resampler handle, const AudioFormat& from, const AudioFormat& to)
        : resampler(std::move(handle))
        , source(from)
        , target(to) {}

    bool convert(PCMBuffer& output, std::uint32_t capacity, const std::function<Input()>& input) override {
        output.format = target;
        resize(output, 0);
        // First take the frames that did not fit last time.
        if (!run(output, capacity, nullptr))
            return false;
        for (;;) {
            const Input next = input();
            if (next.status == InputStatus::noDataNow)
                return true;
            if (!next.buffer || next.buffer->format != source || !isComplete(*next.buffer))
                return false;
            if (!run(output, capacity, next.buffer.get()))
                return false;
        }
    }

private:
    // Null input only fetches frames left in the resampler. The stream never ends, so filter history is kept.
    bool run(PCMBuffer& output, std::uint32_t capacity, const PCMBuffer* input) {
        const std::uint32_t first = output.frameLength;
        const int room = static_cast<int>(capacity - first);
        // An empty input, unlike a null one, does not flush.
        static const std::uint8_t nothing = 0;
        std::vector<const std::uint8_t*> in(source.channelCount, &nothing);
        int frames = 0;
        if (input) {
            in = planes(*input);
            frames = static_cast<int>(input->frameLength);
        }
        resize(output, capacity);
        auto out = planes(output, first);
        const int converted = swr_convert(resampler.get(), out.data(), room, in.data(), frames);
        resize(output, first + static_cast<std::uint32_t>(converted < 0 ? 0 : converted));
        return converted >= 0;
    }

    const libav::Resampler resampler;
    const AudioFormat source;
    const AudioFormat target;
};

class SwrConverterFactory final : public AudioConverterFactory {
public:
    std::unique_ptr<AudioConverter> makeConverter(const AudioFormat& from, const AudioFormat& to) override {
        if (!isUsable(from) || !isUsable(to))
            return nullptr;
        Layout in(from.channelCount);
        Layout out(to.channelCount);
        SwrContext* context = nullptr;
        const int allocated =
            swr_alloc_set_opts2(&context, &out.value, sampleFormat(to), static_cast<int>(to.sampleRate),
                &in.value, sampleFormat(from), static_cast<int>(from.sampleRate), 0, nullptr);
        libav::Resampler resampler(context);
        if (allocated < 0 || swr_init(resampler.get()) < 0)
            return nullptr;
        return std::make_unique<SwrConverter>(std::move(resampler), from, to);
    }
};

} // namespace

std::unique_ptr<AudioConverterFactory> makeAudioConverterFactory() {
    return std::make_unique<SwrConverterFactory>();
}

} // namespace tavro
