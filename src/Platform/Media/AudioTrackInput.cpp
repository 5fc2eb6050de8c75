#include "Platform/Media/AudioTrackInput.h"

#include <utility>

namespace tavro {

namespace {
// Two megabytes at 16 kHz. Shorter stalls of the disk lose no sample.
constexpr std::chrono::seconds longestBacklog{60};
// Two frames of the encoder at a time: fewer wake-ups of its thread.
constexpr std::size_t batchLength = 2048; // samples
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
    if (position != batch.position + static_cast<std::int64_t>(batch.samples.size())) {
        submitBatch();
        batch.position = position;
    }
    batch.samples.insert(batch.samples.end(), samples.begin(), samples.end());
    if (batch.samples.size() >= batchLength)
        submitBatch();
    return true;
}

void AudioTrackInput::markAsFinished() {
    submitBatch();
    finished = true;
}

void AudioTrackInput::submitBatch() {
    if (batch.samples.empty())
        return;
    const auto size = static_cast<std::int64_t>(batch.samples.size());
    const auto end = batch.position + size;
    pipeline->submit(std::exchange(batch, TrackSamples{{}, end}), size);
}

} // namespace tavro
