#include "Capture/RealScreenCapture.h"

#include "Platform/Fake/FakeAssetWriter.h"
#include "Platform/Fake/FakeScreenCapture.h"
#include "Platform/Fake/FakeSound.h"

#include "support/TestSupport.h"

#include <atomic>
#include <thread>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::waitUntil;

// A capture whose files exist, without any encoding.
class RealScreenCaptureTest : public testing::Test {
protected:
    RealScreenCaptureTest() {
        screen.content.displays = {{1, 64, 64}};
        screen.firstFrame = std::make_shared<BlankPicture>(std::chrono::steady_clock::now());
    }

    void start(bool includeMic = true, const char* name = "t.mp4") {
        if (!capture)
            capture = std::make_unique<RealScreenCapture>(screen, writers, engine, hardware, converters,
                system, [] { return QStringLiteral("granted"); });
        screen.firstFrame = std::make_shared<BlankPicture>(std::chrono::steady_clock::now() + 1ms);
        await(capture->start(target, includeMic, folder.path() / name));
        touch(name);
    }
    // Creates the files that the real writers would create.
    void touch(const char* video) {
        test::writeFile(folder.path() / video, "picture");
        if (const auto sound = capture->audioFile())
            test::writeFile(*sound, "sound");
    }
    bool isEmpty() const { return std::filesystem::is_empty(folder.path()); }
    AudioFrame written() const {
        AudioFrame all;
        for (const auto& piece : writers.appended())
            all.insert(all.end(), piece.samples.begin(), piece.samples.end());
        return all;
    }
    void playSystem(float value, std::size_t frames) {
        hardware.deliver(1, std::vector<float>(frames, value));
    }

    test::TemporaryFolder folder;
    FakeScreenCapture screen;
    FakeAssetWriterFactory writers;
    FakeAudioEngine engine;
    FakeAudioHardware hardware;
    FakeAudioConverterFactory converters;
    SystemVersion system;
    const CaptureTargetMeta target{CaptureKind::display, QStringLiteral("1"), QStringLiteral("Display")};
    std::unique_ptr<RealScreenCapture> capture;
};

TEST_F(RealScreenCaptureTest, mixesBothSourcesIntoTheFileBesideTheVideo) {
    start();
    EXPECT_EQ(capture->audioFile(), folder.path() / "t.m4a");
    engine.deliver(0.25F, 48'000);
    playSystem(0.5F, 48'000);
    hardware.waitForCallbacks();
    EXPECT_EQ(await(capture->stop()), folder.path() / "t.mp4");
    EXPECT_EQ(capture->audioFile(), folder.path() / "t.m4a") << "readable after the stop";
    EXPECT_FALSE(engine.hasTap());
    EXPECT_EQ(hardware.alive(), 0);

    const AudioFrame sound = written();
    ASSERT_GE(sound.size(), 16'000u);
    const auto mixed = std::ranges::count(sound, static_cast<std::int16_t>(8191 + 16'383));
    EXPECT_GT(mixed, 15'000) << "both begin within a few milliseconds of each other";
    EXPECT_LE(sound.size(), 16'000u + 1600) << "what belongs together was laid one after the other";
}

TEST_F(RealScreenCaptureTest, endsTheSourcesThenTheSoundFileThenThePicture) {
    start();
    engine.deliver(0.25F, 48'000);
    playSystem(0.5F, 48'000);
    hardware.waitForCallbacks();
    const Promise<void> soundFileEnds;
    writers.holdFinish(soundFileEnds);
    auto stopping = capture->stop();
    ASSERT_TRUE(test::waitUntil([&] { return writers.calls().contains(QStringLiteral("finishWriting")); }));
    EXPECT_FALSE(engine.hasTap());
    EXPECT_EQ(hardware.alive(), 0);
    EXPECT_GE(written().size(), 16'000u) << "all that the sources gave is in the file";
    EXPECT_FALSE(screen.calls.contains(QStringLiteral("stopCapture")));
    soundFileEnds.resolve();
    await(std::move(stopping));
    EXPECT_TRUE(screen.calls.contains(QStringLiteral("stopCapture")));
}

TEST_F(RealScreenCaptureTest, recordsNoSoundUnlessItIsWanted) {
    start();
    await(capture->stop());
    start(false);
    EXPECT_EQ(capture->audioFile(), std::nullopt);
    EXPECT_FALSE(engine.hasTap());
    EXPECT_EQ(hardware.alive(), 0);
    await(capture->stop());
    EXPECT_EQ(capture->audioFile(), std::nullopt);
}

TEST_F(RealScreenCaptureTest, goesOnWithWhatIsLeft) {
    enum class Microphone { works, isMissing, doesNotStart };
    using enum Microphone;
    const struct {
        Microphone microphone;
        QString failing; // of the computer's sound
        SystemVersion system;
        std::int16_t expected;
    } cases[] = {
        {works, QStringLiteral("createProcessTap"), {14, 2}, 8191},
        {works, QStringLiteral("createAggregateDevice"), {14, 2}, 8191},
        {works, QStringLiteral("createIOProc"), {14, 2}, 8191},
        {works, QStringLiteral("startDevice"), {14, 2}, 8191},
        {works, {}, {14, 1}, 8191},
        {isMissing, {}, {14, 2}, 16'383},
        {doesNotStart, {}, {14, 2}, 16'383},
        {isMissing, QStringLiteral("createProcessTap"), {14, 2}, 0},
        {doesNotStart, QStringLiteral("startDevice"), {14, 2}, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.failing.toStdString());
        system = c.system;
        capture.reset();
        engine.format.channelCount = c.microphone == isMissing ? 0 : 1;
        engine.startError = c.microphone == doesNotStart
                                ? std::make_exception_ptr(PlatformError(QStringLiteral("Test"), 1))
                                : nullptr;
        hardware.failures.clear();
        if (!c.failing.isEmpty())
            hardware.failures[c.failing] = 7;
        const auto before = written().size();
        start();
        EXPECT_EQ(capture->audioFile(), folder.path() / "t.m4a");
        EXPECT_EQ(engine.hasTap(), c.microphone == works);
        const bool plays = c.failing.isEmpty() && c.system >= SystemVersion{14, 2};
        EXPECT_EQ(hardware.alive(), plays ? 3 : 0);
        engine.deliver(0.25F, 4800);
        if (plays) {
            playSystem(0.5F, 4800);
            hardware.waitForCallbacks();
        }
        await(capture->stop());
        EXPECT_EQ(hardware.alive(), 0);
        EXPECT_FALSE(engine.hasTap());
        const AudioFrame all = written();
        EXPECT_EQ(std::count(all.begin() + static_cast<std::ptrdiff_t>(before), all.end(), c.expected),
            c.expected == 0 ? 0 : 1600);
    }
}

TEST_F(RealScreenCaptureTest, hasNoSoundFileWhereItCannotBeOpened) {
    system = {15, 0}; // no asset writer writes the video
    writers.setError(std::make_exception_ptr(PlatformError(QStringLiteral("Test"), 1)));
    writers.fail(FakeAssetWriterFactory::Step::makeAssetWriter);
    start();
    EXPECT_EQ(capture->audioFile(), std::nullopt);
    EXPECT_FALSE(engine.hasTap());
    EXPECT_EQ(hardware.alive(), 0);
    EXPECT_EQ(await(capture->stop()), folder.path() / "t.mp4");
}

TEST_F(RealScreenCaptureTest, leavesNothingOfATakeThatIsThrownAway) {
    start();
    await(capture->discard());
    EXPECT_TRUE(isEmpty());

    start();
    await(capture->restartTake(folder.path() / "other.mp4"));
    touch("other.mp4");
    EXPECT_EQ(capture->audioFile(), folder.path() / "other.m4a");
    await(capture->stop());
    EXPECT_FALSE(exists(folder.path() / "t.mp4"));
    EXPECT_FALSE(exists(folder.path() / "t.m4a"));
    EXPECT_TRUE(exists(folder.path() / "other.m4a"));
    await(capture->discard());
    std::filesystem::remove(folder.path() / "other.mp4");
    EXPECT_TRUE(isEmpty());
}

TEST_F(RealScreenCaptureTest, leavesNothingOfTwoTakesThrownAwayUnderTwoNames) {
    start();
    await(capture->restartTake(folder.path() / "second.mp4"));
    touch("second.mp4");
    await(capture->restartTake(folder.path() / "third.mp4"));
    touch("third.mp4");
    await(capture->discard());
    EXPECT_TRUE(isEmpty());
}

// The video's time zero is its first picture, also when the second one comes before anyone asks.
TEST_F(RealScreenCaptureTest, laysTheSoundAgainstTheFirstPicture) {
    const auto recordFrom = [this](std::chrono::steady_clock::time_point first) {
        screen.firstFrame = std::make_shared<BlankPicture>(first);
        screen.secondFrame = std::make_shared<BlankPicture>(std::chrono::steady_clock::now());
        const auto before = written().size();
        if (!capture->audioFile())
            await(capture->start(target, true, folder.path() / "t.mp4"));
        else
            await(capture->restartTake(folder.path() / "t.mp4"));
        engine.deliver(0.25F, 4800);
        playSystem(0.F, 4800);
        hardware.waitForCallbacks();
        await(capture->stop());
        const AudioFrame all = written();
        const auto begin = all.begin() + static_cast<std::ptrdiff_t>(before);
        return std::find(begin, all.end(), std::int16_t{8191}) - begin;
    };
    for (const SystemVersion version : {SystemVersion{14, 2}, SystemVersion{15, 0}}) {
        system = version;
        capture = std::make_unique<RealScreenCapture>(
            screen, writers, engine, hardware, converters, system, [] { return QStringLiteral("granted"); });
        EXPECT_GE(recordFrom(std::chrono::steady_clock::now() - 2s), 2 * 16'000);
        capture->pause(); // ends with the take
        // During a pause the asset writer takes no picture, the recording output does.
        const auto lead = recordFrom(std::chrono::steady_clock::now() - 2s);
        EXPECT_EQ(lead < 16'000, version.major < 15) << lead;
    }
}

// The new take has no sound that replaces the old one's.
TEST_F(RealScreenCaptureTest, leavesNoSoundOfARestartedTakeWithoutSound) {
    system = {15, 0};
    start();
    writers.setError(std::make_exception_ptr(PlatformError(QStringLiteral("Test"), 1)));
    writers.fail(FakeAssetWriterFactory::Step::makeAssetWriter);
    await(capture->restartTake(folder.path() / "t.mp4"));
    await(capture->stop());
    EXPECT_FALSE(exists(folder.path() / "t.m4a"));
}

TEST_F(RealScreenCaptureTest, beginsEachTakeWithItsOwnSound) {
    start();
    engine.deliver(0.25F, 9600); // a remainder: the computer's sound is behind
    playSystem(0.25F, 480);
    hardware.waitForCallbacks();
    await(capture->restartTake(folder.path() / "t.mp4"));
    const auto before = written().size();
    engine.deliver(0.5F, 4800);
    playSystem(0.F, 4800);
    hardware.waitForCallbacks();
    await(capture->stop());
    const AudioFrame all = written();
    ASSERT_GT(all.size(), before);
    for (auto i = before; i < all.size(); ++i)
        ASSERT_TRUE(all[i] == 0 || all[i] == 16'383) << all[i];
}

TEST_F(RealScreenCaptureTest, restartsNothingThatNeverStarted) {
    capture = std::make_unique<RealScreenCapture>(
        screen, writers, engine, hardware, converters, system, [] { return QStringLiteral("granted"); });
    await(capture->restartTake(folder.path() / "t.mp4"));
    await(capture->discard());
    EXPECT_TRUE(screen.calls.isEmpty());
    EXPECT_EQ(test::errorOf([&] { await(capture->stop()); }).code, 2);
}

TEST_F(RealScreenCaptureTest, startsAgainAfterAFailedStart) {
    screen.failing[FakeScreenCapture::Step::startCapture] =
        std::make_exception_ptr(PlatformError(QStringLiteral("Test"), 9));
    EXPECT_EQ(test::errorOf([&] { start(); }).code, 9);
    EXPECT_FALSE(engine.hasTap());
    screen.failing.clear();
    await(capture->restartTake(folder.path() / "t.mp4"));
    EXPECT_EQ(capture->audioFile(), folder.path() / "t.m4a");
    await(capture->discard());
}

TEST_F(RealScreenCaptureTest, pausesThePictureAlone) {
    start();
    const auto pictures = [this] {
        return std::ranges::count_if(
            writers.appended(), [](const auto& piece) { return piece.frame != nullptr; });
    };
    const auto before = pictures();
    capture->pause();
    capture->pause();
    screen.show(std::make_shared<BlankPicture>(std::chrono::steady_clock::now()));
    EXPECT_EQ(pictures(), before);
    engine.deliver(0.25F, 4800);
    playSystem(0.F, 4800);
    capture->resume();
    screen.show(std::make_shared<BlankPicture>(std::chrono::steady_clock::now()));
    EXPECT_EQ(pictures(), before + 1);
    hardware.waitForCallbacks();
    await(capture->stop());
    EXPECT_EQ(std::ranges::count(written(), 8191), 1600);
}

TEST_F(RealScreenCaptureTest, tellsTheLevelOnTheMainThread) {
    start();
    double highest = 0;
    const auto here = std::this_thread::get_id();
    capture->setLevelHandler([&](double level) {
        EXPECT_EQ(std::this_thread::get_id(), here);
        highest = std::max(highest, level);
    });
    engine.deliver(0.9F, 48'000);
    playSystem(0.F, 48'000);
    EXPECT_TRUE(waitUntil([&] { return highest > 0.9; }));
    await(capture->discard());
    highest = -1;
    std::this_thread::sleep_for(120ms);
    EXPECT_TRUE(waitUntil([] { return true; }));
    EXPECT_EQ(highest, -1);
}

// A source of a silent server joins at its place when the server answers; the other one records meanwhile.
TEST_F(RealScreenCaptureTest, waitsForNoSource) {
    const auto answer = engine.silence.emplace();
    start();
    EXPECT_FALSE(engine.hasTap());
    double highest = 0;
    capture->setLevelHandler([&](double level) { highest = std::max(highest, level); });
    playSystem(0.25F, 3 * 48'000);
    hardware.waitForCallbacks();
    EXPECT_TRUE(waitUntil([&] { return written().size() >= 2 * 16'000 && highest > 0; }))
        << "the other source waits";

    engine.sinceOrigin = -3s; // its line begins some three seconds after the take
    answer.resolve();
    EXPECT_TRUE(waitUntil([&] { return engine.hasTap(); }));
    engine.deliver(0.5F, 48'000);
    await(capture->stop());
    const AudioFrame sound = written();
    const auto first = std::ranges::find(sound, std::int16_t{16'383}) - sound.begin();
    EXPECT_GE(first, 3 * 16'000);
    EXPECT_EQ(std::ranges::count(sound, 16'383), 16'000) << "alone, after the end of the other";
    EXPECT_EQ(std::ranges::count(sound, 8191), 3 * 16'000) << "alone, before the beginning of the first";
}

TEST_F(RealScreenCaptureTest, endsWhileItsSourcesStart) {
    enum class End { stop, discard, restart, destruction };
    for (const End end : {End::stop, End::discard, End::restart, End::destruction}) {
        const auto format = engine.silence.emplace();
        const auto output = hardware.silence.emplace();
        start();
        engine.calls.clear();
        hardware.calls.clear();
        if (end == End::stop)
            EXPECT_EQ(await(capture->stop()), folder.path() / "t.mp4");
        else if (end == End::discard)
            await(capture->discard());
        else if (end == End::restart)
            await(capture->restartTake(folder.path() / "t.mp4")); // its own sources start at once
        else
            capture.reset();
        const int running = end == End::restart ? 1 : 0;
        EXPECT_EQ(engine.hasTap(), running == 1);
        const QStringList engineCalls = engine.calls, hardwareCalls = hardware.calls;
        format.resolve();
        output.resolve();
        bool answered = false; // after the answers
        EventLoop::current()->post([&] { answered = true; });
        EXPECT_TRUE(waitUntil([&] { return answered; }));
        EXPECT_EQ(engine.calls, engineCalls) << "a start that nobody wants went on";
        EXPECT_EQ(hardware.calls, hardwareCalls);
        EXPECT_EQ(hardware.alive(), 3 * running);
        if (capture)
            await(capture->discard());
    }
}

// Both sources deliver samples on their own threads while takes start and stop.
TEST_F(RealScreenCaptureTest, startsAndStopsAHundredTimes) {
    std::atomic<bool> ended = false;
    std::jthread microphone([&] {
        while (!ended) {
            engine.deliver(0.25F, 480);
            std::this_thread::sleep_for(200us);
        }
    });
    for (int i = 0; i < 100; ++i) {
        start();
        playSystem(0.5F, 960);
        if (i % 3 == 0)
            await(capture->restartTake(folder.path() / "t.mp4"));
        playSystem(0.5F, 960);
        if (i % 2 == 0)
            await(capture->stop());
        else
            await(capture->discard());
        EXPECT_EQ(hardware.alive(), 0);
    }
    ended = true;
}

} // namespace
} // namespace tavro
