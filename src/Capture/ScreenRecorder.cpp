#include "Capture/ScreenRecorder.h"

#include "Capture/CaptureTarget.h"
#include "Core/Errors.h"
#include "Core/Files.h"
#include "Core/Log.h"
#include "Core/Paths.h"
#include "Platform/SystemNames.h"
#include "Platform/TakeFormat.h"

#include <QVariant>

#include <system_error>
#include <utility>

namespace tavro {
namespace {

using namespace std::chrono_literals;

const StreamConfiguration streamConfiguration{.width = TakeFormat::width,
    .height = TakeFormat::height,
    .minimumFrameInterval = 1'000'000us / TakeFormat::framesPerSecond,
    .queueDepth = 6};

// The file format limits the time between two pictures to some 35 minutes, in microseconds.
constexpr auto longestHold = 10min;

PlatformError recorderError(int code, const QString& message = {}, Cause cause = {}) {
    return PlatformError(QStringLiteral("Tavro.ScreenRecorder"), code, message, cause);
}

QString startLine(const CaptureTargetMeta& target, bool includeMic, const QString& grant) {
    return QStringLiteral("recorder.start: target=") +
           (target.kind == CaptureKind::window ? QStringLiteral("window/") : QStringLiteral("display/")) +
           target.identifier + QStringLiteral(" includeMic=") + QVariant(includeMic).toString() +
           QStringLiteral(" screenGrant=") + grant;
}

// A picture shown again, later than its stream delivered it.
class HeldFrame final : public VideoFrame {
public:
    HeldFrame(VideoFramePtr frame, std::chrono::microseconds time)
        : VideoFrame(*frame)
        , held(std::move(frame)) {
        presentationTime = time;
        damage.clear();
        ++sequence;
    }

private:
    const VideoFramePtr held; // owns the planes
};

bool holdsAnything(const std::filesystem::path& file) {
    std::error_code missing;
    const auto size = std::filesystem::file_size(file, missing);
    return !missing && size > 0;
}

} // namespace

ScreenRecorder::ScreenRecorder(
    ScreenCaptureService& service, AssetWriterFactory& factory, SystemVersion version, ScreenGrant grant)
    : screen(service)
    , writers(factory)
    , system(version)
    , screenGrant(std::move(grant)) {
    screen.onInterruption([this] { tellOfInterruption(); });
}

ScreenRecorder::~ScreenRecorder() {
    screen.onInterruption([] {});
}

QCoro::Task<> ScreenRecorder::start(
    CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL) {
    Log::info(startLine(target, includeMic, screenGrant()));
    auto lookup = CaptureCatalog::filter(screen, target);
    const std::optional<ContentFilter> filter = co_await lookup;
    if (!filter) {
        Log::error(
            QStringLiteral("recorder.start: capture target not found (filter nil) — aborting session start"));
        throw recorderError(1, QStringLiteral("Capture target not found"), {Cause::displayGone});
    }
    outputFile = outputURL;
    heldFrame.reset();
    began.reset();
    toldOfFailure = false;
    toldOfInterruption = false;
    Files::remove(outputURL);

    StreamConfiguration configuration = streamConfiguration;
    configuration.slowArea = slowArea;
    auto created = screen.makeStream(*filter, configuration);
    created->addStreamOutput([this](const VideoFramePtr& frame) { receive(frame); });
    created->setFailureHandler([this](const std::exception_ptr& reason) { tellOfFailure(reason); });
    if (writesItself()) {
        setupWriter(streamConfiguration.width, streamConfiguration.height);
        Log::info(QStringLiteral("recorder.start: using %1 fallback (%2 13–14)")
                      .arg(SystemNames::assetWriter, SystemNames::platform));
    } else {
        recordingOutput = screen.makeRecordingOutput(outputURL);
        created->addRecordingOutput(recordingOutput);
        Log::info(QStringLiteral("recorder.start: using %1 (%2 15+) → ")
                      .arg(SystemNames::recordingOutput, SystemNames::platform) +
                  Paths::toText(outputURL.filename()));
    }
    stream = std::move(created);

    try {
        auto started = stream->startCapture();
        co_await started;
    } catch (const CaptureCancelled&) {
        throw;
    } catch (...) {
        Log::error(
            QStringLiteral("recorder.start: stream.startCapture() failed: ") +
            localizedDescriptionOfCurrentError() +
            QStringLiteral(". If you just granted Screen Recording, QUIT and relaunch Tavro — the grant only "
                           "applies to a fresh launch."));
        throw;
    }
    if (writesItself() && !sessionStarted && heldFrame)
        appendToWriter(heldFrame); // it came while the last take's pause was still set
    setPaused(false);
    Log::info(QStringLiteral("recorder.start: capture started OK"));
}

void ScreenRecorder::setupWriter(int width, int height) {
    writer = writers.makeAssetWriter(*outputFile, FileType::mpeg4);
    videoInput = writer->addVideoInput({width, height});
}

void ScreenRecorder::receive(const VideoFramePtr& frame) {
    if (!frame || !frame->isValid())
        return;
    latestTime = frame->presentationTime;
    if (!writesItself()) {
        beginWith(*frame); // the recording output writes it, paused or not
    } else if (!paused) {
        heldFrame.reset();
        appendToWriter(frame);
    } else {
        if (!heldFrame || !sessionStarted)
            heldFrame = frame; // as when it was being drawn when the pause began
        holdThroughPause(longestHold);
    }
}

// The capture cannot draw over a frame that is held, so only a pause holds one. It is held until a frame
// comes from after the pause: another pause before that shows the same picture.
void ScreenRecorder::setPaused(bool pausedNow) {
    paused = pausedNow;
    if (paused && !heldFrame && writesItself())
        heldFrame = currentSampleBuffer();
}

void ScreenRecorder::beginWith(const VideoFrame& picture) {
    if (!began)
        began = std::chrono::steady_clock::time_point(picture.presentationTime);
}

void ScreenRecorder::appendToWriter(const VideoFramePtr& frame) {
    if (!writer || !videoInput)
        return;
    if (!sessionStarted) {
        writer->startWriting();
        writer->startSession({frame->presentationTime.count(), 1'000'000});
        sessionStarted = true;
        beginWith(*frame);
    }
    if (videoInput->append(frame))
        writtenTime = frame->presentationTime;
    else // a busy input drops this frame, a failed one drops all
        tellWhenWritingFailed();
}

void ScreenRecorder::tellWhenWritingFailed() {
    if (writer->status() == AssetWriter::Status::failed)
        tellOfFailure(writer->error());
}

void ScreenRecorder::tellOfFailure(const std::exception_ptr& reason) {
    if (!std::exchange(toldOfFailure, true) && onWritingFailed)
        onWritingFailed(reason);
}

void ScreenRecorder::tellOfInterruption() {
    if (!stream || std::exchange(toldOfInterruption, true))
        return;
    Log::error(QStringLiteral("recorder: the desktop stopped sharing; the last picture is recorded on"));
    if (onInterrupted)
        onInterrupted();
}

QCoro::Task<std::filesystem::path> ScreenRecorder::stop() {
    if (!outputFile)
        throw recorderError(2);
    if (stream) {
        auto stopped = stream->stopCapture();
        co_await stopped;
        lastStatistics = stream->statistics();
    }
    stream.reset();
    bool hasPictures = true;
    if (writesItself()) {
        auto finished = finishWriter();
        hasPictures = co_await finished;
    }
    tellOfDroppedFrames();
    recordingOutput.reset();
    const std::filesystem::path file = *std::exchange(outputFile, std::nullopt);
    if (!hasPictures) {
        Files::remove(file);
        throw recorderError(3, QStringLiteral("No picture was recorded"));
    }
    co_return file;
}

// Repeats the picture from before the pause when it has stood for at least `atLeast`.
void ScreenRecorder::holdThroughPause(std::chrono::microseconds atLeast) {
    if (paused && sessionStarted && heldFrame && latestTime >= writtenTime + atLeast)
        appendToWriter(std::make_shared<HeldFrame>(heldFrame, latestTime));
}

// A writer that was never started cannot be finished: it is cancelled, and there is no video.
QCoro::Task<bool> ScreenRecorder::finishWriter() {
    bool hasPictures = sessionStarted;
    if (sessionStarted) {
        holdThroughPause(1us); // a pause at the end counts as recorded time
        videoInput->markAsFinished();
        lastStatistics.framesRefused = videoInput->framesRefused();
        auto finished = writer->finishWriting();
        co_await finished;
        if (writer->status() == AssetWriter::Status::failed)
            hasPictures = holdsAnything(*outputFile); // false when the disk was full from the start
    }
    dropWriter();
    co_return hasPictures;
}

void ScreenRecorder::dropWriter() {
    videoInput.reset();
    writer.reset();
    sessionStarted = false;
    heldFrame.reset();
}

void ScreenRecorder::tellOfDroppedFrames() const {
    const auto& [delivered, dropped, refused] = lastStatistics;
    if (dropped + refused > 0)
        Log::info(QStringLiteral("recorder: %1 of %2 frames were dropped; the machine was busy")
                      .arg(dropped + refused)
                      .arg(delivered + dropped));
}

QCoro::Task<> ScreenRecorder::discard() {
    if (stream) {
        try {
            auto stopped = stream->stopCapture();
            co_await stopped;
        } catch (...) { // the take is discarded anyway
        }
    }
    stream.reset();
    dropWriter();
    recordingOutput.reset();
    if (outputFile)
        Files::remove(*std::exchange(outputFile, std::nullopt));
}

} // namespace tavro
