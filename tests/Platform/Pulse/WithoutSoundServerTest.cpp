#include "Platform/Pulse/PulseSound.h"

#include "Core/SerialQueue.h"
#include "support/TestSupport.h"

#include <atomic>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tavro {
namespace {

// Accepts clients and never answers.
class HungServer {
public:
    HungServer() {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path().c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(listen(socket, 5), 0);
    }
    ~HungServer() { close(socket); }
    std::string path() const { return folder.path() / "socket"; }

private:
    const test::TemporaryFolder folder;
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

TEST(WithoutSoundServer, everyStepSaysSo) {
    const test::ScopedEnvironment nowhere("PULSE_SERVER", "unix:/nonexistent/pulse");
    PulseSound sound;
    EXPECT_EQ(test::await(sound.audioEngine().inputFormat()), AudioFormat{});
    test::await(sound.audioHardware().findOutput());
    AudioObjectID tap = 0;
    EXPECT_NE(sound.audioHardware().createProcessTap({QStringLiteral("uuid"), QStringLiteral("test")}, tap),
        audioNoError);
    EXPECT_EQ(tap, 0u);

    sound.audioEngine().installTap(
        4096, {AudioFormat::Sample::float32, 48'000, 1, false}, [](const PCMBufferPtr&) {});
    const auto error = test::errorOf([&] { sound.audioEngine().start(); });
    EXPECT_EQ(error.domain, u"PulseAudio");
    EXPECT_EQ(error.localizedDescription, u"Connection refused");
    sound.audioEngine().removeTap();
}

TEST(WithoutSoundServer, oneThatSaysNothingIsNotWaitedForForever) {
    const HungServer server;
    const test::ScopedEnvironment there("PULSE_SERVER", QByteArray::fromStdString("unix:" + server.path()));
    const test::LogLines lines;
    PulseSound sound;
    EXPECT_EQ(test::await(sound.audioEngine().inputFormat()), AudioFormat{});
    EXPECT_TRUE(lines.contains(QStringLiteral("[INFO] sound: the server does not answer")));

    // After its start the line runs, silent until the server answers.
    std::atomic<std::size_t> heard = 0;
    sound.audioEngine().installTap(4096, {AudioFormat::Sample::float32, 48'000, 1, false},
        [&](const PCMBufferPtr& buffer) { heard += buffer->frameLength; });
    sound.audioEngine().start();
    EXPECT_TRUE(test::waitUntil([&] { return heard >= 8192; }));
    sound.audioEngine().removeTap();
}

TEST(WithoutSoundServer, questionsEndWithWhoAnswersThem) {
    const HungServer server;
    const test::ScopedEnvironment there("PULSE_SERVER", QByteArray::fromStdString("unix:" + server.path()));
    auto sound = std::make_unique<PulseSound>();
    auto format = sound->audioEngine().inputFormat();
    auto output = sound->audioHardware().findOutput();
    sound.reset();
    EXPECT_EQ(test::await(std::move(format)), AudioFormat{});
    test::await(std::move(output));
}

TEST(AudioHardware, refusesWhatWasNeverMade) {
    PulseSound sound;
    AudioHardware& hardware = sound.audioHardware();
    SerialQueue queue(QStringLiteral("test"));
    AudioObjectID device = 0;
    AudioIOProcID proc = 0;
    EXPECT_NE(hardware.destroyProcessTap(7), audioNoError);
    EXPECT_NE(
        hardware.createAggregateDevice({{}, {}, true, {QStringLiteral("unknown")}}, device), audioNoError);
    EXPECT_NE(hardware.destroyAggregateDevice(7), audioNoError);
    EXPECT_NE(hardware.createIOProc(7, queue, {}, proc), audioNoError);
    AudioClock::time_point origin;
    EXPECT_NE(hardware.startDevice(7, 8, origin), audioNoError);
    EXPECT_NE(hardware.stopDevice(7, 8), audioNoError);
    EXPECT_NE(hardware.destroyIOProc(7, 8), audioNoError);
}

} // namespace
} // namespace tavro
