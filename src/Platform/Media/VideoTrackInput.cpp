#include "Platform/Media/VideoTrackInput.h"

#include <utility>

namespace tavro {

namespace {
// Enough to ride out one slow picture; more would only hold the capture's buffers.
constexpr int mostFramesWaiting = 4;
} // namespace

VideoTrackInput::VideoTrackInput(const VideoSettings& settings_, std::shared_ptr<WriterPipeline> pipeline_,
    std::shared_ptr<X264Encoder> encoder_)
    : settings(settings_)
    , pipeline(std::move(pipeline_))
    , encoder(std::move(encoder_)) {
    damage.addAll();
}

bool VideoTrackInput::isReadyForMoreMediaData() const {
    return !finished && pipeline->sessionStart() && *waiting < mostFramesWaiting && pipeline->isWriting();
}

bool VideoTrackInput::append(const VideoFramePtr& frame) {
    if (!frame->isValid() || frame->width != settings.width || frame->height != settings.height)
        return false;
    collectDamage(*frame);
    if (!isReadyForMoreMediaData()) {
        refused = frame;
        return false;
    }
    return submit(frame);
}

void VideoTrackInput::markAsFinished() {
    // The picture at the end gives the file its length: it finds room even where the encoder is behind.
    if (refused && !finished && pipeline->sessionStart() && pipeline->isWriting())
        submit(VideoFramePtr(refused));
    refused.reset();
    finished = true;
}

bool VideoTrackInput::submit(const VideoFramePtr& frame) {
    refused.reset();
    const auto time = fileTime(*frame);
    if (time.count() < 0 || (lastTime && time <= *lastTime))
        return false;
    lastTime = time;
    ++*waiting;
    pipeline->submit([frame, time, changed = std::exchange(damage, {}), encoder = encoder, waiting = waiting](
                         const TrackEncoder::Output& output) {
        --*waiting;
        output(encoder->encode(*frame, time, changed));
    });
    return true;
}

void VideoTrackInput::collectDamage(const VideoFrame& frame) {
    if (lastSequence && frame.sequence == *lastSequence + 1)
        damage.add(frame.damage);
    else
        damage.addAll();
    lastSequence = frame.sequence;
}

std::chrono::microseconds VideoTrackInput::fileTime(const VideoFrame& frame) const {
    const MediaTime start = *pipeline->sessionStart();
    return frame.presentationTime -
           std::chrono::microseconds(av_rescale_q(start.value, {1, start.timescale}, {1, std::micro::den}));
}

} // namespace tavro
