#pragma once

#include "Platform/Media/WriterPipeline.h"

namespace tavro {

class VideoTrackInput final : public VideoWriterInput {
public:
    VideoTrackInput(const VideoSettings& settings, std::shared_ptr<WriterPipeline> pipeline);

    bool isReadyForMoreMediaData() const override;
    void markAsFinished() override;
    bool append(const VideoFramePtr& frame) override;
    std::uint64_t framesRefused() const override { return refusals; }

private:
    bool submit(const VideoFramePtr& frame);
    void collectDamage(const VideoFrame& frame);

    const VideoSettings settings;
    const std::shared_ptr<WriterPipeline> pipeline;
    bool finished = false;
    Damage damage;         // since the last frame accepted
    VideoFramePtr refused; // the last frame, if the queue was full
    std::uint64_t refusals = 0;
    std::optional<std::uint64_t> lastSequence;
    std::optional<std::int64_t> lastTime; // of the last frame accepted
};

} // namespace tavro
