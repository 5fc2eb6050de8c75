#include "Capture/ScreenRecorder.h"
#include "Platform/Fake/FakeAssetWriter.h"
#include "Platform/Fake/FakeScreenCapture.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;
using Step = FakeScreenCapture::Step;

class PlainFrame final : public VideoFrame {
public:
    PlainFrame(std::chrono::microseconds time, std::uint64_t number) {
        planes[0] = planes[1] = planes[2] = &pixel;
        presentationTime = time;
        sequence = number;
        damage = {{0, 0, 2, 2}};
    }

private:
    std::uint8_t pixel = 0;
};

VideoFramePtr frameAt(std::chrono::microseconds time, std::uint64_t number) {
    return std::make_shared<PlainFrame>(time, number);
}

const CaptureTargetMeta display{CaptureKind::display, QStringLiteral("1"), {}};
constexpr SystemVersion writing{14, 2}, withOutput{15, 0};

struct ScreenRecorderTest : ::testing::Test {
    test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "take.mp4";
    FakeScreenCapture screen;
    FakeAssetWriterFactory writers;
    std::unique_ptr<ScreenRecorder> recorder;

    void make(SystemVersion system) {
        screen.content = {{{1, 1920, 1080}}, {}};
        recorder = std::make_unique<ScreenRecorder>(
            screen, writers, system, [] { return QStringLiteral("granted"); });
    }
    void start() { await(recorder->start(display, true, file)); }
    void startWriting() { // the first picture is of 1 s
        make(writing);
        screen.firstFrame = frameAt(1s, 0);
        start();
    }
    std::vector<std::chrono::microseconds> writtenTimes() const {
        std::vector<std::chrono::microseconds> times;
        for (const auto& appended : writers.appended())
            times.push_back(appended.frame->presentationTime);
        return times;
    }
};

TEST_F(ScreenRecorderTest, writesFramesItselfOnOlderSystems) {
    make(writing);
    test::writeFile(file, "an older take");
    const test::LogLines lines;
    screen.firstFrame = frameAt(5s, 0);
    screen.lastFrame = frameAt(9s, 3);
    start();
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(lines.all(),
        (QStringList{
            QStringLiteral("[INFO] recorder.start: target=display/1 includeMic=true screenGrant=granted"),
            QStringLiteral(
                "[INFO] filter: requested kind=display id=1; available displays=[\"1\"] windows=0"),
            QStringLiteral("[INFO] recorder.start: using AssetWriter fallback (platform 13–14)"),
            QStringLiteral("[INFO] recorder.start: capture started OK")}));
    EXPECT_EQ(screen.calls,
        (QStringList{QStringLiteral("shareableContent"), QStringLiteral("makeStream display/1 1920x1080 6"),
            QStringLiteral("addStreamOutput"), QStringLiteral("startCapture")}));
    EXPECT_EQ(screen.configuration.minimumFrameInterval, 1'000'000us / 60);
    screen.show(frameAt(6s, 1));
    screen.show(nullptr);
    screen.show(std::make_shared<VideoFrame>()); // not valid
    EXPECT_EQ(await(recorder->stop()), file);
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{5s, 6s, 9s}));
    EXPECT_EQ(writers.calls(),
        (QStringList{QStringLiteral("makeAssetWriter take.mp4"), QStringLiteral("addVideoInput 1920 1080"),
            QStringLiteral("startWriting"), QStringLiteral("startSession 5000000/1000000"),
            QStringLiteral("append"), QStringLiteral("append"), QStringLiteral("append"),
            QStringLiteral("markAsFinished"), QStringLiteral("finishWriting")}));
    EXPECT_EQ(recorder->statistics().framesDelivered, 7u);
}

TEST_F(ScreenRecorderTest, leavesTheFileToTheRecordingOutputFrom15On) {
    make(withOutput);
    const test::LogLines lines;
    screen.firstFrame = frameAt(5s, 0);
    start();
    EXPECT_TRUE(lines.contains(
        QStringLiteral("[INFO] recorder.start: using RecordingOutput (platform 15+) → take.mp4")));
    EXPECT_TRUE(screen.calls.contains(QStringLiteral("makeRecordingOutput take.mp4")));
    EXPECT_TRUE(screen.calls.contains(QStringLiteral("addRecordingOutput")));
    recorder->setPaused(true);
    const auto next = frameAt(6s, 1);
    screen.show(next);
    EXPECT_EQ(recorder->currentSampleBuffer(), next);
    EXPECT_EQ(await(recorder->stop()), file);
    EXPECT_TRUE(writers.calls().isEmpty());
}

TEST_F(ScreenRecorderTest, tellsOfDroppedFramesWhenThereAreAny) {
    struct Case {
        StreamStatistics ofStream;
        int refused;
        QString told; ///< empty: nothing
    };
    const QString line = QStringLiteral("[INFO] recorder: %1 frames were dropped; the machine was busy");
    for (const auto& [ofStream, refused, told] :
        {Case{{7, 0}, 0, {}}, Case{{7, 2}, 0, line.arg(QStringLiteral("2 of 9"))},
            Case{{7, 2}, 3, line.arg(QStringLiteral("5 of 9"))}}) {
        make(writing);
        const test::LogLines lines;
        screen.statistics = ofStream;
        screen.firstFrame = frameAt(1s, 0);
        start();
        writers.fail(FakeAssetWriterFactory::Step::append);
        for (int i = 1; i <= refused; ++i)
            screen.show(frameAt(1s + i * 10ms, static_cast<std::uint64_t>(i)));
        writers.succeed(FakeAssetWriterFactory::Step::append);
        await(recorder->stop());
        EXPECT_EQ(lines.all().filter(QStringLiteral("dropped")),
            told.isEmpty() ? QStringList() : QStringList{told});
    }
}

TEST_F(ScreenRecorderTest, keepsAPauseOutOfTheFileAndTheLength) {
    startWriting();
    recorder->setPaused(true);
    screen.show(frameAt(2s, 1));
    recorder->setPaused(false);
    screen.show(frameAt(3s, 2));
    recorder->setPaused(true);
    screen.show(frameAt(4s, 3));
    screen.lastFrame = frameAt(5s, 4);
    await(recorder->stop());
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 3s, 5s}));
    const auto& held = *writers.appended().back().frame; // the picture from before the pause, repeated
    EXPECT_EQ(held.planes[0], writers.appended()[1].frame->planes[0]);
    EXPECT_EQ(held.sequence, 3u);
    EXPECT_TRUE(held.damage.empty());
}

TEST_F(ScreenRecorderTest, holdsThePictureThatWasBeingDrawnWhenThePauseBegan) {
    startWriting();
    screen.canRead = false;
    recorder->setPaused(true);
    const auto drawn = frameAt(2s, 1);
    screen.show(drawn);
    screen.show(frameAt(3s, 2));
    screen.lastFrame = frameAt(4s, 3);
    await(recorder->stop());
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 4s}));
    EXPECT_EQ(writers.appended().back().frame->planes[0], drawn->planes[0]);
}

TEST_F(ScreenRecorderTest, showsNothingOfAPauseThatAnotherFollowsAtOnce) {
    startWriting();
    recorder->setPaused(true);
    screen.show(frameAt(2s, 1));
    recorder->setPaused(false);
    recorder->setPaused(true);
    screen.lastFrame = frameAt(3s, 2);
    await(recorder->stop());
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 3s}));
    EXPECT_EQ(writers.appended().back().frame->planes[0], screen.firstFrame->planes[0]);
}

TEST_F(ScreenRecorderTest, holdsNoPictureOutsideAPause) {
    startWriting();
    for (const bool paused : {true, false})
        recorder->setPaused(paused);
    screen.show(frameAt(2s, 1));
    EXPECT_EQ(screen.firstFrame.use_count(), 2)
        << "the screen's and the writer's: the capture may draw over it";
}

TEST_F(ScreenRecorderTest, repeatsThePictureOfALongPauseNowAndThen) {
    startWriting();
    recorder->setPaused(true);
    for (std::uint64_t minute = 1; minute <= 45; ++minute)
        screen.show(frameAt(minute * 60s, minute));
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 11min, 21min, 31min, 41min}));
    EXPECT_EQ(writers.appended().back().frame->planes[0], screen.firstFrame->planes[0]);
}

TEST_F(ScreenRecorderTest, aDiskThatWasFullFromTheStartHasNoPictures) {
    startWriting();
    test::writeFile(file, "");
    writers.setError(std::make_exception_ptr(std::runtime_error("No space left on device")));
    writers.fail(FakeAssetWriterFactory::Step::write);
    EXPECT_EQ(test::errorOf([&] { await(recorder->stop()); }).code, 3);
    EXPECT_FALSE(std::filesystem::exists(file));
}

TEST_F(ScreenRecorderTest, startsUnpausedWithTheFirstPicture) {
    make(writing);
    screen.firstFrame = frameAt(1s, 0);
    recorder->setPaused(true); // left over from the take before
    start();
    EXPECT_FALSE(recorder->isPaused());
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s}));
}

TEST_F(ScreenRecorderTest, dropsFramesWhileTheWriterIsBusy) {
    startWriting();
    writers.fail(FakeAssetWriterFactory::Step::append);
    screen.show(frameAt(2s, 1));
    writers.succeed(FakeAssetWriterFactory::Step::append);
    screen.show(frameAt(3s, 2));
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 3s}));
}

TEST_F(ScreenRecorderTest, tellsOnceATakeThatItsFileIsWrittenNoMore) {
    make(writing);
    QStringList told;
    recorder->onWritingFailed = [&](auto reason) { told << describe(reason).localizedDescription; };
    writers.setError(std::make_exception_ptr(std::runtime_error("No space left on device")));
    for (int take = 1; take <= 2; ++take) {
        writers.succeed(FakeAssetWriterFactory::Step::write);
        screen.firstFrame = frameAt(1s, 0);
        start();
        writers.fail(FakeAssetWriterFactory::Step::append);
        screen.show(frameAt(2s, 1)); // only busy
        writers.succeed(FakeAssetWriterFactory::Step::append);
        EXPECT_EQ(told.size(), take - 1);
        writers.fail(FakeAssetWriterFactory::Step::write);
        screen.show(frameAt(3s, 2));
        screen.show(frameAt(4s, 3));
        EXPECT_EQ(told, QStringList(take, QStringLiteral("No space left on device")));
        await(recorder->discard());
    }
}

TEST_F(ScreenRecorderTest, tellsOnceATakeThatTheDesktopStoppedSharing) {
    make(writing);
    int told = 0;
    recorder->onInterrupted = [&] { ++told; };
    screen.interrupt();
    EXPECT_EQ(told, 0) << "without a take";
    for (int take = 1; take <= 2; ++take) {
        screen.firstFrame = frameAt(5s, 0);
        screen.lastFrame = frameAt(9s, 1);
        start();
        screen.interrupt();
        screen.interrupt();
        EXPECT_EQ(told, take);
        EXPECT_EQ(await(recorder->stop()), file);
        EXPECT_EQ(writtenTimes().back(), 9s);
        screen.interrupt();
        EXPECT_EQ(told, take);
    }
    recorder.reset();
    screen.interrupt();
}

TEST_F(ScreenRecorderTest, keepsWhatIsWrittenWhenTheStreamFails) {
    for (const SystemVersion system : {writing, withOutput}) {
        make(system);
        QStringList told;
        recorder->onWritingFailed = [&](auto reason) { told << describe(reason).localizedDescription; };
        for (int take = 1; take <= 2; ++take) {
            screen.firstFrame = frameAt(1s, 0);
            start();
            screen.fail(std::make_exception_ptr(std::runtime_error("no memory")));
            EXPECT_EQ(told, QStringList(take, QStringLiteral("no memory")));
            EXPECT_EQ(await(recorder->stop()), file);
        }
    }
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 1s}));
}

TEST_F(ScreenRecorderTest, cancelsAWriterThatWroteNothing) {
    make(writing);
    start();
    test::writeFile(file, "");
    const auto error = test::errorOf([&] { await(recorder->stop()); });
    EXPECT_EQ(error.domain, u"Tavro.ScreenRecorder");
    EXPECT_EQ(error.code, 3);
    EXPECT_EQ(error.localizedDescription, u"No picture was recorded");
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(writers.calls().last(), u"cancel");
    EXPECT_EQ(test::errorOf([&] { await(recorder->stop()); }).code, 2); // idle again
}

TEST_F(ScreenRecorderTest, saysWhenTheTargetIsNotThere) {
    make(writing);
    screen.content.displays.clear();
    const test::LogLines lines;
    const auto error = test::errorOf([&] { start(); });
    EXPECT_EQ(error.domain, u"Tavro.ScreenRecorder");
    EXPECT_EQ(error.code, 1);
    EXPECT_EQ(error.localizedDescription, u"Capture target not found");
    EXPECT_EQ(lines.all().last(),
        u"[ERROR] recorder.start: capture target not found (filter nil) — aborting session start");
    EXPECT_EQ(screen.calls, QStringList{QStringLiteral("shareableContent")});
    await(recorder->discard());
}

TEST_F(ScreenRecorderTest, passesFailuresOfTheStartOnAndCanStartAgain) {
    const auto why =
        std::make_exception_ptr(PlatformError(QStringLiteral("Tavro.X11"), 9, QStringLiteral("broken")));
    const struct {
        SystemVersion system;
        std::optional<Step> step; // else the writer cannot be created
    } cases[] = {
        {writing, Step::shareableContent},
        {writing, Step::addStreamOutput},
        {writing, std::nullopt},
        {withOutput, Step::makeRecordingOutput},
        {withOutput, Step::addRecordingOutput},
        {writing, Step::startCapture},
        {withOutput, Step::startCapture},
    };
    for (const auto& c : cases) {
        make(c.system);
        const test::LogLines lines;
        if (c.step)
            screen.failing[*c.step] = why;
        else
            writers.fail(FakeAssetWriterFactory::Step::makeAssetWriter);
        writers.setError(why);
        EXPECT_EQ(test::errorOf([&] { start(); }).code, 9);
        const bool logged =
            lines.contains(QStringLiteral("[ERROR] recorder.start: stream.startCapture() failed: broken. If "
                                          "you just granted Screen Recording, QUIT "
                                          "and relaunch Tavro — the grant only applies to a fresh launch."));
        EXPECT_EQ(logged, c.step == Step::startCapture);
        await(recorder->discard());
        screen.failing.clear();
        writers.succeed(FakeAssetWriterFactory::Step::makeAssetWriter);
        screen.firstFrame = frameAt(1s, 0);
        start();
        EXPECT_EQ(await(recorder->stop()), file);
    }
}

TEST_F(ScreenRecorderTest, aUserWhoDoesNotShareIsNoFailure) {
    make(writing);
    screen.failing[Step::startCapture] = std::make_exception_ptr(CaptureCancelled());
    const test::LogLines lines;
    EXPECT_THROW(start(), CaptureCancelled);
    EXPECT_TRUE(lines.all().filter(QStringLiteral("[ERROR]")).isEmpty());
    await(recorder->discard());
    screen.failing.clear();
    screen.firstFrame = frameAt(5s, 0);
    start();
    EXPECT_EQ(await(recorder->stop()), file);
}

TEST_F(ScreenRecorderTest, keepsItsStateWhenTheStreamCannotBeStopped) {
    make(writing);
    EXPECT_EQ(test::errorOf([&] { await(recorder->stop()); }).code, 2);
    screen.firstFrame = frameAt(1s, 0);
    start();
    screen.failing[Step::stopCapture] =
        std::make_exception_ptr(PlatformError(QStringLiteral("Tavro.X11"), 9, QStringLiteral("stuck")));
    EXPECT_EQ(test::errorOf([&] { await(recorder->stop()); }).code, 9);
    screen.show(frameAt(2s, 1));
    screen.failing.clear();
    EXPECT_EQ(await(recorder->stop()), file);
    EXPECT_EQ(writtenTimes(), (std::vector<std::chrono::microseconds>{1s, 2s}));
}

TEST_F(ScreenRecorderTest, discardsWhateverThereIs) {
    make(writing);
    await(recorder->discard()); // nothing
    screen.firstFrame = frameAt(1s, 0);
    start();
    test::writeFile(file, "a take");
    screen.failing[Step::stopCapture] =
        std::make_exception_ptr(PlatformError(QStringLiteral("Tavro.X11"), 9));
    await(recorder->discard());
    EXPECT_FALSE(std::filesystem::exists(file));
    EXPECT_EQ(writers.calls().last(), u"cancel");
    EXPECT_EQ(test::errorOf([&] { await(recorder->stop()); }).code, 2);
}

} // namespace
} // namespace tavro
