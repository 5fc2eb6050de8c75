#pragma once

#include "Audio/AudioLevel.h"
#include "Audio/AudioMixer.h"
#include "Audio/MicCapture.h"
#include "Audio/MixedAudioWriter.h"
#include "Audio/SourcePairing.h"
#include "Audio/SystemAudioCapture.h"
#include "Capture/ScreenRecorder.h"
#include "Session/CaptureController.h"

#include <QTimer>

#include <array>
#include <functional>
#include <memory>
#include <optional>

namespace tavro {

/// Records a take: the picture, and microphone and computer sound as one track in a second file with the
/// extension m4a. A take begins with its first picture; each sound source joins when it runs. Reused for
/// every take. Main thread.
class RealScreenCapture final : public CaptureController {
public:
    using LevelHandler = std::function<void(double level)>;

    /// The arguments outlive this object.
    RealScreenCapture(ScreenCaptureService& screen, AssetWriterFactory& writers, AudioEngine& engine,
        AudioHardware& hardware, AudioConverterFactory& converters, SystemVersion system,
        ScreenRecorder::ScreenGrant grant);
    ~RealScreenCapture() override;

    QCoro::Task<> start(CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL) override;
    void pause() override { recorder.setPaused(true); }
    void resume() override { recorder.setPaused(false); }
    QCoro::Task<std::filesystem::path> stop() override;
    QCoro::Task<> restartTake(std::filesystem::path outputURL) override;
    QCoro::Task<> discard() override;

    std::optional<std::chrono::steady_clock::time_point> beginning() const override {
        return recorder.beginning();
    }
    std::optional<std::filesystem::path> audioFile() const override { return audioFileURL; }

    /// Called on the main thread 20 times a second of recorded sound, with its level, 0 to 1.
    void setLevelHandler(LevelHandler handler) { onLevel = std::move(handler); }
    /// See ScreenRecorder.
    void setSlowArea(const Rect& area) { recorder.setSlowArea(area); }
    /// The take's microphone has delivered only zeros for some seconds: it may be muted.
    bool isMicrophoneSilent() const { return mic.isSilent(); }
    /// Called at most once a take, on the main thread, when the picture can no longer be written.
    void setFailureHandler(std::function<void(std::exception_ptr reason)> handler) {
        recorder.onWritingFailed = std::move(handler);
    }
    /// Called at most once a take, on the main thread, when the desktop has stopped sharing the screen.
    void setInterruptionHandler(std::function<void()> handler) {
        recorder.onInterrupted = std::move(handler);
    }
    /// Of the running take, or of the last one.
    StreamStatistics statistics() const { return recorder.statistics(); }

    std::function<double()> elapsedProvider; ///< recorded seconds

private:
    QCoro::Task<> startTake(std::filesystem::path outputURL);
    void startAudioPipeline(const std::filesystem::path& videoURL);
    void wire();
    void stopAudioPipeline();
    void removeAbandoned();

    ScreenRecorder recorder;
    std::optional<CaptureTargetMeta> target;
    bool includeMic = false;
    AudioMixer mixer;                       // outlives the sources and the pairing
    std::shared_ptr<SourcePairing> pairing; // of the take
    MicCapture mic;
    SystemAudioCapture systemAudio;
    const std::array<AudioSource*, 2> sources{&mic, &systemAudio}; // in the mixer's order
    const std::shared_ptr<MixedAudioWriter> audioWriter;
    std::optional<std::filesystem::path> audioFileURL;
    std::optional<std::filesystem::path> abandonedAudio; // of a take that a restart discarded
    LevelHandler onLevel;
    std::shared_ptr<AudioLevel> level; // of the take
    QTimer levelTimer;
};

} // namespace tavro
