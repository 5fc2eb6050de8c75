#include "Platform/Pulse/SoundTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>

namespace tavro::pulse {
namespace {

using namespace std::chrono_literals;
using Clock = SoundTimeline::Clock;

constexpr double rate = 48'000;

Clock::duration seconds(double value) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
}

// A device whose sample value is the number of frames since the origin, so each frame carries its capture
// time. The device's clock may drift, and its blocks' capture times may be wrong.
struct Device {
    SoundTimeline line{rate, 1, Clock::time_point{},
        [this](std::span<const float> frames) { heard.insert(heard.end(), frames.begin(), frames.end()); }};
    std::vector<float> heard;
    double speed = 1;     // of its clock
    double reckoning = 0; // error of the next blocks' capture times, s
    double now = 0;       // s since the origin

    void play(double length, std::size_t block = 960, bool lost = false) {
        const double end = now + length;
        while (now < end - 1e-9) {
            std::vector<float> frames(block);
            for (std::size_t i = 0; i < block; ++i)
                frames[i] = static_cast<float>(now + static_cast<double>(i) / rate / speed);
            if (!lost)
                line.add(frames, Clock::time_point{} + seconds(now + reckoning));
            now += static_cast<double>(block) / rate / speed;
        }
    }
    // Distance of the last frame from its place, seconds; positive when it is late.
    double lateness() const { return static_cast<double>(heard.size() - 1) / rate - heard.back(); }
    std::size_t silentFrames() const { return static_cast<std::size_t>(std::ranges::count(heard, 0.F)); }
};

TEST(SoundTimeline, beginsAtItsOriginWhereverTheStreamBegan) {
    for (const double begin : {0.3, -0.15}) {
        Device device;
        device.now = begin;
        device.play(2);
        EXPECT_NEAR(device.lateness(), 0, 0.001) << begin;
        EXPECT_NEAR(static_cast<double>(device.silentFrames()) / rate, std::max(begin, 0.0), 0.001) << begin;
    }
}

TEST(SoundTimeline, isNotMisledBySingleReckonings) {
    Device device;
    std::mt19937 random(1);
    std::uniform_real_distribution<double> error(-0.015, 0.015);
    for (int i = 0; i < 3000; ++i) { // a minute
        device.reckoning = i % 10 == 0 ? 0.07 : error(random);
        device.play(0.02);
    }
    EXPECT_LT(std::abs(device.lateness()), 0.02);
    EXPECT_LT(device.silentFrames(), 960u) << "jitter was taken for gaps";
}

TEST(SoundTimeline, leavesBurstsAlone) {
    Device device;
    device.play(20, 9600); // 200 ms at once
    EXPECT_NEAR(device.lateness(), 0, 0.001);
    EXPECT_LE(device.silentFrames(), 1u);
    EXPECT_EQ(device.line.emitted(), static_cast<std::uint64_t>(20 * rate));
}

TEST(SoundTimeline, fillsALossWithSilenceOfItsLength) {
    Device device;
    device.play(3);
    device.play(0.5, 960, true);
    device.play(3);
    EXPECT_NEAR(device.lateness(), 0, 0.005);
    EXPECT_NEAR(static_cast<double>(device.silentFrames()) / rate, 0.5, 0.025);
}

TEST(SoundTimeline, keepsTimeThroughAnInterruption) {
    Device device;
    device.play(2);
    device.line.interrupt();
    for (int i = 0; i < 50; ++i) {
        device.play(0.06, 960, true);
        device.line.fill(Clock::time_point{} + seconds(device.now));
    }
    // Silence follows the clock closely.
    EXPECT_NEAR(static_cast<double>(device.line.emitted()) / rate, device.now, 0.15);
    device.play(2);
    EXPECT_NEAR(device.lateness(), 0, 0.005);
    EXPECT_NEAR(static_cast<double>(device.silentFrames()) / rate, 3, 0.05);
}

// A server that was stopped and later delivers sound already replaced by silence.
TEST(SoundTimeline, doesNotHearTwiceWhatCameTooLate) {
    Device device;
    device.play(2);
    device.line.interrupt();
    device.line.fill(Clock::time_point{} + seconds(5));
    device.play(6); // from second 2 on
    EXPECT_NEAR(device.lateness(), 0, 0.005);
    EXPECT_NEAR(static_cast<double>(device.line.emitted()) / rate, 8, 0.03);
}

// A server that was stopped and reports its first old data as new.
TEST(SoundTimeline, isNotAheadForLongWhereABeginningWasPlacedTooLate) {
    Device device;
    device.play(2);
    device.line.interrupt();
    device.line.fill(Clock::time_point{} + seconds(3));
    device.reckoning = 1;
    device.play(0.3);
    device.reckoning = 0;
    device.play(2);
    EXPECT_NEAR(device.lateness(), 0, 0.005);
}

TEST(SoundTimeline, followsADeviceWhoseClockRunsWrong) {
    for (const double wrong : {-200e-6, -50e-6, 50e-6, 200e-6}) {
        Device device;
        device.speed = 1 + wrong;
        double worst = 0;
        for (int i = 0; i < 60; ++i) { // ten minutes
            device.play(10);
            worst = std::max(worst, std::abs(device.lateness()));
        }
        EXPECT_LT(worst, 0.015) << wrong;
        EXPECT_LT(device.silentFrames(), 100u);
    }
}

TEST(SoundTimeline, correctsInSmallBlocksToo) {
    Device device;
    device.speed = 1.0002;
    device.play(200, 96);
    EXPECT_LT(std::abs(device.lateness()), 0.015);
}

TEST(SoundTimeline, letsOutWhatItHoldsBack) {
    Device device;
    device.play(0.1);
    EXPECT_EQ(device.line.emitted(), 0u);
    device.line.flush();
    EXPECT_EQ(device.line.emitted(), static_cast<std::uint64_t>(0.1 * rate));
}

} // namespace
} // namespace tavro::pulse
