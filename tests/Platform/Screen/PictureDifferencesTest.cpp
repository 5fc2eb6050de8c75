#include "Platform/Screen/PictureDifferences.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>

namespace tavro {
namespace {

// Two pictures of one size, each with its own padding of lines, at an odd place.
struct Pair {
    Pair(int width, int height)
        : area{3, 5, width, height}
        , first(static_cast<std::size_t>(width + 7) * height, 0xff336699)
        , second(static_cast<std::size_t>(width + 2) * height, 0xff336699) {}

    PixelView before() { return {reinterpret_cast<std::uint8_t*>(first.data()), (area.width + 7) * 4, area}; }
    PixelView now() { return {reinterpret_cast<std::uint8_t*>(second.data()), (area.width + 2) * 4, area}; }
    void change(int x, int y) { now().at(area.x + x, area.y + y)[1] ^= 1; }

    Rect area;
    std::vector<std::uint32_t> first, second;
};

TEST(PictureDifferencesTest, FindsEachChangedPixel) {
    constexpr int width = 197, height = 75; // no whole number of tiles
    EXPECT_TRUE(differences(Pair(width, height).before(), Pair(width, height).now()).isEmpty());
    for (const auto& [x, y] : {std::pair{0, 0}, {width - 1, 0}, {0, height - 1}, {width - 1, height - 1},
             {63, 15}, {64, 16}, {100, 40}}) {
        Pair pair(width, height);
        pair.change(x, y);
        const PictureRegion found = differences(pair.before(), pair.now());
        EXPECT_TRUE(found.covers({pair.area.x + x, pair.area.y + y, 1, 1})) << x << ',' << y;
        EXPECT_TRUE(contains(pair.area, found.bounds())) << x << ',' << y;
        EXPECT_LE(found.area(), 64 * 16) << x << ',' << y;
    }
}

TEST(PictureDifferencesTest, LeavesNoChangeOut) {
    std::mt19937 random(1);
    const auto upTo = [&random](
                          int limit) { return static_cast<int>(random() % static_cast<unsigned>(limit)); };
    for (const int changes : {2, 5, 20, 3000})
        for (int round = 0; round < 20; ++round) {
            Pair pair(1 + upTo(400), 1 + upTo(200));
            std::vector<Rect> changed;
            for (int i = 0; i < changes; ++i) {
                const int x = upTo(pair.area.width), y = upTo(pair.area.height);
                pair.now().at(pair.area.x + x, pair.area.y + y)[upTo(4)] = 0;
                changed.push_back({pair.area.x + x, pair.area.y + y, 1, 1});
            }
            const PictureRegion found = differences(pair.before(), pair.now());
            for (const Rect& pixel : changed)
                ASSERT_TRUE(found.covers(pixel)) << "round " << round << " of " << changes;
        }
}

TEST(PictureDifferencesTest, TellsOfAPictureThatIsAllNewThatAllHasChanged) {
    Pair pair(640, 333);
    for (int y = 0; y < 333; ++y)
        for (int x = 0; x < 640; ++x)
            pair.change(x, y);
    EXPECT_TRUE(differences(pair.before(), pair.now()).covers(pair.area));
}

} // namespace
} // namespace tavro
