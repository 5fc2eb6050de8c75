#include "Capture/RealScreenCapture.h"

#include "MediaFiles.h"
#include "Platform/Fake/FakeScreenCapture.h"
#include "Platform/Media/Media.h"
#include "Platform/Pulse/PulseSound.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::waitUntil;

// The whole sound path with all its threads. Only the picture is fake and has no file.
TEST(SoundTakes, beginAndEndAHundredTimes) {
    const test::TemporaryFolder folder;
    const auto video = folder.path() / "t.mp4", audio = folder.path() / "t.m4a";
    FakeScreenCapture screen;
    screen.content.displays = {{1, 64, 64}};
    const auto writers = makeAssetWriterFactory();
    const auto converters = makeAudioConverterFactory();
    PulseSound sound;
    RealScreenCapture capture(screen, *writers, sound.audioEngine(), sound.audioHardware(), *converters,
        SystemVersion{15, 0}, [] { return QStringLiteral("granted"); });
    int levels = 0;
    capture.setLevelHandler([&](double) { ++levels; });

    const test::LogLines lines;
    const auto bothRun = [&lines](int count) {
        const auto started = [all = lines.all()](
                                 const char* source) { return all.filter(QLatin1String(source)).size(); };
        return started("Mic capture started") >= count && started("System audio capture started") >= count;
    };
    int takes = 0;
    for (int i = 0; i < 100; ++i) {
        screen.firstFrame = std::make_shared<BlankPicture>(std::chrono::steady_clock::now());
        await(capture.start({CaptureKind::display, QStringLiteral("1"), {}}, true, video));
        ASSERT_EQ(capture.audioFile(), audio);
        ASSERT_TRUE(waitUntil([&] { return bothRun(takes + 1); }));
        ++takes;
        if (i % 5 == 1) {
            await(capture.restartTake(video));
            ASSERT_TRUE(waitUntil([&] { return bothRun(takes + 1); }));
            ++takes;
        }
        const bool lasts = i % 5 == 2;
        levels = 0;
        if (lasts) {
            ASSERT_TRUE(waitUntil([&] { return levels >= 10; })); // the sound may be some of them behind
        }
        if (i % 5 == 3) {
            await(capture.discard());
            EXPECT_FALSE(exists(audio));
            continue;
        }
        await(capture.stop());
        ASSERT_TRUE(exists(audio));
        if (lasts) {
            EXPECT_GT(test::audioTrack(audio).length(), 150ms);
        }
    }
    const QStringList said = lines.all();
    for (const auto* line : {"[INFO] Mic capture stopped", "[INFO] System audio capture stopped"})
        EXPECT_EQ(said.count(QString::fromLatin1(line)), 120) << line << ": one of the sources did not start";
    EXPECT_TRUE(said.filter(QStringLiteral("[ERROR]")).isEmpty()) << said.join(u'\n').toStdString();
}

// Takes are stopped, discarded and restarted while a query to the server is open.
TEST(SoundTakes, endWhileTheirSourcesStart) {
    const test::TemporaryFolder folder;
    const auto video = folder.path() / "t.mp4";
    FakeScreenCapture screen;
    screen.content.displays = {{1, 64, 64}};
    const auto writers = makeAssetWriterFactory();
    const auto converters = makeAudioConverterFactory();
    const test::LogLines lines;
    {
        PulseSound sound;
        RealScreenCapture capture(screen, *writers, sound.audioEngine(), sound.audioHardware(), *converters,
            SystemVersion{15, 0}, [] { return QStringLiteral("granted"); });
        for (int i = 0; i < 100; ++i) {
            screen.firstFrame = std::make_shared<BlankPicture>(std::chrono::steady_clock::now());
            await(capture.start({CaptureKind::display, QStringLiteral("1"), {}}, true, video));
            if (i % 3 == 0)
                await(capture.restartTake(video));
            if (i % 2 == 0)
                await(capture.stop());
            else
                await(capture.discard());
        }
        screen.firstFrame = std::make_shared<BlankPicture>(std::chrono::steady_clock::now());
        await(capture.start({CaptureKind::display, QStringLiteral("1"), {}}, true, video));
    }
    bool ended = false; // with the parts, what the last take still waited for
    EventLoop::current()->post([&] { ended = true; });
    EXPECT_TRUE(waitUntil([&] { return ended; }));
    const QStringList said = lines.all();
    EXPECT_EQ(said.filter(QStringLiteral("Mic capture started")).size(),
        said.filter(QStringLiteral("Mic capture stopped")).size());
    EXPECT_TRUE(said.filter(QStringLiteral("[ERROR]")).isEmpty()) << said.join(u'\n').toStdString();
}

} // namespace
} // namespace tavro
