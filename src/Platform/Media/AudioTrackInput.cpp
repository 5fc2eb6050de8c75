#include "Platform/Media/AudioTrackInput.h"

#include <utility>

namespace tavro {

namespace {
// Two megabytes at 16 kHz. A disk that hangs for shorter than this costs no sample.
constexpr std::chrono::seconds longestBacklog{60};
} // namespace

AudioTrackInput::AudioTrackInput(const AudioSettings& settings_, std::shared_ptr<WriterPipeline> pipeline_,
    std::shared_ptr<AACEncoder> encoder_)
    : settings(settings_)
    , pipeline(std::move(pipeline_))
    , encoder(std::move(encoder_)) {}

bool AudioTrackInput::isReadyForMoreMediaData() const {
    return !finished && pipeline->sessionStart() && *waiting < longestBacklog.count() * settings.sampleRate &&
           pipeline->isWriting();
}

bool AudioTrackInput::append(std::span<const std::int16_t> samples, MediaTime time) {
    if (!isReadyForMoreMediaData())
        return false;
    const auto position = samplePosition(time);
    if (position < 0)
        return false;
    *waiting += static_cast<std::int64_t>(samples.size());
    pipeline->submit([copy = std::vector<std::int16_t>(samples.begin(), samples.end()), position,
                         encoder = encoder, waiting = waiting](const TrackEncoder::Output& output) {
        *waiting -= static_cast<std::int64_t>(copy.size());
        encoder->encode(copy, position, output);
    });
    return true;
}

std::int64_t AudioTrackInput::samplePosition(MediaTime time) const {
    const MediaTime start = *pipeline->sessionStart();
    const AVRational samples{1, settings.sampleRate};
    return av_rescale_q(time.value, {1, time.timescale}, samples) -
           av_rescale_q(start.value, {1, start.timescale}, samples);
}

} // namespace tavro
