#include "Platform/Pulse/PulseSound.h"

#include "Core/SerialQueue.h"
#include "SoundSignals.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QRegularExpression>

#include <cmath>
#include <csignal>
#include <mutex>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::waitUntil;
using Clock = std::chrono::steady_clock;

constexpr double rate = 48'000;

QString pactl(const QStringList& arguments) {
    return QString::fromUtf8(test::outputOf(QStringLiteral("pactl"), arguments)).trimmed();
}

// PipeWire's session manager may change the default later, so the command is repeated.
void makeDefault(const char* kind, const char* name) {
    EXPECT_TRUE(waitUntil([&] {
        pactl({QStringLiteral("set-default-") + QLatin1String(kind), QLatin1String(name)});
        return pactl({QStringLiteral("get-default-") + QLatin1String(kind)}) == QLatin1String(name);
    })) << name;
}

// The service of this desktop. Cached, since a stopped service leaves no trace.
const QString& soundService() {
    static const QString service = [] {
        const auto desktop = std::filesystem::path(qgetenv("TAVRO_DESKTOP").toStdString());
        return exists(desktop / "pulse.pid") ? QStringLiteral("pulse") : QStringLiteral("pipewire");
    }();
    return service;
}

void service(const char* action) {
    test::outputOf(QStringLiteral("/usr/bin/python3"),
        {QStringLiteral(TAVRO_DESKTOP_TOOL), QString::fromLatin1(action), soundService()});
}

void signalService(int number) {
    const auto file = std::filesystem::path(qgetenv("TAVRO_DESKTOP").toStdString()) /
                      (soundService().toStdString() + ".pid");
    for (const QByteArray& line : test::readFile(file).split('\n'))
        if (const int process = line.toInt(); process > 0)
            kill(process, number);
}

// Plays mono floats into a sink, until destroyed or at the end.
class Player {
public:
    Player(const QString& sink, std::span<const float> samples, double sampleRate = rate) {
        const QByteArray bytes(
            reinterpret_cast<const char*>(samples.data()), static_cast<qsizetype>(samples.size_bytes()));
        test::writeFile(folder.path() / "sound.raw", bytes);
        const QByteArray file = QByteArray::fromStdString((folder.path() / "sound.raw").string());
        const QByteArray device = "--device=" + sink.toUtf8();
        const QByteArray samplesASecond = "--rate=" + QByteArray::number(sampleRate);
        const char* const arguments[] = {"pacat", "--playback", "--raw", "--format=float32le", "--channels=1",
            samplesASecond.constData(), "--latency-msec=20", device.constData(), file.constData(), nullptr};
        EXPECT_EQ(
            posix_spawnp(&process, "pacat", nullptr, nullptr, const_cast<char**>(arguments), environ), 0);
    }
    ~Player() {
        kill(process, SIGTERM);
        waitpid(process, nullptr, 0);
    }

private:
    test::TemporaryFolder folder;
    pid_t process = 0;
};

// The received part of a line, and when it began.
class Line {
public:
    void begin(Clock::time_point origin) { began = origin; }
    void add(float sample) { samples.push_back(sample); }
    template <class Work>
    auto locked(Work work) {
        const std::lock_guard lock(mutex);
        return work(samples);
    }
    double seconds(double lineRate = rate) {
        return locked([=](const auto& all) { return static_cast<double>(all.size()) / lineRate; });
    }
    double elapsed() const { return std::chrono::duration<double>(Clock::now() - began).count(); }
    // The tone's amplitude in the last 333 ms.
    double lately(double frequency = 440) {
        return locked([=](const auto& all) {
            const auto length = std::min<std::size_t>(all.size(), 16'000);
            return length < 16'000 ? 0.0 : test::amplitudeAt(std::span(all).last(length), frequency, rate);
        });
    }
    // At most as far behind the clock as data under way, and not ahead of it.
    void expectOnTime(double mostAhead = 0.03) {
        const double late = elapsed() - seconds();
        EXPECT_GT(late, -mostAhead);
        EXPECT_TRUE(waitUntil([this] { return elapsed() - seconds() < 0.5; }, 10s)) << late;
    }

private:
    std::mutex mutex;
    std::vector<float> samples;
    Clock::time_point began;
};

class Recording {
public:
    explicit Recording(PulseSound& from)
        : sound(from)
        , engine(from.audioEngine())
        , hardware(from.audioHardware()) {}
    ~Recording() {
        engine.removeTap();
        engine.stop();
        if (proc != 0)
            hardware.stopDevice(device, proc);
        queue.sync([] {});
        hardware.destroyIOProc(device, proc);
        hardware.destroyAggregateDevice(device);
        hardware.destroyProcessTap(tap);
    }

    void startMicrophone() {
        format = await(engine.inputFormat());
        engine.installTap(4096, format, [this](const PCMBufferPtr& buffer) {
            microphone.locked([&](auto& all) {
                all.insert(all.end(), buffer->floatChannels[0].begin(), buffer->floatChannels[0].end());
            });
        });
        engine.prepare();
        microphone.begin(engine.start());
    }
    void startSystem() {
        await(hardware.findOutput());
        ASSERT_EQ(
            hardware.createProcessTap({QStringLiteral("uuid"), QStringLiteral("test")}, tap), audioNoError);
        ASSERT_EQ(
            hardware.createAggregateDevice(
                {QStringLiteral("uid"), QStringLiteral("test"), true, {QStringLiteral("uuid")}}, device),
            audioNoError);
        ASSERT_EQ(hardware.createIOProc(
                      device, queue,
                      [this](std::span<const AudioIOBuffer> buffers) {
                          const auto& buffer = buffers.front();
                          const auto* data = static_cast<const float*>(buffer.data);
                          system.locked([&](auto& all) {
                              for (std::size_t i = 0; i < buffer.byteSize / sizeof(float);
                                   i += buffer.channelCount)
                                  all.push_back(data[i]);
                          });
                      },
                      proc),
            audioNoError);
        Clock::time_point origin;
        ASSERT_EQ(hardware.startDevice(device, proc, origin), audioNoError);
        system.begin(origin);
    }

    PulseSound& sound;
    AudioEngine& engine;
    AudioHardware& hardware;
    SerialQueue queue{QStringLiteral("test")};
    AudioFormat format;
    Line microphone;
    Line system;
    AudioObjectID tap = 0;
    AudioObjectID device = 0;
    AudioIOProcID proc = 0;
};

const std::vector<float>& tone() {
    static const std::vector<float> samples = test::sine(440, 0.25, 120, rate);
    return samples;
}

std::vector<float> voice() {
    const test::TemporaryFolder folder;
    const auto wav = QString::fromStdString((folder.path() / "voice.wav").string());
    test::outputOf(QStringLiteral("espeak-ng"),
        {QStringLiteral("-w"), wav, QStringLiteral("The quick brown fox jumps over the lazy dog")});
    const auto raw = QString::fromStdString((folder.path() / "voice.raw").string());
    test::outputOf(
        QStringLiteral("sox"), {wav, QStringLiteral("-t"), QStringLiteral("f32"), QStringLiteral("-r"),
                                   QStringLiteral("48000"), QStringLiteral("-c"), QStringLiteral("1"), raw});
    const QByteArray bytes = test::readFile(folder.path() / "voice.raw");
    std::vector<float> samples(static_cast<std::size_t>(bytes.size()) / sizeof(float));
    std::memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(float));
    return samples;
}

bool toneArrives(Line& line) {
    return waitUntil([&] { return std::abs(20 * std::log10(line.lately() / 0.25)) < 1; }, 20s);
}

bool silenceArrives(Line& line) {
    const double from = line.seconds();
    return waitUntil([&] { return line.seconds() > from + 0.5 && line.lately() < 0.001; }, 20s);
}

TEST(PulseSound, tellsTheDefaultSourcesFormat) {
    PulseSound sound;
    const AudioFormat format = await(sound.audioEngine().inputFormat());
    EXPECT_EQ(format.sampleRate, 48'000);
    EXPECT_EQ(format.channelCount, 1u);
}

TEST(PulseSound, hearsWhatTheComputerPlays) {
    PulseSound sound;
    Recording recording(sound);
    recording.startSystem();
    const Player player(QStringLiteral("speakers"), tone());
    ASSERT_TRUE(toneArrives(recording.system));
    // One second without a break: the server of a busy machine may lose a moment of playback.
    double frequency = 0, decibels = -100;
    EXPECT_TRUE(waitUntil(
        [&] {
            recording.system.locked([&](const auto& all) {
                if (all.size() < static_cast<std::size_t>(rate))
                    return;
                const auto last = std::span(all).last(static_cast<std::size_t>(rate));
                frequency = test::frequencyNear(last, 440, rate);
                decibels = 20 * std::log10(test::amplitudeAt(last, 440, rate) / 0.25);
            });
            return std::abs(frequency - 440) < 0.5 && std::abs(decibels) < 1;
        },
        20s))
        << frequency << " Hz, " << decibels << " dB";
    recording.system.expectOnTime();
}

TEST(PulseSound, hearsTheMicrophone) {
    PulseSound sound;
    Recording recording(sound);
    recording.startMicrophone();
    const auto spoken = voice();
    const Player player(QStringLiteral("micfeed"), spoken);
    const double length = static_cast<double>(spoken.size()) / rate;
    ASSERT_TRUE(waitUntil([&] { return recording.microphone.seconds() > length + 1.5; }));
    recording.microphone.expectOnTime();
    // Every fourth sample is enough to find a voice. Pieces, because a busy server may lose some playback.
    const auto thinned = [](std::span<const float> all) {
        std::vector<float> few;
        for (std::size_t i = 0; i + 4 <= all.size(); i += 4)
            few.push_back((all[i] + all[i + 1] + all[i + 2] + all[i + 3]) / 4);
        return few;
    };
    constexpr std::size_t piece = 2'400; // a fifth of a second
    const auto heard = recording.microphone.locked(thinned);
    const auto said = thinned(std::span(spoken).subspan(24'000, 10 * 4 * piece));
    std::vector<std::ptrdiff_t> delays;
    for (std::size_t place = 0; place < said.size(); place += piece) {
        const auto match = test::bestMatch(heard, std::span(said).subspan(place, piece));
        if (match.correlation > 0.9)
            delays.push_back(
                static_cast<std::ptrdiff_t>(match.position) - static_cast<std::ptrdiff_t>(place));
    }
    ASSERT_GE(delays.size(), 8u) << "of ten pieces";
    const auto [least, most] = std::ranges::minmax(delays);
    EXPECT_LT(most - least, 600) << "pieces are out of place by a twentieth of a second";
}

TEST(PulseSound, followsTheDefaultSinkAndOutlivesIt) {
    PulseSound sound;
    Recording recording(sound);
    recording.startSystem();
    const QString module = pactl({QStringLiteral("load-module"), QStringLiteral("module-null-sink"),
        QStringLiteral("sink_name=second"), QStringLiteral("rate=44100")});
    {
        const Player player(QStringLiteral("second"), tone());
        EXPECT_TRUE(silenceArrives(recording.system)) << "heard a sink that is not the default";
        makeDefault("sink", "second");
        EXPECT_TRUE(toneArrives(recording.system));
    }
    pactl({QStringLiteral("unload-module"), module}); // unplugged
    makeDefault("sink", "speakers");
    const Player player(QStringLiteral("speakers"), tone());
    EXPECT_TRUE(toneArrives(recording.system));
    recording.system.expectOnTime();
}

TEST(PulseSound, followsTheDefaultSourceAndOutlivesIt) {
    PulseSound sound;
    Recording recording(sound);
    recording.startMicrophone();
    pactl({QStringLiteral("load-module"), QStringLiteral("module-null-sink"),
        QStringLiteral("sink_name=feed2"), QStringLiteral("rate=44100")});
    const QString module = pactl({QStringLiteral("load-module"), QStringLiteral("module-remap-source"),
        QStringLiteral("master=feed2.monitor"), QStringLiteral("source_name=mic2"),
        QStringLiteral("channels=2")});
    {
        const Player player(QStringLiteral("feed2"), tone());
        makeDefault("source", "mic2");
        // Still in the tap's format, although this source has another.
        EXPECT_TRUE(waitUntil([&] { return recording.microphone.lately() > 0.2; }, 20s));
        pactl({QStringLiteral("unload-module"), module});
        EXPECT_TRUE(silenceArrives(recording.microphone)) << "unplugged";
    }
    makeDefault("source", "mic");
    const Player player(QStringLiteral("micfeed"), tone());
    EXPECT_TRUE(toneArrives(recording.microphone));
    recording.microphone.expectOnTime();
}

// Takes the link of the stream that records "mic". PipeWire tells nobody.
void unlinkMicrophone() {
    const QString list = QString::fromUtf8(
        test::outputOf(QStringLiteral("pw-link"), {QStringLiteral("--links"), QStringLiteral("--id")}));
    // "ID mic:PORT", and below it "ID |-> ID PORT" for each link.
    static const QRegularExpression link(QStringLiteral(" mic:\\S+\n +(\\d+) +\\|->"));
    const auto found = link.match(list);
    ASSERT_TRUE(found.hasMatch()) << list.toStdString();
    test::outputOf(QStringLiteral("pw-link"), {QStringLiteral("--disconnect"), found.captured(1)});
}

TEST(PulseSound, outlivesAStreamWithoutData) {
    PulseSound sound;
    Recording recording(sound);
    recording.startMicrophone();
    const Player speaker(QStringLiteral("micfeed"), tone());
    ASSERT_TRUE(toneArrives(recording.microphone));
    const bool isPulse = soundService() == QStringLiteral("pulse");
    const auto suspend = [](const QString& on) {
        pactl({QStringLiteral("suspend-source"), QStringLiteral("mic"), on});
    };
    if (isPulse)
        suspend(QStringLiteral("1"));
    else
        unlinkMicrophone();
    EXPECT_TRUE(silenceArrives(recording.microphone));
    if (isPulse)
        suspend(QStringLiteral("0"));
    EXPECT_TRUE(toneArrives(recording.microphone));
    recording.microphone.expectOnTime();
}

TEST(PulseSound, outlivesTheServer) {
    PulseSound sound;
    Recording recording(sound);
    recording.startMicrophone();
    recording.startSystem();
    {
        const Player player(QStringLiteral("speakers"), tone());
        ASSERT_TRUE(toneArrives(recording.system));
        service("--stop");
    }
    EXPECT_TRUE(silenceArrives(recording.system)) << "the line stands still without a server";
    EXPECT_TRUE(silenceArrives(recording.microphone));
    service("--start");
    const Player player(QStringLiteral("speakers"), tone());
    EXPECT_TRUE(toneArrives(recording.system));
    const Player speaker(QStringLiteral("micfeed"), tone());
    EXPECT_TRUE(toneArrives(recording.microphone));
    recording.system.expectOnTime();
    recording.microphone.expectOnTime();
}

TEST(PulseSound, outlivesAServerThatHangs) {
    PulseSound sound;
    Recording recording(sound);
    recording.startMicrophone();
    recording.startSystem();
    const Player player(QStringLiteral("speakers"), tone());
    ASSERT_TRUE(toneArrives(recording.system));
    signalService(SIGSTOP);
    EXPECT_TRUE(silenceArrives(recording.system)) << "the line stands still with the server";
    EXPECT_TRUE(silenceArrives(recording.microphone));
    signalService(SIGCONT);
    EXPECT_TRUE(toneArrives(recording.system));
    // Old data may come first, for a short time. Single-frame corrections make up for the rest.
    constexpr double little = 0.11;
    for (Line* line : {&recording.system, &recording.microphone}) {
        EXPECT_TRUE(waitUntil([&] { return line->elapsed() - line->seconds() > -little; }, 20s));
        line->expectOnTime(little);
    }
}

TEST(PulseSound, startsAndStopsAgainAndAgain) {
    PulseSound sound;
    const Player player(QStringLiteral("speakers"), tone());
    for (int i = 0; i < 20; ++i) {
        Recording recording(sound);
        recording.startMicrophone();
        recording.startSystem();
        EXPECT_TRUE(waitUntil([&] { return recording.system.seconds() > 0 || i % 2 == 0; }));
    }
}

} // namespace
} // namespace tavro
