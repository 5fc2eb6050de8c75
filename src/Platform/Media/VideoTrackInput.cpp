#include "Platform/Media/VideoTrackInput.h"

#include <utility>

namespace tavro {

namespace {
// As many as an encoder that has to wait for its turn needs; all hold canvases of the capture.
constexpr int mostFramesWaiting = 8;
} // namespace

VideoTrackInput::VideoTrackInput(const VideoSettings& settings_, std::shared_ptr<WriterPipeline> pipeline_)
    : settings(settings_)
    , pipeline(std::move(pipeline_)) {
    damage.addAll();
}

bool VideoTrackInput::isReadyForMoreMediaData() const {
    return !finished && pipeline->takes(mostFramesWaiting);
}

bool VideoTrackInput::append(const VideoFramePtr& frame) {
    if (!frame->isValid() || frame->width != settings.width || frame->height != settings.height)
        return false;
    collectDamage(*frame);
    if (!isReadyForMoreMediaData()) {
        if (!finished && pipeline->isWriting()) {
            refused = frame;
            ++refusals;
        }
        return false;
    }
    return submit(frame);
}

void VideoTrackInput::markAsFinished() {
    // The last picture determines the file's length, so it may exceed the limit.
    if (refused && !finished && pipeline->takes(mostFramesWaiting + 1) && submit(VideoFramePtr(refused)))
        --refusals;
    refused.reset();
    finished = true;
}

bool VideoTrackInput::submit(const VideoFramePtr& frame) {
    refused.reset();
    const auto time = pipeline->position({frame->presentationTime.count(), std::micro::den}, std::micro::den);
    if (time < 0 || (lastTime && time <= *lastTime))
        return false;
    lastTime = time;
    pipeline->submit(
        TrackPicture{frame, time, std::exchange(damage, {}), std::chrono::steady_clock::now()}, 1);
    return true;
}

void VideoTrackInput::collectDamage(const VideoFrame& frame) {
    if (lastSequence && frame.sequence == *lastSequence + 1)
        damage.add(frame.damage);
    else
        damage.addAll();
    lastSequence = frame.sequence;
}

} // namespace tavro
