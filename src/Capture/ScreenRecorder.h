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

/// Records the picture of one target into an MPEG-4 file: through the stream's own recording output where the
/// system has one (15 and later), else frame by frame through an asset writer. Main thread. What it is given
/// outlives it.
class ScreenRecorder {
public:
    /// Tells the screen grant for the log: unknown, denied or granted.
    using ScreenGrant = std::function<QString()>;

    ScreenRecorder(
        ScreenCaptureService& screen, AssetWriterFactory& writers, SystemVersion system, ScreenGrant grant);
    ~ScreenRecorder();

    /// Completes when the first picture has been taken. Replaces a file at `outputURL`. `includeMic` is only
    /// logged. Throws "Tavro.ScreenRecorder" 1 when there is no such target, else the platform's error; what
    /// was half built stays until `discard()`.
    QCoro::Task<> start(CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL);

    /// Completes when the file is finished, and returns it. Throws "Tavro.ScreenRecorder" 2 without a take, 3
    /// when not one picture came to be written, so that there is no video; or the stream's error, and then
    /// all is as before.
    QCoro::Task<std::filesystem::path> stop();

    /// Stops and deletes the file. Never throws.
    QCoro::Task<> discard();

    /// While set, frames are not written where this object writes the file.
    bool isPaused = false;

    /// Called once a take, when this object can no longer write its file (a full disk), with the reason. What
    /// was written until then stays, and `stop()` returns it.
    std::function<void(std::exception_ptr reason)> onWritingFailed;

    /// When the picture with which the file begins was on the screen; nothing before there is one.
    std::optional<std::chrono::steady_clock::time_point> beginning() const { return began; }
    /// The latest picture of the take, for a still image; null when there is none.
    const VideoFramePtr& currentSampleBuffer() const { return currentFrame; }
    /// Of the running stream, or of the last one.
    StreamStatistics statistics() const { return stream ? stream->statistics() : lastStatistics; }

private:
    bool writesItself() const { return system < SystemVersion{15, 0}; }
    void setupWriter(int width, int height);
    void receive(const VideoFramePtr& frame);
    void beginWith(const VideoFrame& picture);
    void appendToWriter(const VideoFramePtr& frame);
    void holdThroughPause(std::chrono::microseconds atLeast);
    void tellWhenWritingFailed();
    QCoro::Task<bool> finishWriter();
    void dropWriter();

    ScreenCaptureService& screen;
    AssetWriterFactory& writers;
    const SystemVersion system;
    const ScreenGrant screenGrant;

    std::unique_ptr<ScreenStream> stream;
    std::optional<std::filesystem::path> outputFile;
    std::unique_ptr<AssetWriter> writer;
    std::shared_ptr<VideoWriterInput> videoInput;
    bool sessionStarted = false;
    bool toldOfFailure = false;
    std::shared_ptr<RecordingOutput> recordingOutput;
    std::optional<std::chrono::steady_clock::time_point> began; // the file, by its first picture
    VideoFramePtr currentFrame;
    VideoFramePtr writtenFrame;
    StreamStatistics lastStatistics;
};

} // namespace tavro
