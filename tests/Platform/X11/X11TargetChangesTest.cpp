#include "Platform/X11/X11ScreenCapture.h"
#include "X11/VirtualScreen.h"

#include "support/TestSupport.h"

#include <csignal>
#include <sys/resource.h>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::Color;
using test::Recording;
using test::VirtualScreen;
using test::waitUntil;
using Kind = ContentFilter::Kind;

constexpr Color white{255, 255, 255}, black{0, 0, 0}, red{255, 0, 0}, green{0, 255, 0}, blue{0, 0, 255};

class NoWriters final : public AssetWriterFactory {
    std::unique_ptr<AssetWriter> makeAssetWriter(const std::filesystem::path&, FileType) override {
        return nullptr;
    }
};

struct X11TargetChanges : ::testing::Test {
    VirtualScreen screen{1920, 1080};
    NoWriters writers;
    std::unique_ptr<ScreenCaptureService> service = makeX11ScreenCapture(writers, screen.display());

    bool hasLine(const test::LogLines& lines, const QString& part) {
        return !lines.all().filter(part).isEmpty();
    }
};

TEST_F(X11TargetChanges, aCoveredWindowShowsItsOwnContent) {
    const auto window = screen.openWindow({100, 100, 960, 540}, red);
    screen.openWindow({0, 0, 1000, 1000}, blue);
    Recording recording(*service, {Kind::window, window});
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
    screen.fill(window, {0, 0, 480, 540}, green);
    EXPECT_TRUE(recording.waitForColor(400, 540, green));
    EXPECT_TRUE(test::isNear(recording.at(1500, 540), red));
    EXPECT_TRUE(test::samePicture(recording.latest(), *test::freshPicture(*service, {Kind::window, window})));
}

TEST_F(X11TargetChanges, aResizedWindowIsFittedAgain) {
    const auto window = screen.openWindow({100, 100, 960, 540}, red);
    Recording recording(*service, {Kind::window, window});
    for (const auto& [width, height, bar] :
        {std::tuple{300, 540, true}, {641, 360, false}, {1, 1, true}, {1800, 900, false}}) {
        screen.resize(window, width, height);
        screen.fill(window, {0, 0, width, height}, green);
        EXPECT_TRUE(recording.waitForColor(960, 540, green)) << width;
        EXPECT_TRUE(recording.waitForColor(20, 540, bar ? black : green)) << width;
        screen.fill(window, {0, 0, width, height}, white);
        EXPECT_TRUE(recording.waitForColor(960, 540, white)) << width;
    }
}

TEST_F(X11TargetChanges, aHiddenWindowKeepsItsPictureAndComesBack) {
    const test::LogLines lines;
    const auto window = screen.openWindow({100, 100, 960, 540}, red);
    Recording recording(*service, {Kind::window, window});
    screen.unmap(window);
    ASSERT_TRUE(recording.waitForFrames(2));
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("window %1 is not there any more").arg(window)));
    screen.map(window);
    screen.fill(window, {0, 0, 960, 540}, green);
    EXPECT_TRUE(recording.waitForColor(960, 540, green));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("window %1 is there again").arg(window)));
}

TEST_F(X11TargetChanges, aWindowTooLargeForTheMemoryKeepsItsPicture) {
    const test::LogLines lines;
    const auto window = screen.openWindow({100, 100, 960, 540}, red);
    Recording recording(*service, {Kind::window, window});
    rlimit usual{};
    ::getrlimit(RLIMIT_FSIZE, &usual);
    const auto ignored = ::signal(SIGXFSZ, SIG_IGN);
    const rlimit little{1 << 20, usual.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &little);
    screen.resize(window, 1800, 900);
    EXPECT_TRUE(waitUntil([&] { return hasLine(lines, QStringLiteral("No memory shared")); }));
    EXPECT_TRUE(recording.waitForFrames(3)); // takes some seconds
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
    EXPECT_EQ(lines.all().filter(QStringLiteral("No memory shared")).size(), 1);
    screen.fill(window, {0, 0, 1800, 900}, green);
    ::setrlimit(RLIMIT_FSIZE, &usual);
    ::signal(SIGXFSZ, ignored);
    EXPECT_TRUE(recording.waitForColor(960, 540, green)); // tried again without an event
    EXPECT_FALSE(hasLine(lines, QStringLiteral("is there again")));
}

TEST_F(X11TargetChanges, aClosedWindowsPictureStays) {
    const auto window = screen.openWindow({100, 100, 960, 540}, red);
    Recording recording(*service, {Kind::window, window});
    screen.destroy(window);
    ASSERT_TRUE(recording.waitForFrames(2));
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
    recording.stop();
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
}

TEST_F(X11TargetChanges, aMonitorMovesChangesItsModeAndDisappears) {
    const test::LogLines lines;
    screen.openWindow({0, 0, 960, 1080}, red);
    screen.openWindow({960, 0, 960, 1080}, green);
    const auto display = screen.setMonitor("M", {0, 0, 960, 540});
    Recording recording(*service, {Kind::display, display});
    EXPECT_TRUE(test::isNear(recording.at(1000, 540), red));
    screen.setMonitor("M", {960, 0, 960, 540}); // moved
    EXPECT_TRUE(recording.waitForColor(1000, 540, green));
    screen.setMonitor("M", {960, 0, 600, 600}); // resized
    EXPECT_TRUE(recording.waitForColor(100, 540, black));
    EXPECT_TRUE(test::isNear(recording.at(960, 540), green));
    screen.removeMonitor("M");
    ASSERT_TRUE(recording.waitForFrames(2));
    EXPECT_TRUE(test::isNear(recording.at(960, 540), green));
    screen.setMonitor("M", {0, 0, 960, 540});
    EXPECT_TRUE(recording.waitForColor(100, 540, red));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("display %1 is not there any more").arg(display)));
    EXPECT_TRUE(hasLine(lines, QStringLiteral("display %1 is now 600×600").arg(display)));
}

TEST_F(X11TargetChanges, theScreenShrinksBelowTheMonitor) {
    screen.fill(screen.root(), {0, 0, 1920, 1080}, red);
    const auto display = screen.setMonitor("M", {0, 0, 1920, 1080});
    Recording recording(*service, {Kind::display, display});
    screen.setScreenSize(1280, 720);
    screen.fill(screen.root(), {0, 0, 1280, 720}, green);
    EXPECT_TRUE(recording.waitForColor(960, 540, green));
    recording.stop();
}

TEST_F(X11TargetChanges, theServersDeathLeavesTheLastPicture) {
    const test::LogLines lines;
    screen.fill(screen.root(), {0, 0, 1920, 1080}, red);
    const auto display = screen.setMonitor("M", {0, 0, 1920, 1080});
    Recording recording(*service, {Kind::display, display});
    ASSERT_TRUE(recording.waitForColor(960, 540, red));
    screen.kill();
    ASSERT_TRUE(recording.waitForFrames(2));
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
    const auto before = recording.count;
    recording.stop();
    EXPECT_EQ(recording.count, before + 1);
    EXPECT_TRUE(hasLine(lines, QStringLiteral("the connection to the X server is lost")));
}

TEST_F(X11TargetChanges, thePictureIsRepeatedWhileTheServerDoesNotAnswer) {
    screen.fill(screen.root(), {0, 0, 1920, 1080}, red);
    const auto display = screen.setMonitor("M", {0, 0, 1920, 1080});
    Recording recording(*service, {Kind::display, display});
    ASSERT_TRUE(recording.waitForColor(960, 540, red));
    screen.freeze();
    ASSERT_TRUE(recording.waitForFrames(4)); // the first may have been asked for before
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
    const auto pace = recording.latest().presentationTime - recording.frames.front()->presentationTime;
    EXPECT_GE(pace, 1900ms); // of three frames
    screen.thaw();
    screen.fill(screen.root(), {0, 0, 1920, 1080}, green);
    EXPECT_TRUE(recording.waitForColor(960, 540, green));
}

TEST_F(X11TargetChanges, aServerThatDoesNotAnswerDelaysNoStop) {
    screen.fill(screen.root(), {0, 0, 1920, 1080}, red);
    const auto display = screen.setMonitor("M", {0, 0, 1920, 1080});
    Recording recording(*service, {Kind::display, display});
    ASSERT_TRUE(recording.waitForColor(960, 540, red));
    screen.freeze();
    EXPECT_FALSE(test::waitUntil([] { return false; }, 1200ms)); // it queries each second, and waits
    const auto before = recording.count;
    recording.stop();
    EXPECT_GT(recording.count, before);
    EXPECT_TRUE(test::isNear(recording.at(960, 540), red));
}

} // namespace
} // namespace tavro
