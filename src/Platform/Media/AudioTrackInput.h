#pragma once

#include "Platform/Media/AACEncoder.h"
#include "Platform/Media/WriterPipeline.h"

#include <atomic>

namespace tavro {

/// Hands samples to the encoder, which may fall far behind before any are refused.
class AudioTrackInput final : public AudioWriterInput {
public:
    AudioTrackInput(const AudioSettings& settings, std::shared_ptr<WriterPipeline> pipeline,
        std::shared_ptr<AACEncoder> encoder);

    bool isReadyForMoreMediaData() const override;
    void markAsFinished() override { finished = true; }
    bool append(std::span<const std::int16_t> samples, MediaTime time) override;

private:
    std::int64_t samplePosition(MediaTime time) const;

    const AudioSettings settings;
    const std::shared_ptr<WriterPipeline> pipeline;
    const std::shared_ptr<AACEncoder> encoder;
    const std::shared_ptr<std::atomic<std::int64_t>> waiting = std::make_shared<std::atomic<std::int64_t>>(0);
    bool finished = false;
};

} // namespace tavro
