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

/// Records a take: the picture, and beside it, in a file of the same name with the extension m4a, microphone
/// and computer sound in one track. Joining the two is left to the muxer. A take begins with its picture; its
/// sources of sound come in when they run. Reused for every take. Main thread.
class RealScreenCapture final : public CaptureController {
public:
    using LevelHandler = std::function<void(double level)>;

    /// What it is given outlives it.
    RealScreenCapture(ScreenCaptureService& screen, AssetWriterFactory& writers, AudioEngine& engine,
        AudioHardware& hardware, AudioConverterFactory& converters, SystemVersion system,
        ScreenRecorder::ScreenGrant grant);
    ~RealScreenCapture() override;

    QCoro::Task<> start(CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL) override;
    void pause() override { recorder.isPaused = true; }
    void resume() override { recorder.isPaused = false; }
    QCoro::Task<std::filesystem::path> stop() override;
    QCoro::Task<> restartTake(std::filesystem::path outputURL) override;
    QCoro::Task<> discard() override;

    std::optional<std::filesystem::path> audioFile() const override { return audioFileURL; }

    /// Called 20 times a second on the main thread while sound is recorded, with the level of the mixed
    /// sound, 0 to 1.
    void setLevelHandler(LevelHandler handler) { onLevel = std::move(handler); }
    /// Called once a take, on the main thread, when its picture can no longer be written.
    void setFailureHandler(std::function<void(std::exception_ptr reason)> handler) {
        recorder.onWritingFailed = std::move(handler);
    }
    /// Of the running take, or of the last one.
    StreamStatistics statistics() const { return recorder.statistics(); }

    std::function<double()> elapsedProvider; ///< recorded seconds; stored for who asks

private:
    QCoro::Task<> startTake(std::filesystem::path outputURL);
    void startAudioPipeline(const std::filesystem::path& videoURL);
    void wire();
    void stopAudioPipeline();
    void removeAbandoned();

    ScreenRecorder recorder;
    std::optional<CaptureTargetMeta> target;
    bool includeMic = false;
    AudioMixer mixer;                       // before what feeds it
    std::shared_ptr<SourcePairing> pairing; // of the take
    MicCapture mic;
    SystemAudioCapture systemAudio;
    const std::array<AudioSource*, 2> sources{&mic, &systemAudio}; // as the mixer takes them
    const std::shared_ptr<MixedAudioWriter> audioWriter;
    std::optional<std::filesystem::path> audioFileURL;
    std::optional<std::filesystem::path> abandonedAudio; // of a take that a restart threw away
    LevelHandler onLevel;
    std::shared_ptr<AudioLevel> level; // of the take
    QTimer levelTimer;
};

} // namespace tavro
