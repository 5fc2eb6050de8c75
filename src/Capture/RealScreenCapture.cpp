#include "Capture/RealScreenCapture.h"

#include "Core/Files.h"

#include <utility>

namespace tavro {
namespace {

using namespace std::chrono_literals;

constexpr auto levelInterval = 50ms;

// After the end of the take its pairing is closed and ignores the call.
QCoro::Task<> pairWhenItRuns(std::shared_ptr<SourcePairing> pairing, SourcePairing::Source source,
    QCoro::Task<AudioClock::time_point> starting, AudioClock::time_point takeBegan) {
    try {
        const AudioClock::time_point origin = co_await starting;
        pairing->begin(source, origin - takeBegan);
    } catch (...) { // the take goes on without this source
        pairing->leaveOut(source);
    }
}

} // namespace

RealScreenCapture::RealScreenCapture(ScreenCaptureService& screen, AssetWriterFactory& writers,
    AudioEngine& engine, AudioHardware& hardware, AudioConverterFactory& converters, SystemVersion version,
    ScreenRecorder::ScreenGrant grant)
    : recorder(screen, writers, version, std::move(grant))
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

// Time zero of both files is the first picture. The sources start later; silence fills the time up to their
// origin (`SourcePairing::begin`).
void RealScreenCapture::startAudioPipeline(const std::filesystem::path& videoURL) {
    const auto takeBegan = recorder.beginning().value_or(AudioClock::now());
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
    for (SourcePairing::Source source = 0; source < sources.size(); ++source)
        pairWhenItRuns(pairing, source, sources[source]->start(), takeBegan);
    levelTimer.start();
}

// Source -> pairing -> mixer -> writer. The pairing is closed with its take and ignores late callbacks and
// starts. It passes on equal lengths, so the mixer keeps no remainder for the next take.
void RealScreenCapture::wire() {
    pairing = std::make_shared<SourcePairing>(sources.size(),
        [this](std::vector<AudioFrame> frames) { mixer.feed(std::move(frames[0]), std::move(frames[1])); });
    for (SourcePairing::Source source = 0; source < sources.size(); ++source)
        sources[source]->setOnFrame([weak = std::weak_ptr(pairing), source](const AudioFrame& frame) {
            if (const auto present = weak.lock())
                present->add(source, frame);
        });
    level = std::make_shared<AudioLevel>();
    mixer.setOnFrame([writer = audioWriter, meter = level](AudioFrame frame) {
        meter->add(frame);
        writer->appendFrame(std::move(frame));
    });
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
        removeAbandoned(); // of an earlier restart, under another name
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

// The order matters: stop the sources, then mix what they delivered. The caller finishes the file after this.
void RealScreenCapture::stopAudioPipeline() {
    levelTimer.stop();
    for (AudioSource* source : sources)
        source->stop();
    if (const auto ended = std::exchange(pairing, nullptr))
        ended->close();
    mixer.stop();
}

// A new sound file of the same name replaces the discarded one. Without one the discarded file would stay.
void RealScreenCapture::removeAbandoned() {
    const auto abandoned = std::exchange(abandonedAudio, std::nullopt);
    if (abandoned && abandoned != audioFileURL)
        Files::remove(*abandoned);
}

} // namespace tavro
