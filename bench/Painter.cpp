// Paints a scene on the screen, that of WAYLAND_DISPLAY where it is set and else that of DISPLAY, or renders
// frames of it to standard output.
//
//   tavro-painter SCENE [--rate FRAMES-PER-SECOND] [--seconds S]
//   tavro-painter SCENE --render N[,N…]      raw B, G, R, x pixels of 1920×1080, one frame after the other
//
// Prints "number seconds" for each painted frame: the CLOCK_MONOTONIC time at which the server had it.

#include "Scene.h"
#include "Screen.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <string>
#include <vector>

namespace {

using namespace tavro::bench;

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

void paintScreen(const Scene& scene, const Options& options) {
    const auto screen = std::getenv("WAYLAND_DISPLAY") ? openWaylandScreen() : openXScreen(options.behind);
    const double start = now();
    for (std::uint32_t number = 0; now() - start < options.seconds; ++number) {
        if (number > 0 && options.scene == SceneKind::still) {
            sleepUntil(std::min(start + options.seconds, now() + 1));
            continue;
        }
        const Area area = scene.paint(screen->pixels(), number, number == 0);
        sleepUntil(start + number / options.rate);
        screen->show(area);
        std::printf("%u %.6f\n", number, now());
        std::fflush(stdout);
    }
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
    if (!options.render.empty())
        return renderFrames(scene, options.render);
    try {
        paintScreen(scene, options);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
