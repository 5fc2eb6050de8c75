#include "Platform/Pulse/PulseSound.h"

#include "Core/SerialQueue.h"
#include "support/TestSupport.h"

namespace tavro {
namespace {

TEST(WithoutSoundServer, everyStepSaysSo) {
    const test::ScopedEnvironment nowhere("PULSE_SERVER", "unix:/nonexistent/pulse");
    PulseSound sound;
    EXPECT_EQ(sound.audioEngine().inputFormat(), AudioFormat{});
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
    EXPECT_NE(hardware.startDevice(7, 8), audioNoError);
    EXPECT_NE(hardware.stopDevice(7, 8), audioNoError);
    EXPECT_NE(hardware.destroyIOProc(7, 8), audioNoError);
}

} // namespace
} // namespace tavro
