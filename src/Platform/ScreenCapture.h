#pragma once

#include "Core/Errors.h"
#include "Platform/SlowArea.h"
#include "Platform/VideoFrame.h"

#include <QString>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <functional>
#include <memory>
#include <vector>

namespace tavro {

/// The version of the platform below the capture code, which selects its path.
struct SystemVersion {
    int major = 14;
    int minor = 2;
    auto operator<=>(const SystemVersion&) const = default;
};

/// The user closed the dialog in which the desktop asks what to share: nothing has failed.
class CaptureCancelled final : public PlatformError {
public:
    CaptureCancelled()
        : PlatformError(QStringLiteral("Tavro.ScreenCapture"), 1,
              QStringLiteral("The desktop's dialog was closed without a choice.")) {}
};

struct ShareableDisplay {
    std::uint32_t displayID = 0;
    int width = 0; ///< pixels
    int height = 0;
    QString label{}; ///< the desktop's words for it; empty where number and size say enough
    QString hint{};  ///< what the user has to know to record this one; empty where nothing
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

/// A whole display, or one window without the windows that cover it.
struct ContentFilter {
    enum class Kind { display, window };
    Kind kind = Kind::display;
    std::uint32_t id = 0;
};

struct StreamConfiguration {
    int width = 0; ///< of the frames; the source is scaled to fit, proportions kept, bars black
    int height = 0;
    std::chrono::microseconds minimumFrameInterval{0};
    int queueDepth = 0; ///< frames in transit to the receiver at most; later changes are merged as damage
    std::shared_ptr<const SlowArea> slowArea{}; ///< may be null; of displays on an X server only
};

/// Writes a stream's frames into an MPEG-4 file, from the stream's start to its stop.
class RecordingOutput {
public:
    virtual ~RecordingOutput() = default;
};

struct StreamStatistics {
    std::uint64_t framesDelivered = 0;
    std::uint64_t framesDropped = 0; ///< pictures replaced by a later one though their turn had come
    std::uint64_t framesRefused = 0; ///< delivered, but the writer of the file was busy
};

/// A capture of one target. Main thread.
class ScreenStream {
public:
    /// Called on the main thread for each change, and at least once a second. Never called after
    /// `stopCapture()` has completed or the stream is destroyed.
    using FrameHandler = std::function<void(const VideoFramePtr&)>;
    /// Called on the main thread, at most once, when a running capture has ended by itself: no frame follows,
    /// and `stopCapture()` completes what there is.
    using FailureHandler = std::function<void(std::exception_ptr reason)>;

    /// Ends a running capture without waiting for the target.
    virtual ~ScreenStream() = default;

    /// Before `startCapture()`. Throws PlatformError.
    virtual void addStreamOutput(FrameHandler handler) = 0;
    virtual void addRecordingOutput(std::shared_ptr<RecordingOutput> output) = 0;
    virtual void setFailureHandler(FailureHandler handler) = 0; ///< before `startCapture()`

    /// Completes after the first frame. Throws PlatformError; CaptureCancelled when the user did not share.
    virtual QCoro::Task<> startCapture() = 0;
    /// Delivers a last frame, to record the full length. Completes when the recording output is finished; no
    /// frame follows.
    virtual QCoro::Task<> stopCapture() = 0;

    /// The latest picture of a running capture, without damage, unchanged as long as it is held. Null before
    /// the first, after a failure, and while the next is drawn, which follows to the handler.
    virtual VideoFramePtr latestFrame() const = 0;
    virtual StreamStatistics statistics() const = 0;
};

/// Access to the screen. A capture continues with the last picture when its target disappears.
class ScreenCaptureService {
public:
    virtual ~ScreenCaptureService() = default;

    /// Throws PlatformError when the screen cannot be read.
    virtual QCoro::Task<ShareableContent> shareableContent() = 0;
    virtual std::unique_ptr<ScreenStream> makeStream(
        const ContentFilter& filter, const StreamConfiguration& configuration) = 0;
    virtual std::shared_ptr<RecordingOutput> makeRecordingOutput(const std::filesystem::path& file) = 0;

    /// Sets the one handler, called on the main thread when the desktop has stopped sharing during a capture,
    /// which goes on with its last picture. Only a desktop that shares by the user's leave does so.
    virtual void onInterruption(std::function<void()> /*handler*/) {}
};

} // namespace tavro
