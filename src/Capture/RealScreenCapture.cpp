#include "Capture/RealScreenCapture.h"

#include "Core/Files.h"

#include <utility>

namespace tavro {
namespace {

using namespace std::chrono_literals;

constexpr SystemVersion firstWithSystemAudio{14, 2};
constexpr auto levelInterval = 50ms;

} // namespace

RealScreenCapture::RealScreenCapture(ScreenCaptureService& screen, AssetWriterFactory& writers,
    AudioEngine& engine, AudioHardware& hardware, AudioConverterFactory& converters, SystemVersion version,
    ScreenRecorder::ScreenGrant grant)
    : system(version)
    , recorder(screen, writers, version, std::move(grant))
    , mic(engine, converters)
    , systemAudio(hardware, converters, version)
    , audioWriter(std::make_shared<MixedAudioWriter>(writers)) {
    levelTimer.setTimerType(Qt::PreciseTimer);
    levelTimer.setInterval(levelInterval);
    QObject::connect(&levelTimer, &QTimer::timeout, &levelTimer, [this] {
        if (level && onLevel)
            onLevel(level->next());
    });
}

RealScreenCapture::~RealScreenCapture() {
    stopAudioPipeline();
}

QCoro::Task<> RealScreenCapture::start(
    CaptureTargetMeta wanted, bool withSound, std::filesystem::path outputURL) {
    removeAbandoned();
    target = std::move(wanted);
    includeMic = withSound;
    audioFileURL.reset();
    auto started = startTake(std::move(outputURL));
    co_await started;
}

QCoro::Task<> RealScreenCapture::startTake(std::filesystem::path outputURL) {
    auto started = recorder.start(*target, includeMic, outputURL);
    co_await started;
    if (includeMic)
        startAudioPipeline(outputURL);
}

// The take begins with its first picture: that is the time zero of the video file, and so it has to be the
// sound's. The sources start after it, each a little later than the other, and their lines begin when they
// do; the time in between goes in front of each as silence (`SourcePairing::begin`), whereby the sound file
// begins with the take too and the two files can be laid side by side as they are.
void RealScreenCapture::startAudioPipeline(const std::filesystem::path& videoURL) {
    const Clock::time_point takeBegan = recorder.beginning().value_or(Clock::now());
    std::filesystem::path audioURL = videoURL;
    audioURL.replace_extension("m4a");
    try {
        audioWriter->start(audioURL);
    } catch (...) { // the take has no sound
        return;
    }
    audioFileURL = audioURL;
    wire();
    mixer.start();
    startSource(mic, SourcePairing::Source::microphone, takeBegan);
    if (system >= firstWithSystemAudio)
        startSource(systemAudio, SourcePairing::Source::system, takeBegan);
    else
        pairing->leaveOut(SourcePairing::Source::system);
    levelTimer.start();
}

// Source -> pairing -> mixer -> writer. The pairing is the take's own and closed with it: what a callback of
// an earlier take still brings ends there, and as the pairing hands over both sources in equal lengths, the
// mixer keeps no remainder either. So each take begins with its own sound.
void RealScreenCapture::wire() {
    using Source = SourcePairing::Source;
    pairing = std::make_shared<SourcePairing>([this](AudioFrame microphone, AudioFrame computer) {
        mixer.feed(std::move(microphone), std::move(computer));
    });
    level = std::make_shared<AudioLevel>();
    const auto handToPairing = [weak = std::weak_ptr(pairing)](Source source) {
        return [weak, source](const AudioFrame& frame) {
            if (const auto present = weak.lock())
                present->add(source, frame);
        };
    };
    mic.setOnFrame(handToPairing(Source::microphone));
    systemAudio.setOnFrame(handToPairing(Source::system));
    mixer.setOnFrame([writer = audioWriter, meter = level](AudioFrame frame) {
        meter->add(frame);
        writer->appendFrame(std::move(frame));
    });
}

template <class Capture>
void RealScreenCapture::startSource(
    Capture& capture, SourcePairing::Source source, Clock::time_point takeBegan) {
    try {
        capture.start();
    } catch (...) { // the take goes on with what is left
        pairing->leaveOut(source);
        return;
    }
    pairing->begin(source, Clock::now() - takeBegan);
}

QCoro::Task<std::filesystem::path> RealScreenCapture::stop() {
    stopAudioPipeline();
    auto finished = audioWriter->finish();
    co_await finished;
    removeAbandoned();
    auto stopped = recorder.stop();
    co_return co_await stopped;
}

QCoro::Task<> RealScreenCapture::restartTake(std::filesystem::path outputURL) {
    stopAudioPipeline();
    auto finished = audioWriter->finish();
    co_await finished;
    if (audioFileURL) {
        removeAbandoned(); // of a restart before, under another name
        abandonedAudio = std::exchange(audioFileURL, std::nullopt);
    }
    auto discarded = recorder.discard();
    co_await discarded;
    if (!target)
        co_return;
    auto started = startTake(std::move(outputURL));
    co_await started;
}

QCoro::Task<> RealScreenCapture::discard() {
    stopAudioPipeline();
    auto finished = audioWriter->finish();
    co_await finished;
    if (audioFileURL)
        Files::remove(*std::exchange(audioFileURL, std::nullopt));
    removeAbandoned();
    auto discarded = recorder.discard();
    co_await discarded;
}

// In this order: the sources stop, what they have delivered is mixed, and only then is the file finished.
void RealScreenCapture::stopAudioPipeline() {
    levelTimer.stop();
    mic.stop();
    systemAudio.stop();
    if (const auto ended = std::exchange(pairing, nullptr))
        ended->close();
    mixer.stop();
}

// The new take's sound replaces that of the one thrown away where it has the same name; where it has another,
// or no sound, the old file would stay for ever.
void RealScreenCapture::removeAbandoned() {
    const auto abandoned = std::exchange(abandonedAudio, std::nullopt);
    if (abandoned && abandoned != audioFileURL)
        Files::remove(*abandoned);
}

} // namespace tavro
