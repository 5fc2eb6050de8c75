#pragma once

#include "TakeBackend.h"
#include "TakeOptions.h"
#include "TakeReport.h"

#include "App/SessionScreen.h"
#include "Audio/VideoAudioMuxer.h"
#include "Capture/RealScreenCapture.h"
#include "Core/Promise.h"
#include "Platform/Media/Media.h"
#include "Platform/Pulse/PulseSound.h"
#include "Session/RecordingSession.h"

namespace tavro {

/// A take from begin to upload, with the real parts of the program. Main thread.
class Take {
public:
    explicit Take(TakeOptions options);

    /// Runs the take. Throws the first error; what was recorded until then is left as files that play.
    QCoro::Task<TakeReport> run();
    /// Ends the take early: `run` throws, with the files finished.
    void interrupt();

private:
    using Clock = RecordingSession::Clock;

    QCoro::Task<QString> begin();
    QCoro::Task<CaptureTargetMeta> target();
    QCoro::Task<> perform(TakeStep::Action action);
    QCoro::Task<> performAll();
    QCoro::Task<> waitUntil(Clock::time_point time);
    QCoro::Task<TakeReport> report(QString sessionId);
    void throwIfInterrupted() const;

    const TakeOptions options;
    const TakeBackend backend;
    const std::unique_ptr<AssetWriterFactory> writers = makeAssetWriterFactory();
    const std::unique_ptr<AudioConverterFactory> converters = makeAudioConverterFactory();
    const std::unique_ptr<MediaLibrary> media = makeMediaLibrary();
    PulseSound sound;
    const SessionScreen screen;
    VideoAudioMuxer muxer{*media};
    RealScreenCapture capture;
    RecordingSession session;

    double durationSeconds = 0;
    bool interrupted = false;
    std::optional<Promise<void>> wake; ///< of the wait under way
};

} // namespace tavro
