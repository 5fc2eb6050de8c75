#include "Platform/Media/Haste.h"
#include "Canvas.h"
#include "Platform/Media/X264Encoder.h"

#include <gtest/gtest.h>

namespace tavro::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

TEST(HasteTest, BeginsWithALongWaitAndEndsWithAShortOne) {
    Haste haste;
    EXPECT_FALSE(haste.isOn());
    const std::pair<std::chrono::microseconds, bool> cases[] = {
        {0ms, false}, {45ms, false}, {60ms, true}, {45ms, true}, {15ms, true}, {5ms, false}, {45ms, false}};
    for (const auto& [wait, expected] : cases) {
        EXPECT_EQ(haste.afterWaiting(wait), expected) << wait.count();
        EXPECT_EQ(haste.isOn(), expected);
    }
}

// Sizes of the packets of a screen that changes everywhere, encoded after these waits.
std::vector<int> sizesAfter(const std::vector<std::chrono::milliseconds>& waits) {
    constexpr int columns = 640, rows = 352;
    Canvas screen(columns, rows);
    X264Encoder encoder({columns, rows});
    encoder.open();
    std::vector<int> sizes;
    std::int64_t time = 0;
    for (const auto wait : waits) {
        screen.writeText({0, 0, columns, rows}, static_cast<std::uint32_t>(time));
        Damage damage;
        damage.addAll();
        encoder.encode(
            TrackPicture{screen.take(std::chrono::microseconds(time)), time, damage, Clock::now() - wait},
            [&](const libav::Packet& packet) { sizes.push_back(packet->size); });
        time += 100'000;
    }
    return sizes;
}

TEST(HasteTest, FramesThatWaitTooLongAreEncodedCoarserUntilTheBacklogIsGone) {
    const auto calm = sizesAfter({0ms, 0ms, 0ms, 0ms, 0ms});
    const auto late = sizesAfter({0ms, 0ms, 500ms, 500ms, 0ms});
    ASSERT_EQ(late.size(), calm.size());
    EXPECT_EQ(late[1], calm[1]);
    EXPECT_LT(late[2], 0.9 * calm[2]);
    EXPECT_LT(late[3], 0.9 * calm[3]);
    EXPECT_GT(late[4], 0.95 * calm[4]);
}

} // namespace
} // namespace tavro::test
