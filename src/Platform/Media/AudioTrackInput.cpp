#include "Platform/Media/AudioTrackInput.h"

#include <utility>

namespace tavro {

namespace {
// Two megabytes at 16 kHz. Shorter stalls of the disk lose no sample.
constexpr std::chrono::seconds longestBacklog{60};
} // namespace

AudioTrackInput::AudioTrackInput(const AudioSettings& settings_, std::shared_ptr<WriterPipeline> pipeline_)
    : settings(settings_)
    , pipeline(std::move(pipeline_)) {}

bool AudioTrackInput::isReadyForMoreMediaData() const {
    return !finished && pipeline->takes(longestBacklog.count() * settings.sampleRate);
}

bool AudioTrackInput::append(std::span<const TakeFormat::Sample> samples, MediaTime time) {
    if (!isReadyForMoreMediaData())
        return false;
    const auto position = pipeline->position(time, settings.sampleRate);
    if (position < 0)
        return false;
    pipeline->submit(
        TrackSamples{{samples.begin(), samples.end()}, position}, static_cast<std::int64_t>(samples.size()));
    return true;
}

} // namespace tavro
