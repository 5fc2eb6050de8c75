#pragma once

#include "Platform/Media/WriterPipeline.h"

namespace tavro {

class VideoTrackInput final : public VideoWriterInput {
public:
    VideoTrackInput(const VideoSettings& settings, std::shared_ptr<WriterPipeline> pipeline);

    bool isReadyForMoreMediaData() const override;
    void markAsFinished() override;
    bool append(const VideoFramePtr& frame) override;

private:
    bool submit(const VideoFramePtr& frame);
    void collectDamage(const VideoFrame& frame);

    const VideoSettings settings;
    const std::shared_ptr<WriterPipeline> pipeline;
    bool finished = false;
    Damage damage;         // since the last frame accepted
    VideoFramePtr refused; // the last frame, if the queue was full
    std::optional<std::uint64_t> lastSequence;
    std::optional<std::int64_t> lastTime; // of the last frame accepted
};

} // namespace tavro
