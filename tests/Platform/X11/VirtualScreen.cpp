#include "X11/VirtualScreen.h"

#include "support/TestSupport.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/randr.h>
#include <xcb/xtest.h>

namespace tavro::test {
namespace {

const StreamConfiguration configuration{1920, 1080, std::chrono::microseconds(1'000'000 / 60), 6};

std::uint32_t pixelOf(Color c) {
    return static_cast<std::uint32_t>(c[0] << 16 | c[1] << 8 | c[2]);
}

std::int16_t s(int value) {
    return static_cast<std::int16_t>(value);
}
std::uint16_t u(int value) {
    return static_cast<std::uint16_t>(value);
}

bool isIn(const std::vector<Rect>& rects, int x, int y) {
    return std::any_of(rects.begin(), rects.end(),
        [&](const Rect& r) { return x >= r.x && y >= r.y && x < r.x + r.width && y < r.y + r.height; });
}

} // namespace

// Not QProcess: after its fork, the thread sanitizer misses this thread's locks.
VirtualScreen::VirtualScreen(int width, int height, int depth) {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("no pipe");
    const std::string size =
        std::to_string(width) + 'x' + std::to_string(height) + 'x' + std::to_string(depth);
    const char* arguments[] = {
        "Xvfb", "-displayfd", "3", "-screen", "0", size.c_str(), "-nolisten", "tcp", "-noreset", nullptr};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], 3);
    const int failure =
        posix_spawnp(&server, arguments[0], &actions, nullptr, const_cast<char**>(arguments), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    name = ":";
    for (char digit = 0; ::read(ends[0], &digit, 1) == 1 && digit != '\n';)
        name += digit;
    ::close(ends[0]);
    if (failure != 0)
        throw std::runtime_error("Xvfb cannot be started");
    if (depth != 24)
        return;
    client = std::make_unique<X11Connection>(name);
    context = xcb_generate_id(*client);
    xcb_create_gc(*client, context, root(), 0, nullptr);
    movePointer(0, 0);
}

VirtualScreen::~VirtualScreen() {
    client.reset();
    kill();
}

void VirtualScreen::sync() {
    client->reply(xcb_get_input_focus_reply, xcb_get_input_focus(*client));
}

xcb_window_t VirtualScreen::openWindow(const Rect& rect, Color background) {
    const xcb_window_t window = xcb_generate_id(*client);
    const std::uint32_t pixel = pixelOf(background);
    xcb_create_window(*client, XCB_COPY_FROM_PARENT, window, root(), s(rect.x), s(rect.y), u(rect.width),
        u(rect.height), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL, &pixel);
    map(window);
    return window;
}

void VirtualScreen::fill(xcb_drawable_t drawable, const Rect& rect, Color color) {
    const std::uint32_t values[] = {pixelOf(color), XCB_SUBWINDOW_MODE_INCLUDE_INFERIORS};
    xcb_change_gc(*client, context, XCB_GC_FOREGROUND | XCB_GC_SUBWINDOW_MODE, values);
    const xcb_rectangle_t area{s(rect.x), s(rect.y), u(rect.width), u(rect.height)};
    xcb_poly_fill_rectangle(*client, drawable, context, 1, &area);
    sync();
}

void VirtualScreen::resize(xcb_window_t window, int width, int height) {
    const std::uint32_t values[] = {static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height)};
    xcb_configure_window(*client, window, XCB_CONFIG_WINDOW_WIDTH | XCB_CONFIG_WINDOW_HEIGHT, values);
    sync();
}

void VirtualScreen::raise(xcb_window_t window) {
    const std::uint32_t above = XCB_STACK_MODE_ABOVE;
    xcb_configure_window(*client, window, XCB_CONFIG_WINDOW_STACK_MODE, &above);
    sync();
}

void VirtualScreen::map(xcb_window_t window) {
    xcb_map_window(*client, window);
    sync();
}

void VirtualScreen::unmap(xcb_window_t window) {
    xcb_unmap_window(*client, window);
    sync();
}

void VirtualScreen::destroy(xcb_window_t window) {
    xcb_destroy_window(*client, window);
    sync();
}

void VirtualScreen::movePointer(int x, int y) {
    xcb_test_fake_input(*client, XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME, root(), s(x), s(y), 0);
    sync();
}

// XCB sends a malformed request for this, so use the program.
bool VirtualScreen::xrandr(const std::string& arguments) {
    return std::system(("xrandr --display " + name.toStdString() + ' ' + arguments).c_str()) == 0;
}

std::uint32_t VirtualScreen::setMonitor(const char* monitor, const Rect& rect) {
    if (client->atom(monitor)) // an existing monitor is not replaced
        xrandr(std::string("--delmonitor ") + monitor + " 2>/dev/null");
    const auto text = [](int value) { return std::to_string(value); };
    EXPECT_TRUE(xrandr(std::string("--setmonitor ") + monitor + ' ' + text(rect.width) + "/100x" +
                       text(rect.height) + "/100+" + text(rect.x) + '+' + text(rect.y) + " none"));
    return client->atom(monitor);
}

void VirtualScreen::removeMonitor(const char* monitor) {
    EXPECT_TRUE(xrandr(std::string("--delmonitor ") + monitor));
}

void VirtualScreen::setScreenSize(int width, int height) {
    xcb_randr_set_screen_size(*client, root(), u(width), u(height), 300, 200);
    sync();
}

void VirtualScreen::kill() {
    if (server <= 0)
        return;
    ::kill(server, SIGKILL);
    ::waitpid(server, nullptr, 0);
    server = 0;
}

void VirtualScreen::freeze() {
    ::kill(server, SIGSTOP);
}

void VirtualScreen::thaw() {
    ::kill(server, SIGCONT);
}

Color colorAt(const VideoFrame& frame, int x, int y) {
    const auto sample = [&](int plane, int half) {
        return double(frame.planes[plane][y / half * frame.strides[plane] + x / half]);
    };
    const double luma = (sample(0, 1) - 16) / 219, blue = (sample(1, 2) - 128) / 224,
                 red = (sample(2, 2) - 128) / 224;
    const double r = luma + 1.5748 * red, b = luma + 1.8556 * blue,
                 g = (luma - 0.2126 * r - 0.0722 * b) / 0.7152;
    const auto byte = [](double value) {
        return std::clamp(static_cast<int>(std::lround(255 * value)), 0, 255);
    };
    return {byte(r), byte(g), byte(b)};
}

bool isNear(const Color& seen, const Color& expected, int tolerance) {
    return std::equal(seen.begin(), seen.end(), expected.begin(),
        [&](int a, int b) { return std::abs(a - b) <= tolerance; });
}

bool damageCovers(const VideoFrame& before, const VideoFrame& next) {
    for (int plane = 0; plane < 3; ++plane) {
        const int half = plane ? 2 : 1;
        for (int y = 0; y < next.height / half; ++y) {
            const std::uint8_t* a = before.planes[plane] + std::ptrdiff_t(y) * before.strides[plane];
            const std::uint8_t* b = next.planes[plane] + std::ptrdiff_t(y) * next.strides[plane];
            if (std::memcmp(a, b, std::size_t(next.width / half)) == 0)
                continue;
            for (int x = 0; x < next.width / half; ++x)
                if (a[x] != b[x] && !isIn(next.damage, x * half, y * half))
                    return false;
        }
    }
    return true;
}

bool samePicture(const VideoFrame& a, const VideoFrame& b) {
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < a.height / (plane ? 2 : 1); ++y)
            if (std::memcmp(a.planes[plane] + std::ptrdiff_t(y) * a.strides[plane],
                    b.planes[plane] + std::ptrdiff_t(y) * b.strides[plane],
                    std::size_t(a.width / (plane ? 2 : 1))) != 0)
                return false;
    return true;
}

Recording::Recording(ScreenCaptureService& service, const ContentFilter& filter)
    : stream(service.makeStream(filter, configuration)) {
    stream->addStreamOutput([this](const VideoFramePtr& frame) {
        if (!frames.empty()) {
            EXPECT_EQ(frame->sequence, latest().sequence + 1);
            EXPECT_GT(frame->presentationTime, latest().presentationTime);
            EXPECT_TRUE(damageCovers(latest(), *frame)) << "frame " << frame->sequence;
        }
        frames.push_back(frame);
        if (frames.size() > 3)
            frames.erase(frames.begin());
        ++count;
    });
    stream->setFailureHandler([this](auto reason) { failures << describe(reason).localizedDescription; });
    await(stream->startCapture());
}

Recording::~Recording() = default;

bool Recording::waitForColor(int x, int y, Color color) {
    return waitUntil([&] { return isNear(at(x, y), color); });
}

bool Recording::waitForFrames(std::size_t more) {
    return waitUntil([this, until = count + more] { return count >= until; });
}

void Recording::stop() {
    await(stream->stopCapture());
}

VideoFramePtr freshPicture(ScreenCaptureService& service, const ContentFilter& filter) {
    Recording recording(service, filter);
    recording.stop();
    return recording.frames.back();
}

} // namespace tavro::test
