#include "Capture/RealScreenCapture.h"

#include "Core/Files.h"

#include <utility>

namespace tavro {
namespace {

using namespace std::chrono_literals;

constexpr auto levelInterval = 50ms;

// Goes on until the source runs or fails; a take that has ended by then has closed its pairing, which takes
// no more.
QCoro::Task<> pairWhenItRuns(std::shared_ptr<SourcePairing> pairing, SourcePairing::Source source,
    QCoro::Task<AudioClock::time_point> starting, AudioClock::time_point takeBegan) {
    try {
        const AudioClock::time_point origin = co_await starting;
        pairing->begin(source, origin - takeBegan);
    } catch (...) { // the take goes on with what is left
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

// The take begins with its first picture: that is the time zero of the video file, and so it has to be the
// sound's. The sources start after it, each in its own time; what lies between the first picture and the
// origin of a source's line goes in front of it as silence (`SourcePairing::begin`), whereby the sound file
// begins with the take too and the two files can be laid side by side as they are.
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

// Source -> pairing -> mixer -> writer. The pairing is the take's own and closed with it: what a callback or
// a start of an earlier take still brings ends there, and as the pairing hands over its sources in equal
// lengths, the mixer keeps no remainder either. So each take begins with its own sound.
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
    for (AudioSource* source : sources)
        source->stop();
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
