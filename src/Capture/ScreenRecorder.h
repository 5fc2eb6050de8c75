#pragma once

#include "Backend/Models.h"
#include "Platform/AssetWriter.h"
#include "Platform/ScreenCapture.h"

#include <QString>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

namespace tavro {

/// Records the picture of one target into an MPEG-4 file: by the stream's recording output from system 15 on,
/// before that by an asset writer. Main thread. The arguments outlive this object.
class ScreenRecorder {
public:
    /// The screen grant for the log: unknown, denied or granted.
    using ScreenGrant = std::function<QString()>;

    ScreenRecorder(
        ScreenCaptureService& screen, AssetWriterFactory& writers, SystemVersion system, ScreenGrant grant);
    ~ScreenRecorder();

    /// Completes with the first picture. Replaces a file at `outputURL`; only logs `includeMic`. Throws
    /// "Tavro.ScreenRecorder" 1 without such a target, else the platform's error; call `discard()` then.
    QCoro::Task<> start(CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL);

    /// Finishes the file and returns it. Throws "Tavro.ScreenRecorder" 2 without a take, 3 when no picture
    /// was written; or the stream's error, and changes nothing then.
    QCoro::Task<std::filesystem::path> stop();

    /// Stops and deletes the file. Never throws.
    QCoro::Task<> discard();

    /// While paused, this object writes no frames, and the film holds the picture from before. A recording
    /// output ignores it.
    void setPaused(bool paused);
    bool isPaused() const { return paused; }

    /// The part of the screen, in its pixels, whose changes alone are recorded less often. Empty at first.
    void setSlowArea(const Rect& area) { slowArea->set(area); }

    /// Called once a take when no more can be written: a full disk, or a stream that has failed. `stop()`
    /// returns the written part.
    std::function<void(std::exception_ptr reason)> onWritingFailed;
    /// Called once a take when the desktop stops sharing the screen. The take goes on with its last picture.
    std::function<void()> onInterrupted;

    /// When the first picture of the file was on the screen; empty until then.
    std::optional<std::chrono::steady_clock::time_point> beginning() const { return began; }
    /// The latest picture of the take; null when there is none, and while the next is drawn.
    VideoFramePtr currentSampleBuffer() const { return stream ? stream->latestFrame() : nullptr; }
    /// Of the running stream; or of the last one, with what its writer refused.
    StreamStatistics statistics() const { return stream ? stream->statistics() : lastStatistics; }

private:
    bool writesItself() const { return system < SystemVersion{15, 0}; }
    void setupWriter(int width, int height);
    void receive(const VideoFramePtr& frame);
    void beginWith(const VideoFrame& picture);
    void appendToWriter(const VideoFramePtr& frame);
    void holdThroughPause(std::chrono::microseconds atLeast);
    void tellWhenWritingFailed();
    void tellOfFailure(const std::exception_ptr& reason);
    void tellOfInterruption();
    QCoro::Task<bool> finishWriter();
    void dropWriter();
    void tellOfDroppedFrames() const;

    ScreenCaptureService& screen;
    AssetWriterFactory& writers;
    const SystemVersion system;
    const ScreenGrant screenGrant;
    const std::shared_ptr<SlowArea> slowArea = std::make_shared<SlowArea>();

    std::unique_ptr<ScreenStream> stream;
    std::optional<std::filesystem::path> outputFile;
    std::unique_ptr<AssetWriter> writer;
    std::shared_ptr<VideoWriterInput> videoInput;
    bool sessionStarted = false;
    bool toldOfFailure = false;
    bool toldOfInterruption = false;
    std::shared_ptr<RecordingOutput> recordingOutput;
    std::optional<std::chrono::steady_clock::time_point> began; // time of the file's first picture
    bool paused = false;
    VideoFramePtr heldFrame;                  // shown through a pause
    std::chrono::microseconds latestTime{0};  // of the frames received
    std::chrono::microseconds writtenTime{0}; // of the frames written
    StreamStatistics lastStatistics;
};

} // namespace tavro
