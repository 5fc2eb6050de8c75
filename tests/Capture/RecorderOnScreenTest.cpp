#include "Capture/ScreenRecorder.h"
#include "Platform/Media/Media.h"
#include "Platform/X11/X11ScreenCapture.h"
#include "X11/VirtualScreen.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;

// Both ways of writing the file, on a real screen.
struct RecorderOnScreen : ::testing::TestWithParam<SystemVersion> {
    test::TemporaryFolder folder;
    const std::filesystem::path file = folder.path() / "take.mp4";
    test::VirtualScreen screen{1920, 1080};
    std::unique_ptr<AssetWriterFactory> writers = makeAssetWriterFactory();
    std::unique_ptr<ScreenCaptureService> service = makeX11ScreenCapture(*writers, screen.display());
    ScreenRecorder recorder{*service, *writers, GetParam(), [] { return QStringLiteral("granted"); }};
    const CaptureTargetMeta display{
        CaptureKind::display, QString::number(screen.setMonitor("M", {0, 0, 1920, 1080})), {}};

    std::chrono::microseconds lengthOf(const std::filesystem::path& video) {
        const auto asset = makeMediaLibrary()->openAsset(video);
        EXPECT_EQ(asset->trackCount(MediaType::video), 1);
        return asset->duration();
    }
};

TEST_P(RecorderOnScreen, makesAFileAsLongAsTheTake) {
    for (const bool pausedAtTheEnd : {false, true}) {
        await(recorder.start(display, false, file));
        const auto first = *recorder.beginning();
        for (int i = 0; i < 30; ++i) {
            screen.fill(screen.root(), {i * 20, 100, 100, 100}, {i * 8, 255 - i * 8, 128});
            test::waitUntil([] { return false; }, 20ms);
        }
        recorder.setPaused(pausedAtTheEnd);
        test::waitUntil([] { return false; }, 700ms);
        const auto take = std::chrono::steady_clock::now() - first;
        EXPECT_EQ(await(recorder.stop()), file);
        EXPECT_NEAR(double(lengthOf(file).count()), double(take / 1us), 100'000);
        EXPECT_EQ(recorder.currentSampleBuffer(), nullptr) << "nobody's screen is kept for longer";
        EXPECT_GE(recorder.statistics().framesDelivered, 10u);
    }
}

TEST_P(RecorderOnScreen, discardLeavesNothing) {
    await(recorder.start(display, false, file));
    await(recorder.discard());
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_P(RecorderOnScreen, aMissingTargetLeavesNothing) {
    const CaptureTargetMeta nowhere{CaptureKind::window, QStringLiteral("4242"), {}};
    EXPECT_EQ(test::errorOf([&] { await(recorder.start(nowhere, false, file)); }).code, 1);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

INSTANTIATE_TEST_SUITE_P(BothPaths, RecorderOnScreen,
    ::testing::Values(SystemVersion{14, 2}, SystemVersion{15, 0}),
    [](const auto& version) { return "system" + std::to_string(version.param.major); });

} // namespace
} // namespace tavro
