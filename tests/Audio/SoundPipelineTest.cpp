#include "Audio/AudioLevel.h"
#include "Audio/AudioMixer.h"
#include "Audio/MicCapture.h"
#include "Audio/PCMConverter.h"
#include "Audio/SystemAudioCapture.h"
#include "Platform/Fake/FakeSound.h"

#include "support/TestSupport.h"

#include <QRegularExpression>

#include <atomic>
#include <cmath>
#include <numbers>
#include <thread>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::waitUntil;

PCMBufferPtr floats(std::vector<std::vector<float>> planes, double rate = 48'000) {
    auto buffer = std::make_shared<PCMBuffer>();
    buffer->format = {AudioFormat::Sample::float32, rate, static_cast<std::uint32_t>(planes.size()), false};
    buffer->frameLength = static_cast<std::uint32_t>(planes.front().size());
    buffer->floatChannels = std::move(planes);
    return buffer;
}

TEST(AudioMixer, addsAndSaturates) {
    const struct {
        AudioFrame mic, sys, mixed, micRemainder, sysRemainder;
    } cases[] = {
        {{}, {}, {}, {}, {}},
        {{1, 2, 3}, {}, {1, 2, 3}, {}, {}},
        {{}, {4, 5}, {4, 5}, {}, {}},
        {{30'000, -30'000, 5}, {10'000, -10'000}, {32'767, -32'768}, {5}, {}},
        {{100}, {-100, 7}, {0}, {}, {7}},
        {{32'767, -32'768}, {1, -1}, {32'767, -32'768}, {}, {}},
    };
    for (const auto& c : cases) {
        const auto [mixed, micRemainder, sysRemainder] = AudioMixer::mix(c.mic, c.sys);
        EXPECT_EQ(mixed, c.mixed);
        EXPECT_EQ(micRemainder, c.micRemainder);
        EXPECT_EQ(sysRemainder, c.sysRemainder);
    }
}

TEST(AudioMixer, deliversWhatOverlapsBeforeItStops) {
    AudioMixer mixer;
    AudioFrame heard;
    mixer.setOnFrame([&](const AudioFrame& frame) { heard.insert(heard.end(), frame.begin(), frame.end()); });
    mixer.feedMic({1, 2, 3});
    mixer.feedSystem({10, 20});
    mixer.stop();
    EXPECT_EQ(heard, (AudioFrame{11, 22}));
    mixer.feedSystem({30}); // meets the remainder
    mixer.stop();
    EXPECT_EQ(heard, (AudioFrame{11, 22, 33}));
    mixer.stop();
    EXPECT_EQ(heard.size(), 3u);
}

TEST(AudioMixer, mixesByItselfWhileItRuns) {
    AudioMixer mixer;
    std::atomic<std::size_t> heard = 0;
    mixer.setOnFrame([&](const AudioFrame& frame) { heard += frame.size(); });
    mixer.start();
    mixer.start();
    mixer.feedMic(AudioFrame(1365, 1));
    EXPECT_TRUE(waitUntil([&] { return heard == 1365; }));
    mixer.stop();
    mixer.feedMic(AudioFrame(5, 1));
    std::this_thread::sleep_for(60ms);
    EXPECT_EQ(heard, 1365u);
}

TEST(MicCapture, downmixesTheFirstChannels) {
    const auto stereo = MicCapture::downmixToMono(floats({{1, 1}, {0, 0.5F}}), 2);
    EXPECT_EQ(stereo->floatChannels[0], (std::vector<float>{0.5F, 0.75F}));
    EXPECT_EQ(stereo->format, (AudioFormat{AudioFormat::Sample::float32, 48'000, 1, false}));
    const auto six = MicCapture::downmixToMono(floats({{0.2F}, {0.4F}, {1}, {1}, {1}, {1}}), 2);
    EXPECT_FLOAT_EQ(six->floatChannels[0][0], 0.3F);
    const auto mono = floats({{0.1F}});
    EXPECT_EQ(MicCapture::downmixToMono(mono, 2), mono);
    EXPECT_EQ(MicCapture::downmixToMono(floats({{}, {}}), 2), nullptr);
    auto integers = std::make_shared<PCMBuffer>();
    integers->format = {AudioFormat::Sample::int16, 48'000, 2, true};
    integers->frameLength = 1;
    integers->int16Samples = {1, 2};
    EXPECT_EQ(MicCapture::downmixToMono(integers, 2), nullptr);
}

TEST(PCMConverter, buildsOneConverterForEachForm) {
    FakeAudioConverterFactory factory;
    PCMConverter converter(factory);
    EXPECT_EQ(converter.convert(floats({std::vector<float>(4096, 0.5F)})).size(), 1366u);
    EXPECT_EQ(factory.lastCapacity, 1429u);
    converter.convert(floats({std::vector<float>(96)}));
    EXPECT_EQ(factory.made, 1);
    converter.convert(floats({std::vector<float>(96)}, 32'000));
    EXPECT_EQ(factory.made, 2);
    factory.fails = true;
    EXPECT_TRUE(converter.convert(floats({std::vector<float>(96)}, 32'000)).empty());
    factory.refuses = true;
    EXPECT_TRUE(converter.convert(floats({std::vector<float>(96)})).empty());
    EXPECT_EQ(factory.made, 3);
    factory.refuses = factory.fails = false;
    EXPECT_EQ(converter.convert(floats({std::vector<float>(96)})).size(), 32u)
        << "what was refused once is refused for ever";
}

struct Microphone {
    FakeAudioEngine engine;
    FakeAudioConverterFactory converters;
    MicCapture mic{engine, converters};
    std::size_t heard = 0;
    Microphone() {
        mic.setOnFrame([this](const AudioFrame& frame) { heard += frame.size(); });
    }
};

TEST(MicCapture, recordsBetweenStartAndStop) {
    Microphone m;
    m.engine.format.channelCount = 6;
    m.engine.format.sampleRate = 44'100.7;
    const test::LogLines lines;
    await(m.mic.start());
    await(m.mic.start());
    m.engine.deliver(0.5F, 4096);
    EXPECT_GT(m.heard, 0u);
    m.mic.stop();
    m.mic.stop();
    const auto before = m.heard;
    m.engine.deliver(0.5F, 4096);
    EXPECT_EQ(m.heard, before);
    EXPECT_EQ(
        m.engine.calls, (QStringList{QStringLiteral("installTap 4096"), QStringLiteral("prepare"),
                            QStringLiteral("start"), QStringLiteral("removeTap"), QStringLiteral("stop")}));
    EXPECT_EQ(lines.all(),
        (QStringList{
            QStringLiteral(
                "[INFO] Mic capture started: system default (6 ch) @ 44100 Hz, averaging first 2 ch"),
            QStringLiteral("[INFO] Mic capture stopped")}));
}

TEST(MicCapture, noticesADeviceThatDeliversOnlyZeros) {
    constexpr std::uint32_t rate = 48'000;
    Microphone m;
    m.engine.deliver(0, 60 * rate); // not to this take
    await(m.mic.start());
    const struct {
        float value;
        double seconds;
        bool isSilent; // afterwards
    } heard[] = {{0, 5.9, false}, {0, 0.2, true}, {0, 60, true},
        {1e-6F, 0.1, false}, // the noise of a quiet room
        {0, 5.9, false}, {-0.5F, 0.1, false}, {0, 3, false}, {0, 3.1, true}};
    for (const auto& [value, seconds, isSilent] : heard) {
        for (auto left = static_cast<std::uint32_t>(seconds * rate); left > 0;) {
            const std::uint32_t part = std::min(left, 4096U);
            m.engine.deliver(value, part);
            left -= part;
        }
        EXPECT_EQ(m.mic.isSilent(), isSilent) << value << " for " << seconds << " s";
    }
    m.mic.stop();
    EXPECT_FALSE(m.mic.isSilent());
    await(m.mic.start());
    EXPECT_FALSE(m.mic.isSilent());
}

TEST(MicCapture, saysThatThereIsNoInput) {
    for (const AudioFormat& unusable :
        {AudioFormat{}, AudioFormat{AudioFormat::Sample::float32, 48'000, 0, false},
            AudioFormat{AudioFormat::Sample::float32, 0, 2, false}}) {
        Microphone m;
        m.engine.format = unusable;
        const auto error = test::errorOf([&] { await(m.mic.start()); });
        EXPECT_EQ(error.domain, u"Tavro.Audio");
        EXPECT_EQ(error.code, 1);
        EXPECT_EQ(error.localizedDescription, u"No usable microphone input");
        EXPECT_FALSE(m.mic.isRunning());
        EXPECT_TRUE(m.mic.isSilent()); // the bar shows it
        m.mic.stop();
        EXPECT_FALSE(m.mic.isSilent());
        EXPECT_FALSE(m.engine.hasTap());
    }
}

TEST(MicCapture, leavesNoTapBehindAFailedStart) {
    Microphone m;
    m.engine.startError =
        std::make_exception_ptr(PlatformError(QStringLiteral("PulseAudio"), 6, QStringLiteral("why")));
    const test::LogLines lines;
    const auto error = test::errorOf([&] { await(m.mic.start()); });
    EXPECT_EQ(error.domain, u"PulseAudio");
    EXPECT_EQ(error.code, 6);
    EXPECT_FALSE(m.mic.isRunning());
    EXPECT_FALSE(m.engine.hasTap());
    EXPECT_TRUE(lines.all().isEmpty());
    m.engine.startError = nullptr;
    await(m.mic.start());
    EXPECT_TRUE(m.mic.isRunning());
}

TEST(MicCapture, tellsTheOriginOfItsLine) {
    Microphone m;
    m.engine.sinceOrigin = 5s;
    const auto origin = await(m.mic.start());
    EXPECT_LT(origin, AudioClock::now() - 4s);
    EXPECT_EQ(await(m.mic.start()), origin) << "of the line that runs";
}

// The error of a start, or nothing where it succeeded.
QString failureOf(QCoro::Task<AudioClock::time_point> starting) {
    try {
        await(std::move(starting));
    } catch (const PlatformError& error) {
        return error.message();
    }
    return {};
}

const QString stoppedBefore = QStringLiteral("Stopped before it ran");

TEST(MicCapture, stopsWhileItWaits) {
    Microphone m;
    const auto answer = m.engine.silence.emplace();
    const test::LogLines lines;
    auto stopped = m.mic.start();
    m.mic.stop();
    EXPECT_FALSE(m.mic.isRunning());
    auto next = m.mic.start(); // which is answered at once
    EXPECT_EQ(failureOf(std::move(next)), QString());
    answer.resolve();
    EXPECT_EQ(failureOf(std::move(stopped)), stoppedBefore);
    EXPECT_TRUE(m.mic.isRunning()) << "the late answer was another start's";
    EXPECT_EQ(m.engine.calls.count(QStringLiteral("start")), 1);
    m.mic.stop();
    EXPECT_EQ(lines.all().count(QStringLiteral("[INFO] Mic capture stopped")), 1);
}

TEST(AudioSource, mayGoWhileItWaits) {
    FakeAudioEngine engine;
    FakeAudioHardware hardware;
    FakeAudioConverterFactory converters;
    const auto format = engine.silence.emplace();
    const auto output = hardware.silence.emplace();
    auto mic = std::make_unique<MicCapture>(engine, converters);
    auto system = std::make_unique<SystemAudioCapture>(hardware, converters, SystemVersion{14, 2});
    auto micStarts = mic->start(), systemStarts = system->start();
    mic.reset();
    system.reset();
    format.resolve();
    output.resolve();
    EXPECT_EQ(failureOf(std::move(micStarts)), stoppedBefore);
    EXPECT_EQ(failureOf(std::move(systemStarts)), stoppedBefore);
    EXPECT_TRUE(engine.calls.isEmpty());
    EXPECT_TRUE(hardware.calls.isEmpty());
}

struct System {
    FakeAudioHardware hardware;
    FakeAudioConverterFactory converters;
    std::vector<AudioFrame> heard; // on the capture's queue
    SystemAudioCapture capture;
    explicit System(SystemVersion version = {14, 2}) : capture(hardware, converters, version) {
        capture.setOnFrame([this](AudioFrame frame) { heard.push_back(std::move(frame)); });
    }
};

TEST(SystemAudioCapture, makesAndReleasesInOrder) {
    System s;
    const test::LogLines lines;
    await(s.capture.start());
    await(s.capture.start());
    s.capture.stop();
    s.capture.stop();
    EXPECT_EQ(s.hardware.calls.join(u' '),
        u"createProcessTap createAggregateDevice createIOProc startDevice stopDevice "
        u"destroyIOProc destroyAggregateDevice destroyProcessTap");
    EXPECT_EQ(s.hardware.alive(), 0);
    EXPECT_EQ(lines.all(), (QStringList{QStringLiteral("[INFO] Process tap created, tapID=41"),
                               QStringLiteral("[INFO] Aggregate device created, id=42"),
                               QStringLiteral("[INFO] System audio capture started"),
                               QStringLiteral("[INFO] System audio capture stopped")}));

    const QString uuid = QStringLiteral("[0-9A-F]{8}(-[0-9A-F]{4}){3}-[0-9A-F]{12}");
    EXPECT_TRUE(QRegularExpression(QRegularExpression::anchoredPattern(uuid))
                    .match(s.hardware.tapDescription.uuid)
                    .hasMatch());
    EXPECT_EQ(s.hardware.tapDescription.name, u"TavroSystemAudio");
    EXPECT_TRUE(s.hardware.tapDescription.isPrivate && !s.hardware.tapDescription.muted);
    const auto& device = s.hardware.deviceDescription;
    EXPECT_TRUE(QRegularExpression(QRegularExpression::anchoredPattern(
                                       QStringLiteral("com\\.quembridge\\.tavro\\.tap-aggregate-") + uuid))
                    .match(device.uid)
                    .hasMatch());
    EXPECT_EQ(device.name, u"Tavro System Audio Aggregate");
    EXPECT_EQ(device.tapUUIDs, std::vector{s.hardware.tapDescription.uuid});
    EXPECT_TRUE(device.isPrivate && device.tapAutoStart);
}

TEST(SystemAudioCapture, stopsWhileItWaits) {
    System s;
    const auto answer = s.hardware.silence.emplace();
    auto stopped = s.capture.start();
    s.capture.stop();
    EXPECT_EQ(failureOf(s.capture.start()), QString());
    answer.resolve();
    EXPECT_EQ(failureOf(std::move(stopped)), stoppedBefore);
    EXPECT_EQ(s.hardware.alive(), 3);
    s.capture.stop();
    EXPECT_EQ(s.hardware.alive(), 0);
}

TEST(SystemAudioCapture, releasesEverythingWhicheverStepFails) {
    const struct {
        QString step, text, calls;
    } cases[] = {
        {QStringLiteral("createProcessTap"),
            QStringLiteral("System audio tap creation failed (AudioStatus -50). Make sure System Audio "
                           "Recording permission is granted in your desktop's sound settings."),
            QStringLiteral("createProcessTap")},
        {QStringLiteral("createAggregateDevice"),
            QStringLiteral("Failed to create aggregate device for system-audio tap (AudioStatus -50)"),
            QStringLiteral("createProcessTap createAggregateDevice destroyProcessTap")},
        {QStringLiteral("createIOProc"),
            QStringLiteral("Failed to create IOProc for system-audio aggregate device (AudioStatus -50)"),
            QStringLiteral("createProcessTap createAggregateDevice createIOProc destroyAggregateDevice "
                           "destroyProcessTap")},
        {QStringLiteral("startDevice"),
            QStringLiteral("Failed to start IOProc for system-audio aggregate device (AudioStatus -50)"),
            QStringLiteral("createProcessTap createAggregateDevice createIOProc startDevice destroyIOProc "
                           "destroyAggregateDevice "
                           "destroyProcessTap")},
    };
    for (const auto& c : cases) {
        System s;
        s.hardware.failures[c.step] = -50;
        const auto error = test::errorOf([&] { await(s.capture.start()); });
        EXPECT_EQ(error.domain, u"Tavro.Audio");
        EXPECT_EQ(error.code, -50);
        EXPECT_EQ(error.localizedDescription, c.text);
        EXPECT_EQ(s.hardware.calls.join(u' '), c.calls);
        EXPECT_EQ(s.hardware.alive(), 0);
        EXPECT_FALSE(s.capture.isRunning());
        s.hardware.failures.clear();
        await(s.capture.start());
        EXPECT_TRUE(s.capture.isRunning());
    }
}

TEST(SystemAudioCapture, releasesEverythingWhenThereIsNoProcedure) {
    System s;
    s.hardware.withoutProcedureIdentifier = true; // though no failure is told
    const auto error = test::errorOf([&] { await(s.capture.start()); });
    EXPECT_EQ(error.domain, u"Tavro.Audio");
    EXPECT_EQ(error.code, 0);
    EXPECT_EQ(error.localizedDescription,
        u"Failed to create IOProc for system-audio aggregate device (AudioStatus 0)");
    EXPECT_EQ(s.hardware.calls.join(u' '),
        u"createProcessTap createAggregateDevice createIOProc destroyAggregateDevice destroyProcessTap");
    EXPECT_EQ(s.hardware.alive(), 0);
    EXPECT_FALSE(s.capture.isRunning());
}

TEST(SystemAudioCapture, needsItsSystemVersion) {
    System s({14, 1});
    const auto error = test::errorOf([&] { await(s.capture.start()); });
    EXPECT_EQ(error.domain, u"Tavro.Audio");
    EXPECT_EQ(error.code, 2);
    EXPECT_EQ(error.localizedDescription, u"System audio capture requires platform 14.2 or later");
    EXPECT_TRUE(s.hardware.calls.isEmpty());
}

TEST(SystemAudioCapture, takesWholeFramesOfTheFirstTwoChannels) {
    const struct {
        std::uint32_t channels, byteSize;
        std::size_t samples; // of 16 000 a second
    } cases[] = {{1, 1920, 160}, {2, 1924, 80}, {4, 7680, 160}, {2, 0, 0}, {0, 16, 0}, {2, 4, 0}};
    for (const auto& c : cases) {
        System s;
        await(s.capture.start());
        std::vector<float> samples(1920, 0.F);
        for (std::size_t i = 0; i < samples.size(); i += std::max(c.channels, 1U))
            samples[i] = 0.5F;
        s.hardware.deliver(c.channels, samples, c.byteSize);
        s.hardware.deliverNothing();
        s.hardware.deliver(2, {}, 64); // no data
        s.hardware.waitForCallbacks();
        ASSERT_EQ(s.heard.size(), c.samples > 0 ? 1u : 0u) << c.channels << " " << c.byteSize;
        if (c.samples > 0) {
            EXPECT_EQ(s.heard[0], AudioFrame(c.samples, 16'383));
        }
        s.capture.stop();
        s.hardware.deliver(c.channels, samples, c.byteSize); // late
        s.hardware.waitForCallbacks();
        EXPECT_LE(s.heard.size(), 1u);
    }
}

TEST(AudioLevel, mapsDecibelsOfFullScale) {
    const struct {
        double amplitude, level;
    } cases[] = {{0, 0}, {0.0001, 0}, {0.001, 0}, {std::sqrt(0.001), 0.5}, {0.1, 2.0 / 3}, {1, 1}};
    for (const auto& c : cases)
        EXPECT_NEAR(AudioLevel::fromPower(c.amplitude * c.amplitude), c.level, 0.001) << c.amplitude;
}

TEST(AudioLevel, risesAtOnceAndFallsSlowly) {
    AudioLevel level;
    level.add(AudioFrame(AudioLevel::window - 1, 32'767));
    EXPECT_EQ(level.next(), 0) << "not a whole window yet";
    level.add(AudioFrame(1, 32'767));
    EXPECT_NEAR(level.next(), 1, 0.001);
    double before = 1.001;
    int steps = 0;
    for (double now = level.next(); now > 0; now = level.next(), ++steps) {
        EXPECT_LT(now, before);
        before = now;
    }
    EXPECT_GT(steps, 10);
    for (int i = 0; i < 100; ++i) // nobody looks
        level.add(AudioFrame(AudioLevel::window, i == 50 ? 32'767 : 0));
    EXPECT_TRUE(level.next() > 0.99 || level.next() > 0.99 || level.next() > 0.99) << "the loudest got lost";
}

} // namespace
} // namespace tavro
