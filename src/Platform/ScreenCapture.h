#pragma once

#include "Platform/VideoFrame.h"

#include <QString>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace tavro {

/// The version of the system that the capture code is told it runs on; it decides which of its paths it
/// takes.
struct SystemVersion {
    int major = 14;
    int minor = 2;
    auto operator<=>(const SystemVersion&) const = default;
};

struct ShareableDisplay {
    std::uint32_t displayID = 0;
    int width = 0; ///< pixels
    int height = 0;
};

struct ShareableWindow {
    std::uint32_t windowID = 0;
    QString title;
};

/// What can be recorded now: all displays, in the platform's order, and the windows on the screen.
struct ShareableContent {
    std::vector<ShareableDisplay> displays;
    std::vector<ShareableWindow> windows;
};

/// What a stream shows: a whole display, or one window by itself, also where others cover it.
struct ContentFilter {
    enum class Kind { display, window };
    Kind kind = Kind::display;
    std::uint32_t id = 0;
};

struct StreamConfiguration {
    int width = 0; ///< of the pictures delivered; the source is scaled to fit, proportions kept, bars black
    int height = 0;
    std::chrono::microseconds minimumFrameInterval{0};
    int queueDepth = 0; ///< frames that may be under way to the receiver; further ones wait as damage
};

/// Writes a stream's pictures into an MPEG-4 file by itself, from the stream's start to its stop.
class RecordingOutput {
public:
    virtual ~RecordingOutput() = default;
};

struct StreamStatistics {
    std::uint64_t framesDelivered = 0;
    std::uint64_t framesDropped = 0; ///< pictures replaced by a later one before anybody took them
};

/// A running or not yet running capture of one target. All operations are called on the main thread.
class ScreenStream {
public:
    /// Called on the main thread with each frame; frames come when the picture changes, and at least once a
    /// second while it does not. None comes after `stopCapture()` has completed or the stream is gone.
    using FrameHandler = std::function<void(const VideoFramePtr&)>;

    /// Ends the capture, if it runs, without waiting for the target.
    virtual ~ScreenStream() = default;

    /// Before `startCapture()`. Throws PlatformError.
    virtual void addStreamOutput(FrameHandler handler) = 0;
    virtual void addRecordingOutput(std::shared_ptr<RecordingOutput> output) = 0;

    /// Completes when the first picture has been taken. Throws PlatformError.
    virtual QCoro::Task<> startCapture() = 0;
    /// Takes the last picture once more, so that the recording is as long as the capture was, delivers it,
    /// and completes when nothing more will come and the recording output's file is finished.
    virtual QCoro::Task<> stopCapture() = 0;

    virtual StreamStatistics statistics() const = 0;
};

/// Access to the screen. A target that goes away during a capture does not end it: the picture stays as it
/// was.
class ScreenCaptureService {
public:
    virtual ~ScreenCaptureService() = default;

    /// Throws PlatformError when the screen cannot be read at all.
    virtual QCoro::Task<ShareableContent> shareableContent() = 0;
    virtual std::unique_ptr<ScreenStream> makeStream(
        const ContentFilter& filter, const StreamConfiguration& configuration) = 0;
    virtual std::shared_ptr<RecordingOutput> makeRecordingOutput(const std::filesystem::path& file) = 0;
};

} // namespace tavro
