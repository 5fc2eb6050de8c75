#pragma once

#include "Platform/Media/WriterPipeline.h"

namespace tavro {

class AudioTrackInput final : public AudioWriterInput {
public:
    AudioTrackInput(const AudioSettings& settings, std::shared_ptr<WriterPipeline> pipeline);

    bool isReadyForMoreMediaData() const override;
    void markAsFinished() override;
    bool append(std::span<const TakeFormat::Sample> samples, MediaTime time) override;

private:
    void submitBatch();

    const AudioSettings settings;
    const std::shared_ptr<WriterPipeline> pipeline;
    bool finished = false;
    TrackSamples batch{{}, 0}; // accepted, not yet with the encoder
};

} // namespace tavro
