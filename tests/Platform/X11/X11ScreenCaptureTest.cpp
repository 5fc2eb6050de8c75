#include "Platform/X11/X11ScreenCapture.h"
#include "Platform/X11/ServerProbe.h"
#include "Platform/X11/ShmImage.h"
#include "Platform/X11/X11Content.h"
#include "Platform/X11/X11Source.h"
#include "X11/VirtualScreen.h"

#include "support/TestSupport.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

namespace tavro {
namespace {

using namespace std::chrono_literals;
using test::await;
using test::Color;
using test::Recording;
using test::VirtualScreen;
using test::waitUntil;
using Kind = ContentFilter::Kind;

constexpr Color white{255, 255, 255}, black{0, 0, 0}, red{255, 0, 0}, green{0, 255, 0}, blue{0, 0, 255},
    grey{119, 119, 119};

std::atomic<bool> noMemoryForPictures{false};

} // namespace
} // namespace tavro

// Replaces the C library's: pictures are allocated with it.
extern "C" void* aligned_alloc(std::size_t alignment, std::size_t size) {
    void* block = nullptr;
    if (tavro::noMemoryForPictures || ::posix_memalign(&block, alignment, size) != 0)
        return nullptr;
    return block;
}

namespace tavro {
namespace {

class NoWriters final : public AssetWriterFactory {
    std::unique_ptr<AssetWriter> makeAssetWriter(const std::filesystem::path&, FileType) override {
        return nullptr;
    }
};

struct X11ScreenCapture : ::testing::Test {
    NoWriters writers;
};

TEST_F(X11ScreenCapture, listsMonitorsAndWindows) {
    VirtualScreen screen(3200, 1080);
    const auto left = screen.setMonitor("LEFT", {0, 0, 1920, 1080});
    const auto right = screen.setMonitor("RIGHT", {1920, 0, 1280, 1024});
    const auto window = screen.openWindow({10, 10, 300, 200}, red);
    const auto hidden = screen.openWindow({10, 10, 300, 200}, red);
    screen.unmap(hidden);
    const auto service = makeX11ScreenCapture(writers, screen.display());
    const auto content = await(service->shareableContent());
    const auto has = [&](std::uint32_t id, int width, int height) {
        return std::count_if(
                   content.displays.begin(), content.displays.end(), [&](const ShareableDisplay& d) {
                       return d.displayID == id && d.width == width && d.height == height;
                   }) == 1;
    };
    EXPECT_TRUE(has(left, 1920, 1080));
    EXPECT_TRUE(has(right, 1280, 1024));
    ASSERT_EQ(content.windows.size(), 1u);
    EXPECT_EQ(content.windows[0].windowID, window);
}

TEST_F(X11ScreenCapture, saysWhenThereIsNoServer) {
    const auto service = makeX11ScreenCapture(writers, ":987");
    const auto listing = test::errorOf([&] { await(service->shareableContent()); });
    EXPECT_EQ(listing.domain, u"Tavro.X11");
    EXPECT_TRUE(listing.localizedDescription.contains(u":987"));
    EXPECT_EQ(test::errorOf([&] { Recording r(*service, {Kind::display, 1}); }).domain, u"Tavro.X11");
    EXPECT_EQ(obstacleToX11Capture(":987"), listing.localizedDescription);
}

TEST_F(X11ScreenCapture, saysWhichDepthItDoesNotRecord) {
    const VirtualScreen screen(800, 600, 16);
    EXPECT_EQ(obstacleToX11Capture(screen.display()),
        u"The X server's screen has a depth of 16; Tavro records depth 24");
}

TEST_F(X11ScreenCapture, givesAServerUpThatDoesNotAnswer) {
    VirtualScreen screen(1920, 1080);
    X11Connection connected(screen.display());
    screen.freeze();
    const auto service = makeX11ScreenCapture(writers, screen.display());
    EXPECT_EQ(test::errorOf([&] { await(service->shareableContent()); }).localizedDescription,
        u"The X server does not answer");
    EXPECT_TRUE(listMonitors(connected).empty()); // stopped after the handshake
    EXPECT_EQ(test::errorOf([&] { connected.requireAnswers(); }).code, 8);
    EXPECT_EQ(test::errorOf([&] { ShmImage(connected, 4096); }).code, 4);
}

TEST_F(X11ScreenCapture, knowsAServerThatTakesNoWindows) {
    VirtualScreen screen(800, 600);
    EXPECT_TRUE(acceptsClients(60s, screen.display()));
    screen.freeze();
    EXPECT_FALSE(acceptsClients(50ms, screen.display()));
    screen.thaw();
    screen.kill();
    EXPECT_FALSE(acceptsClients(60s, screen.display()));
    const test::ScopedEnvironment none("DISPLAY", {});
    EXPECT_FALSE(acceptsClients(60s));
}

TEST_F(X11ScreenCapture, offersNothingOfAWaylandDesktopThatItsServerDoesNotShow) {
    const VirtualScreen screen(1920, 1080);
    const test::ScopedEnvironment server("DISPLAY", screen.display()), type("XDG_SESSION_TYPE", "wayland"),
        wayland("WAYLAND_DISPLAY", "wayland-0");
    const auto error = test::errorOf([&] { await(makeX11ScreenCapture(writers)->shareableContent()); });
    EXPECT_TRUE(error.localizedDescription.contains(u"X11 session"));
    EXPECT_EQ(obstacleToX11Capture(), error.localizedDescription);
}

TEST_F(X11ScreenCapture, failsToStartOnATargetThatIsNotThere) {
    VirtualScreen screen(1920, 1080);
    const auto service = makeX11ScreenCapture(writers, screen.display());
    EXPECT_EQ(obstacleToX11Capture(screen.display()), QString());
    for (const Kind kind : {Kind::display, Kind::window})
        EXPECT_EQ(test::errorOf([&] { Recording r(*service, {kind, 0x7654321}); }).code, 5);
}

TEST_F(X11ScreenCapture, showsPaintedColors) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    const Color colors[] = {
        white, black, red, green, blue, grey, {255, 255, 0}, {0, 255, 255}, {255, 0, 255}, {16, 16, 16}};
    int at = 100;
    for (const Color& color : colors) {
        screen.fill(screen.root(), {at, 333, 41, 41}, white);
        screen.fill(screen.root(), {at, 333, 41, 41}, color);
        EXPECT_TRUE(recording.waitForColor(at + 20, 353, color));
        at += 100;
    }
    at = 100;
    for (const Color& color : colors) {
        EXPECT_TRUE(test::isNear(recording.at(at + 20, 353), color));
        at += 100;
    }
    EXPECT_GE(recording.stream->statistics().framesDelivered, 10u);
    EXPECT_EQ(recording.stream->statistics().framesDelivered, recording.count);
}

TEST_F(X11ScreenCapture, repeatsAStillPictureAndEndsWithIt) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    ASSERT_TRUE(recording.waitForFrames(2));
    EXPECT_TRUE(recording.latest().damage.empty());
    const auto gap = recording.latest().presentationTime - recording.frames[1]->presentationTime;
    EXPECT_GE(gap, 900ms);
    const auto before = recording.count;
    const auto stopped = std::chrono::steady_clock::now();
    recording.stop();
    EXPECT_EQ(recording.count, before + 1);
    EXPECT_GE(recording.latest().presentationTime, stopped.time_since_epoch() - 1us);
    screen.fill(screen.root(), {0, 0, 50, 50}, red);
    EXPECT_FALSE(waitUntil([&] { return recording.count > before + 1; }, 100ms));
}

// Resident memory shared with the X server, in kilobytes.
int sharedMemory() {
    std::ifstream maps("/proc/self/smaps");
    int size = 0;
    bool isShared = false;
    for (std::string line; std::getline(maps, line);) {
        if (line.find('-') < line.find(' ')) // an address range begins each mapping
            isShared = line.find("tavro-screen") != std::string::npos;
        else if (isShared && line.starts_with("Rss:"))
            size += std::stoi(line.substr(4));
    }
    return size;
}

TEST_F(X11ScreenCapture, givesMemoryBackWhileTheScreenIsStill) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    for (const Color& color : {red, green}) {
        screen.fill(screen.root(), {0, 0, 1920, 1080}, color);
        ASSERT_TRUE(recording.waitForColor(900, 900, color));
        EXPECT_GT(sharedMemory(), 7000);
        EXPECT_TRUE(waitUntil([] { return sharedMemory() == 0; }));
        screen.fill(screen.root(), {500, 500, 50, 50}, blue);
        ASSERT_TRUE(recording.waitForColor(525, 525, blue));
        EXPECT_TRUE(test::isNear(recording.at(900, 900), color));
        EXPECT_LT(sharedMemory(), 1000);
    }
}

TEST_F(X11ScreenCapture, takesWhatWasDrawnLastIntoTheLastFrame) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    screen.fill(screen.root(), {500, 500, 50, 50}, green);
    recording.stop();
    EXPECT_TRUE(test::isNear(recording.at(525, 525), green));
}

TEST_F(X11ScreenCapture, showsThePointerAndFollowsIt) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto window = screen.openWindow({0, 0, 1920, 1080}, green);
    const std::uint32_t none = XCB_NONE;
    xcb_change_window_attributes(screen.connection(), window, XCB_CW_CURSOR, &none);
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    for (const auto& [x, y] : {std::pair{300, 300}, {900, 700}, {1919, 1079}, {901, 703}}) {
        screen.movePointer(x, y);
        // The server's own pointer is a black cross.
        EXPECT_TRUE(waitUntil([&, x = x, y = y] { return !test::isNear(recording.at(x, y), green, 60); }));
    }
    EXPECT_TRUE(test::isNear(recording.at(300, 300), green));
    EXPECT_TRUE(
        test::samePicture(recording.latest(), *test::freshPicture(*service, {Kind::display, display})));
}

TEST_F(X11ScreenCapture, looksAtAPointerElsewhereOnceAFrame) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("LEFT", {0, 0, 960, 1080});
    screen.movePointer(1500, 500);
    struct Waiting final : CaptureWait {
        bool forNews(Clock::time_point) override { return true; }
        bool forAnswer() override { return true; }
    } waiting;
    X11Source source(screen.display(), {Kind::display, display}, {1920, 1080, 16ms, 6},
        std::make_shared<CanvasPool>(1920, 1080, 4, [] {}));
    const auto takeNote = [&] {
        return waitUntil([&] { return source.takeNews(); }) && source.mayHaveChanged();
    };
    const auto atOnce = std::chrono::steady_clock::time_point{};
    source.begin(waiting);
    for (const int x : {1510, 1520}) {
        screen.movePointer(x, 500);
        ASSERT_TRUE(takeNote());
        const auto before = std::chrono::steady_clock::now();
        EXPECT_FALSE(source.grab());
        EXPECT_GE(source.notBefore(), before + 16ms);
    }
    screen.fill(screen.root(), {0, 0, 50, 50}, red);
    ASSERT_TRUE(takeNote());
    EXPECT_EQ(source.notBefore(), atOnce);
    for (const int x : {100, 1500}) { // in and out again
        screen.movePointer(x, 500);
        ASSERT_TRUE(takeNote());
        EXPECT_TRUE(source.grab());
        EXPECT_EQ(source.notBefore(), atOnce);
    }
}

// Many small changes must give the same picture as a full read.
TEST_F(X11ScreenCapture, waitsLongerOnlyWhileNothingButTheSlowAreaChanges) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("RIGHT", {960, 0, 960, 1080});
    const auto window = screen.openWindow({0, 0, 1920, 1080}, green);
    struct Waiting final : CaptureWait {
        bool forNews(Clock::time_point) override { return true; }
        bool forAnswer() override { return true; }
    } waiting;
    const auto area = std::make_shared<SlowArea>();
    area->set({1050, 90, 50, 50});
    const Rect inside{1060, 100, 20, 20}, outside{1060, 700, 20, 20};
    const struct {
        ContentFilter target;
        std::vector<Rect> painted;
        bool pointerMoves, isSlow;
    } cases[] = {{{Kind::display, display}, {inside}, false, true},
        {{Kind::display, display}, {outside}, false, false},
        {{Kind::display, display}, {inside, outside}, false, false},
        {{Kind::display, display}, {inside}, true, false}, {{Kind::window, window}, {inside}, false, false}};
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        X11Source source(screen.display(), test.target, {1920, 1080, 16ms, 6, area},
            std::make_shared<CanvasPool>(1920, 1080, 4, [] {}));
        source.begin(waiting);
        for (const Rect& rect : test.painted)
            screen.fill(window, rect, red);
        if (test.pointerMoves)
            screen.movePointer(1500, 300);
        EXPECT_TRUE(waitUntil([&] {
            source.takeNews();
            return source.mayHaveChanged() && (source.settleTime() == SlowArea::interval) == test.isSlow;
        }));
    }
}

TEST_F(X11ScreenCapture, followsRandomPaintingExactly) {
    std::mt19937 dice(7);
    const auto roll = [&](int least, int most) { return std::uniform_int_distribution(least, most)(dice); };
    VirtualScreen screen(3840, 2160);
    const struct {
        const char* name;
        Rect area;
    } cases[] = {
        {"SAME", {123, 77, 1920, 1080}},    // one to one
        {"TWICE", {0, 0, 3840, 2160}},      // two pixels to one
        {"LARGER", {0, 0, 2560, 1440}},     // scaled down
        {"SMALLER", {301, 201, 1203, 777}}, // scaled up, bars at the sides
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const ContentFilter filter{Kind::display, screen.setMonitor(c.name, c.area)};
        const auto service = makeX11ScreenCapture(writers, screen.display());
        Recording recording(*service, filter);
        for (int round = 0; round < 8; ++round) {
            for (int stroke = 0; stroke < 25; ++stroke) {
                const int size = roll(0, 9) ? 90 : 900;
                const int x = c.area.x + roll(-20, c.area.width), y = c.area.y + roll(-20, c.area.height);
                screen.fill(screen.root(), {x, y, roll(1, size), roll(1, size)},
                    {roll(0, 255), roll(0, 255), roll(0, 255)});
                if (roll(0, 3) == 0)
                    screen.movePointer(x, y);
                if (roll(0, 4) == 0)
                    waitUntil([] { return false; }, std::chrono::milliseconds(roll(0, 20)));
            }
            const auto fresh = test::freshPicture(*service, filter);
            EXPECT_TRUE(waitUntil([&] { return test::samePicture(recording.latest(), *fresh); }, 10s))
                << round;
        }
        screen.removeMonitor(c.name);
    }
}

TEST_F(X11ScreenCapture, holdsFramesBackFromABusyReceiver) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    const auto before = recording.count;
    for (int i = 0; i < 40; ++i) { // the main thread takes no frame meanwhile
        screen.fill(screen.root(), {0, 0, 100, 100}, {i * 6, 0, 0});
        std::this_thread::sleep_for(20ms);
    }
    screen.fill(screen.root(), {0, 0, 100, 100}, blue);
    EXPECT_TRUE(recording.waitForColor(90, 90, blue));
    EXPECT_LE(recording.count - before, 9u);
    EXPECT_GE(recording.stream->statistics().framesDropped, 10u);
}

TEST_F(X11ScreenCapture, leavesAPictureAloneThatIsHeldAndDrawsOverOthers) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    const auto stream = service->makeStream({Kind::display, display}, {1920, 1080, 16ms, 6});
    await(stream->startCapture());
    VideoFramePtr held;
    Color was, painted;
    for (int i = 0; i < 90; ++i) {
        painted = {i * 2, 250 - i * 2, (i * 40) % 256};
        screen.fill(screen.root(), {0, 0, 1920, 1080}, painted);
        waitUntil([] { return false; }, 10ms);
        if (i % 3 == 0) {
            ASSERT_TRUE(waitUntil([&] { return (held = stream->latestFrame()) != nullptr; }));
            was = test::colorAt(*held, 900, 900);
            continue;
        }
        ASSERT_TRUE(test::isNear(test::colorAt(*held, 900, 900), was));
        if (i % 3 == 2)
            held.reset();
    }
    const auto shows = [&](int x, int y) {
        const auto frame = stream->latestFrame();
        return frame && test::isNear(test::colorAt(*frame, x, y), painted);
    };
    EXPECT_TRUE(waitUntil([&] { return shows(60, 5) && shows(1915, 1075); }));
}

TEST_F(X11ScreenCapture, tellsOfAFailureThatEndsIt) {
    const test::LogLines lines;
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    Recording recording(*service, {Kind::display, display});
    noMemoryForPictures = true;
    screen.fill(screen.root(), {500, 500, 50, 50}, green);
    EXPECT_TRUE(waitUntil([&] { return !recording.failures.empty(); }));
    noMemoryForPictures = false;
    EXPECT_EQ(recording.failures,
        QStringList(
            QStringLiteral("The screen cannot be recorded any more. The computer has no memory left.")));
    EXPECT_TRUE(lines.contains(
        QStringLiteral("[ERROR] capture: ended by an error, no more pictures: std::bad_alloc")));
    const auto before = recording.count;
    recording.stop();
    EXPECT_EQ(recording.count, before);
}

TEST_F(X11ScreenCapture, endsWhenTheStreamIsDropped) {
    VirtualScreen screen(1920, 1080);
    const auto display = screen.setMonitor("ALL", {0, 0, 1920, 1080});
    const auto service = makeX11ScreenCapture(writers, screen.display());
    auto recording = std::make_unique<Recording>(*service, ContentFilter{Kind::display, display});
    const auto kept = recording->frames.back();
    screen.fill(screen.root(), {0, 0, 100, 100}, red);
    recording.reset();
    EXPECT_TRUE(test::isNear(test::colorAt(*kept, 1000, 1000), black)); // a frame outlives its stream
}

} // namespace
} // namespace tavro
