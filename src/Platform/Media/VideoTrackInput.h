#pragma once

#include "Platform/Media/WriterPipeline.h"
#include "Platform/Media/X264Encoder.h"

#include <atomic>

namespace tavro {

/// Hands frames to the encoder, a few at most ahead of it.
class VideoTrackInput final : public VideoWriterInput {
public:
    VideoTrackInput(const VideoSettings& settings, std::shared_ptr<WriterPipeline> pipeline,
        std::shared_ptr<X264Encoder> encoder);

    bool isReadyForMoreMediaData() const override;
    void markAsFinished() override;
    bool append(const VideoFramePtr& frame) override;

private:
    bool submit(const VideoFramePtr& frame);
    void collectDamage(const VideoFrame& frame);
    std::chrono::microseconds fileTime(const VideoFrame& frame) const;

    const VideoSettings settings;
    const std::shared_ptr<WriterPipeline> pipeline;
    const std::shared_ptr<X264Encoder> encoder;
    const std::shared_ptr<std::atomic<int>> waiting = std::make_shared<std::atomic<int>>(0);
    bool finished = false;
    Damage damage;         // since the last frame accepted
    VideoFramePtr refused; // the last frame, when there was no room for it
    std::optional<std::uint64_t> lastSequence;
    std::optional<std::chrono::microseconds> lastTime; // of the last frame accepted
};

} // namespace tavro
