// Paints a scene on the X screen named by DISPLAY, or renders frames of it to standard output. On a screen of
// twice the scene's size each pixel is a square of four.
//
//   tavro-painter SCENE [--rate FRAMES-PER-SECOND] [--seconds S]
//   tavro-painter SCENE --render N[,N…]      raw B, G, R, x pixels of 1920×1080, one frame after the other
//
// Prints "number seconds" for each painted frame: the CLOCK_MONOTONIC time at which the server had it.

#include "Scene.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <vector>
#include <xcb/shm.h>
#include <xcb/xcb.h>

namespace {

using tavro::bench::Area;
using tavro::bench::Scene;
using tavro::bench::SceneKind;

constexpr std::size_t frameBytes = 4ull * Scene::width * Scene::height;

struct Options {
    SceneKind scene = SceneKind::still;
    double rate = 60;
    double seconds = 1e9;
    bool behind = false; // other windows
    std::string render;
};

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void sleepUntil(double when) {
    timespec time{};
    time.tv_sec = static_cast<time_t>(when);
    time.tv_nsec = static_cast<long>((when - static_cast<double>(time.tv_sec)) * 1e9);
    clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr);
}

int renderFrames(const Scene& scene, const std::string& numbers) {
    std::vector<std::uint32_t> pixels(frameBytes / 4);
    for (const char* next = numbers.c_str(); *next;) {
        char* end = nullptr;
        scene.paint(pixels.data(), static_cast<std::uint32_t>(std::strtoul(next, &end, 10)), true);
        if (end == next || std::fwrite(pixels.data(), 1, frameBytes, stdout) != frameBytes)
            return 1;
        next = *end == ',' ? end + 1 : end;
    }
    return 0;
}

// Shows `area` of the scene's picture on a larger screen, each pixel as a square of `factor`, and returns its
// place there.
Area enlarge(const std::uint32_t* picture, std::uint32_t* screen, const Area& area, int factor) {
    const int width = Scene::width * factor, shown = area.width * factor;
    for (int y = 0; y < area.height; ++y) {
        const std::uint32_t* from = picture + (area.y + y) * Scene::width + area.x;
        std::uint32_t* line = screen + (area.y + y) * factor * width + area.x * factor;
        for (int x = 0; x < area.width; ++x)
            std::fill_n(line + x * factor, factor, from[x]);
        for (int i = 1; i < factor; ++i)
            std::copy_n(line, shown, line + i * width);
    }
    return {area.x * factor, area.y * factor, shown, area.height * factor};
}

struct Disconnect {
    void operator()(xcb_connection_t* connection) const { xcb_disconnect(connection); }
};

int paintScreen(const Scene& scene, const Options& options) {
    const std::unique_ptr<xcb_connection_t, Disconnect> owner(xcb_connect(nullptr, nullptr));
    xcb_connection_t* x = owner.get();
    if (xcb_connection_has_error(x)) {
        std::fprintf(stderr, "no X display\n");
        return 1;
    }
    const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(x)).data;
    const int factor = std::max(1, screen->width_in_pixels / Scene::width);
    const auto width = static_cast<std::uint16_t>(factor * Scene::width);
    const auto height = static_cast<std::uint16_t>(factor * Scene::height);
    const xcb_window_t window = xcb_generate_id(x);
    const std::uint32_t values[] = {1}; // no window manager in between
    xcb_create_window(x, screen->root_depth, window, screen->root, 0, 0, width, height, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, XCB_CW_OVERRIDE_REDIRECT, values);
    const std::uint32_t below = XCB_STACK_MODE_BELOW;
    if (options.behind)
        xcb_configure_window(x, window, XCB_CONFIG_WINDOW_STACK_MODE, &below);
    xcb_map_window(x, window);
    const xcb_gcontext_t gc = xcb_generate_id(x);
    xcb_create_gc(x, gc, window, 0, nullptr);

    const int id = shmget(IPC_PRIVATE, std::size_t(4) * width * height, IPC_CREAT | 0600);
    auto* pixels = static_cast<std::uint32_t*>(shmat(id, nullptr, 0));
    const xcb_shm_seg_t segment = xcb_generate_id(x);
    xcb_shm_attach(x, segment, static_cast<std::uint32_t>(id), 0);
    std::free(xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr));
    shmctl(id, IPC_RMID, nullptr);

    std::vector<std::uint32_t> picture(factor > 1 ? frameBytes / 4 : 0);
    const double start = now();
    for (std::uint32_t number = 0; now() - start < options.seconds; ++number) {
        if (number > 0 && options.scene == SceneKind::still) {
            sleepUntil(std::min(start + options.seconds, now() + 1));
            continue;
        }
        Area area = scene.paint(picture.empty() ? pixels : picture.data(), number, number == 0);
        if (!picture.empty())
            area = enlarge(picture.data(), pixels, area, factor);
        sleepUntil(start + number / options.rate);
        xcb_shm_put_image(x, window, gc, width, height, static_cast<std::uint16_t>(area.x),
            static_cast<std::uint16_t>(area.y), static_cast<std::uint16_t>(area.width),
            static_cast<std::uint16_t>(area.height), static_cast<std::int16_t>(area.x),
            static_cast<std::int16_t>(area.y), screen->root_depth, XCB_IMAGE_FORMAT_Z_PIXMAP, 0, segment, 0);
        // One picture at a time: the server reads the pixels until it answers.
        const auto answer = xcb_get_input_focus_reply(x, xcb_get_input_focus(x), nullptr);
        if (!answer)
            return 1;
        std::free(answer);
        std::printf("%u %.6f\n", number, now());
        std::fflush(stdout);
    }
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    Options options;
    bool valid = argc > 1 && Scene::parse(argv[1], options.scene);
    for (int i = 2; valid && i < argc; ++i) {
        const std::string name = argv[i];
        if (name == "--behind") {
            options.behind = true;
            continue;
        }
        const char* value = ++i < argc ? argv[i] : nullptr;
        valid = value && (name == "--rate" || name == "--seconds" || name == "--render");
        if (name == "--rate" && valid)
            options.rate = std::atof(value);
        else if (name == "--seconds" && valid)
            options.seconds = std::atof(value);
        else if (valid)
            options.render = value;
    }
    if (!valid || options.rate <= 0) {
        std::fprintf(stderr, "usage: tavro-painter still|typing|scroll|motion|noise [--rate R] [--seconds S] "
                             "[--behind] [--render N,…]\n");
        return 2;
    }
    const Scene scene(options.scene);
    return options.render.empty() ? paintScreen(scene, options) : renderFrames(scene, options.render);
}
