// Flashes the screen and beeps at the same instant, every two seconds, until it is ended: what a recording of
// it must show at the same instant too. The beep is placed by the sound server's own word on when a sample is
// heard.

#include <pulse/error.h>
#include <pulse/simple.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <memory>
#include <numbers>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr double rate = 48'000;
constexpr std::size_t block = 240; // 5 ms
constexpr auto period = 2s;
constexpr auto flashLength = 200ms;
constexpr double beepSeconds = 0.1;

std::atomic<bool> ended = false;

void end(int) {
    ended = true;
}

class Screen {
public:
    Screen() : connection(xcb_connect(nullptr, nullptr), xcb_disconnect) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection.get())).data;
        window = xcb_generate_id(connection.get());
        black = screen->black_pixel;
        white = screen->white_pixel;
        const std::uint32_t values[] = {black, 1};
        xcb_create_window(connection.get(), XCB_COPY_FROM_PARENT, window, screen->root, 0, 0,
            screen->width_in_pixels, screen->height_in_pixels, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
            screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_OVERRIDE_REDIRECT, values);
        xcb_map_window(connection.get(), window);
        xcb_flush(connection.get());
    }
    void show(bool lit) {
        const std::uint32_t colour = lit ? white : black;
        xcb_change_window_attributes(connection.get(), window, XCB_CW_BACK_PIXEL, &colour);
        xcb_clear_area(connection.get(), 0, window, 0, 0, 0, 0);
        xcb_flush(connection.get());
    }

private:
    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> connection;
    xcb_window_t window = 0;
    std::uint32_t black = 0;
    std::uint32_t white = 0;
};

// When a stream's sample 0 was heard, by what the server says each time; a single answer may be off by one of
// its cycles, or by a moment in which others ran, so the middle one of the last half a second counts.
class Reckoning {
public:
    void add(Clock::time_point begin) {
        latest.push_back(begin);
        if (latest.size() > 100)
            latest.pop_front();
    }
    Clock::time_point begin() const {
        std::vector<Clock::time_point> all(latest.begin(), latest.end());
        const auto middle = all.begin() + static_cast<std::ptrdiff_t>(all.size() / 2);
        std::nth_element(all.begin(), middle, all.end());
        return *middle;
    }

private:
    std::deque<Clock::time_point> latest;
};

std::chrono::nanoseconds duration(std::int64_t samples) {
    return std::chrono::nanoseconds(std::llround(static_cast<double>(samples) * 1e9 / rate));
}

// Writes sound without end, with a beep wherever the sample that is heard at one of the instants comes by.
void beep(Clock::time_point first) {
    const pa_sample_spec spec{PA_SAMPLE_FLOAT32LE, static_cast<std::uint32_t>(rate), 1};
    const auto bytes = static_cast<std::uint32_t>(block * 4 * sizeof(float));
    const pa_buffer_attr attributes{bytes * 4, bytes, static_cast<std::uint32_t>(-1),
        static_cast<std::uint32_t>(-1), static_cast<std::uint32_t>(-1)};
    int error = 0;
    const std::unique_ptr<pa_simple, void (*)(pa_simple*)> stream(
        pa_simple_new(nullptr, "flash and beep", PA_STREAM_PLAYBACK, nullptr, "beep", &spec, nullptr,
            &attributes, &error),
        pa_simple_free);
    if (!stream) {
        std::fprintf(stderr, "flash and beep: %s\n", pa_strerror(error));
        return;
    }
    auto next = first;
    double position = -1; // of the beep, in samples; negative while there is none
    std::vector<float> samples(block);
    Reckoning reckoning;
    for (std::int64_t written = 0; !ended; written += block) {
        const auto latency = std::chrono::microseconds(pa_simple_get_latency(stream.get(), &error));
        reckoning.add(Clock::now() + latency - duration(written));
        const auto heard = reckoning.begin() + duration(written);
        while (next + 1s < heard)
            next += period;
        for (std::size_t i = 0; i < block; ++i) {
            const auto moment = heard + duration(static_cast<std::int64_t>(i));
            if (position < 0 && moment >= next) {
                position = 0;
                next += period;
            }
            samples[i] = position < 0 ? 0.F
                                      : static_cast<float>(
                                            0.5 * std::sin(2 * std::numbers::pi * 1000 * position / rate));
            if (position >= 0 && ++position > beepSeconds * rate)
                position = -1;
        }
        if (pa_simple_write(stream.get(), samples.data(), samples.size() * sizeof(float), &error) < 0)
            return;
    }
}

} // namespace

int main() {
    std::signal(SIGTERM, end);
    std::signal(SIGINT, end);
    Screen screen;
    const auto first = Clock::now() + 1s;
    std::thread sound(beep, first);
    for (auto next = first; !ended; next += period) {
        std::this_thread::sleep_until(next);
        screen.show(true);
        std::this_thread::sleep_until(next + flashLength);
        screen.show(false);
    }
    sound.join();
}
