#include "Platform/Screen/Canvas.h"
#include "Platform/Screen/ColorConversion.h"
#include "Platform/Screen/FrameChannel.h"
#include "Platform/Screen/FramePacer.h"
#include "Platform/Screen/PictureFit.h"

#include "support/TestSupport.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <thread>

namespace tavro {
namespace {

using namespace std::chrono_literals;

std::mt19937 dice(20240229);
int roll(int least, int most) {
    return std::uniform_int_distribution(least, most)(dice);
}

Rect randomRect(int width, int height) {
    const int x = roll(0, width - 1), y = roll(0, height - 1);
    return {x, y, roll(1, width - x), roll(1, height - y)};
}

struct Picture {
    Picture(int width, int height) : pixels(std::size_t(width) * height * 4), area{0, 0, width, height} {}
    PixelView view() { return {pixels.data(), area.width * 4, area}; }
    void fill(const Rect& rect, std::array<std::uint8_t, 3> rgb) {
        for (int y = rect.y; y < bottomOf(rect); ++y)
            for (int x = rect.x; x < rightOf(rect); ++x)
                for (int channel = 0; channel < 3; ++channel)
                    view().at(x, y)[channel] = rgb[static_cast<std::size_t>(2 - channel)];
    }
    void noise() {
        for (auto& byte : pixels)
            byte = static_cast<std::uint8_t>(roll(0, 255));
    }
    std::vector<std::uint8_t> pixels;
    Rect area;
};

bool equal(const Canvas& a, const Canvas& b) {
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < a.height / (plane ? 2 : 1); ++y)
            if (!std::equal(a.planes[plane] + y * a.strides[plane],
                    a.planes[plane] + y * a.strides[plane] + a.width / (plane ? 2 : 1),
                    b.planes[plane] + y * b.strides[plane]))
                return false;
    return true;
}

// Decodes BT.709, limited range.
std::array<double, 3> rgbAt(const Canvas& canvas, int x, int y) {
    const double luma = (canvas.planes[0][y * canvas.strides[0] + x] - 16) / 219.0;
    const double blue = (canvas.planes[1][y / 2 * canvas.strides[1] + x / 2] - 128) / 224.0;
    const double red = (canvas.planes[2][y / 2 * canvas.strides[2] + x / 2] - 128) / 224.0;
    const double r = luma + 1.5748 * red, b = luma + 1.8556 * blue;
    return {255 * r, 255 * (luma - 0.2126 * r - 0.0722 * b) / 0.7152, 255 * b};
}

TEST(PictureRegion, coversWhatWasAddedWithFewRectangles) {
    for (int round = 0; round < 300; ++round) {
        PictureRegion region;
        std::vector<Rect> added;
        for (int i = 0; i < 12; ++i) {
            added.push_back({roll(0, 1800), roll(0, 1000), roll(1, 90), roll(1, 60)});
            region.add(added.back());
        }
        EXPECT_LE(region.rects().size(), 4u);
        for (const Rect& rect : added)
            EXPECT_TRUE(region.covers(rect));
    }
}

TEST(PictureRegion, keepsDistantChangesApart) {
    PictureRegion region;
    region.add({10, 10, 20, 20});
    region.add({1800, 1000, 20, 20});
    region.add({30, 10, 20, 20});
    EXPECT_LT(region.area(), 3000);
    region.add({0, 0, 0, 5});
    EXPECT_EQ(region.rects().size(), 2u);
}

TEST(ColorConversion, comesBackFromAStandardDecoder) {
    Picture picture(64, 4);
    Canvas canvas(64, 4);
    std::vector<std::array<std::uint8_t, 3>> colors;
    for (int grey = 0; grey < 256; ++grey)
        colors.push_back({std::uint8_t(grey), std::uint8_t(grey), std::uint8_t(grey)});
    for (int corner = 0; corner < 8; ++corner)
        colors.push_back({std::uint8_t(corner & 1 ? 255 : 0), std::uint8_t(corner & 2 ? 255 : 0),
            std::uint8_t(corner & 4 ? 255 : 0)});
    for (const auto& color : colors) {
        picture.fill(picture.area, color);
        convertPixels(picture.view(), 0, 0, canvas, canvas.bounds());
        for (const int x : {0, 31, 63}) {
            const auto seen = rgbAt(canvas, x, 1);
            for (std::size_t channel = 0; channel < 3; ++channel)
                EXPECT_NEAR(seen[channel], color[channel], 2) << int(color[0]) << ' ' << int(color[1]);
        }
    }
}

TEST(ColorConversion, isTheSameForPiecesAsForTheWhole) {
    Picture picture(100, 40);
    picture.noise();
    Canvas whole(100, 40), pieces(100, 40), narrow(100, 40);
    convertPixels(picture.view(), 0, 0, whole, whole.bounds());
    for (int x = 0; x < 100; x += 2) // too narrow for the vector code
        convertPixels(picture.view(), x, 0, narrow, {x, 0, 2, 40});
    EXPECT_TRUE(equal(whole, narrow));
    for (int x = 0; x < 100; x += 20)
        convertPixels(picture.view(), x, 0, pieces, {x, 0, 20, 40});
    EXPECT_TRUE(equal(whole, pieces));
}

TEST(PictureFit, keepsProportionsInTheMiddle) {
    const struct {
        int width, height;
        Rect placed;
    } cases[] = {
        {1920, 1080, {0, 0, 1920, 1080}},
        {2560, 1440, {0, 0, 1920, 1080}},
        {1280, 1024, {284, 0, 1350, 1080}},
        {1600, 400, {0, 300, 1920, 480}},
        {3, 2000, {958, 0, 2, 1080}},
        {1, 1, {420, 0, 1080, 1080}},
    };
    for (const auto& c : cases)
        EXPECT_EQ(PictureFit(c.width, c.height, 1920, 1080).picture(), c.placed)
            << c.width << 'x' << c.height;
}

TEST(PictureFit, drawsPiecesThatEqualTheWhole) {
    for (const auto& [width, height] :
        {std::pair{100, 60}, {77, 131}, {311, 61}, {200, 120}, {200, 80}, {555, 333}, {100, 61}, {2, 3}}) {
        Picture picture(width, height);
        picture.noise();
        PictureFit fit(width, height, 100, 60);
        Canvas canvas(100, 60);
        fit.draw(picture.view(), canvas, fit.picture());
        for (int i = 0; i < 40; ++i) {
            const Rect changed = randomRect(width, height);
            picture.fill(changed, {std::uint8_t(roll(0, 255)), std::uint8_t(roll(0, 255)), 99});
            const Rect onCanvas = fit.toCanvas(changed);
            // Only pixels in `toSource` may be read.
            const Rect needed = fit.toSource(onCanvas);
            ASSERT_TRUE(contains(picture.area, needed));
            PixelView part{picture.view().at(needed.x, needed.y), width * 4, needed};
            fit.draw(part, canvas, onCanvas);
            Canvas fresh(100, 60);
            fit.draw(picture.view(), fresh, fit.picture());
            ASSERT_TRUE(equal(canvas, fresh)) << width << 'x' << height;
        }
    }
}

// Of the axis's pixels `from`, those that pixel `target` of `to` shows, and how much of each.
std::vector<std::pair<int, double>> covered(int target, int from, int to) {
    const double reach = std::max(1.0, double(from) / to);
    const double start = std::clamp((target + 0.5) * from / to - reach / 2, 0.0, from - reach);
    std::vector<std::pair<int, double>> shares;
    for (int pixel = static_cast<int>(start); pixel < std::min<double>(from, start + reach); ++pixel)
        shares.emplace_back(
            pixel, (std::min(start + reach, pixel + 1.0) - std::max(start, double(pixel))) / reach);
    return shares;
}

TEST(PictureFit, weighsWhatAPixelCovers) {
    const struct {
        int width, height;
        double tolerance;
    } cases[] = {
        {192, 80, 0.51}, // exactly half the size: rounded once
        {128, 54, 2},
        {138, 57, 2},
        {288, 120, 2},
        {700, 291, 2},
        {50, 20, 2},
        {97, 39, 2},
    };
    for (const auto& c : cases) {
        Picture picture(c.width, c.height);
        picture.noise();
        PictureFit fit(c.width, c.height, 96, 40);
        Canvas whole(96, 40), strips(96, 40);
        fit.draw(picture.view(), whole, fit.picture());
        for (int x = fit.picture().x; x < rightOf(fit.picture()); x += 2) // too narrow for the vector code
            fit.draw(picture.view(), strips, {x, fit.picture().y, 2, fit.picture().height});
        EXPECT_TRUE(equal(whole, strips)) << c.width << 'x' << c.height;

        const auto rgbMean = [&](int x, int y) {
            std::array<double, 3> mean{};
            for (const auto& [line, ofLine] : covered(y, c.height, fit.picture().height))
                for (const auto& [column, ofColumn] : covered(x, c.width, fit.picture().width))
                    for (std::size_t channel = 0; channel < 3; ++channel)
                        mean[channel] += ofLine * ofColumn * picture.view().at(column, line)[2 - channel];
            return mean;
        };
        const auto dot = [](const std::array<double, 3>& rgb, double red, double green, double blue) {
            return (red * rgb[0] + green * rgb[1] + blue * rgb[2]) / 255;
        };
        for (int y = 0; y < fit.picture().height; y += 2)
            for (int x = 0; x < fit.picture().width; x += 2) {
                const int left = fit.picture().x + x, top = fit.picture().y + y;
                std::array<double, 3> square{};
                for (const auto& [i, j] : {std::pair{0, 0}, {1, 0}, {0, 1}, {1, 1}}) {
                    const auto rgb = rgbMean(x + i, y + j);
                    for (std::size_t channel = 0; channel < 3; ++channel)
                        square[channel] += rgb[channel] / 4;
                    ASSERT_NEAR(whole.planes[0][(top + j) * whole.strides[0] + left + i],
                        16 + 219 * dot(rgb, 0.2126, 0.7152, 0.0722), c.tolerance)
                        << c.width << 'x' << c.height << ": " << x << ' ' << y;
                }
                const int at = top / 2 * whole.strides[1] + left / 2;
                ASSERT_NEAR(
                    whole.planes[1][at], 128 + 224 * dot(square, -0.11457, -0.38543, 0.5), c.tolerance);
                ASSERT_NEAR(
                    whole.planes[2][at], 128 + 224 * dot(square, 0.5, -0.45415, -0.04585), c.tolerance);
            }
    }
}

TEST(PictureFit, changesNoPlainColor) {
    for (const auto& [width, height] : {std::pair{63, 41}, {200, 120}, {257, 143}, {1000, 333}}) {
        Picture picture(width, height);
        picture.fill(picture.area, {255, 255, 255});
        PictureFit fit(width, height, 100, 60);
        Canvas canvas(100, 60);
        fit.draw(picture.view(), canvas, fit.picture());
        for (int x = fit.picture().x; x < rightOf(fit.picture()); ++x)
            EXPECT_EQ(canvas.planes[0][fit.picture().y * canvas.strides[0] + x], 235);
    }
}

TEST(CanvasPool, givesCanvasesThatShowTheLatestPicture) {
    const auto pool = std::make_shared<CanvasPool>(256, 128, 5, [] {}); // several pages each
    Canvas expected(256, 128);
    std::shared_ptr<Canvas> latest;
    struct Reading {
        std::shared_ptr<const Canvas> canvas;
        std::shared_ptr<Canvas> was;
    };
    std::vector<Reading> held;
    int inPlace = 0;
    for (int round = 0; round < 500; ++round) {
        if (!pool->canTake() || roll(0, 2) == 0) {
            std::shuffle(held.begin(), held.end(), dice);
            held.resize(static_cast<std::size_t>(roll(0, int(held.size()))) / 2);
            continue;
        }
        if (roll(0, 9) == 0)
            pool->forgetUnused(std::chrono::seconds(0));
        PictureRegion damage;
        for (int i = roll(1, 3); i > 0; --i)
            damage.add(evenAligned(intersected(evenAligned(randomRect(256, 128)), {0, 0, 256, 128})));
        if (!latest)
            damage.add({0, 0, 256, 128});
        const auto canvas = pool->take(latest, damage);
        inPlace += canvas == latest;
        EXPECT_EQ(pool->read(canvas), nullptr) << "it is being drawn";
        for (const Rect& rect : damage.rects()) {
            Picture patch(rect.width, rect.height);
            patch.noise();
            convertPixels(patch.view(), 0, 0, *canvas, rect);
            convertPixels(patch.view(), 0, 0, expected, rect);
        }
        ASSERT_TRUE(equal(*canvas, expected)) << "round " << round;
        latest = canvas;
        held.push_back({pool->publish(canvas), std::make_shared<Canvas>(256, 128)});
        held.back().was->copyFrom(*canvas, canvas->bounds());
        for (const Reading& reading : held)
            ASSERT_TRUE(equal(*reading.canvas, *reading.was))
                << "a reader's picture changed, round " << round;
        if (roll(0, 3) == 0)
            held.clear();
    }
    EXPECT_GT(inPlace, 50);
}

TEST(CanvasPool, tellsWhenAMissingCanvasIsBack) {
    int released = 0;
    const auto pool = std::make_shared<CanvasPool>(8, 8, 2, [&] { ++released; });
    auto first = pool->take(nullptr, PictureRegion({0, 0, 8, 8}));
    auto firstReader = pool->publish(first);
    auto second = pool->take(first, PictureRegion({0, 0, 2, 2}));
    auto secondReader = pool->publish(second);
    EXPECT_NE(second, first);
    EXPECT_FALSE(pool->canTake());
    std::thread([&] { secondReader.reset(); }).join();
    EXPECT_EQ(released, 1) << "the latest can be drawn over";
    EXPECT_TRUE(pool->canTake());
    secondReader = pool->publish(second);
    EXPECT_FALSE(pool->canTake());
    firstReader.reset();
    EXPECT_EQ(released, 1);
    std::thread([&] { first.reset(); }).join();
    EXPECT_EQ(released, 2);
    EXPECT_TRUE(pool->canTake());
    secondReader.reset();
    second.reset();
    EXPECT_EQ(released, 2);
}

TEST(FramePacer, holdsTheAverageAndLetsJitterPass) {
    constexpr auto interval = 1'000'000us / 60;
    FramePacer pacer(interval);
    const FramePacer::Clock::time_point start{1h};
    int late = 0;
    for (int frame = 0; frame < 600; ++frame) { // 60 times a second, up to 6 ms early or late
        const auto painted = start + frame * interval + std::chrono::microseconds(roll(-6000, 6000));
        const auto taken = std::max(painted, pacer.next());
        late += taken - painted > 5ms;
        pacer.taken(taken);
    }
    EXPECT_EQ(late, 0);

    FramePacer busy(interval);
    auto now = start;
    for (int frame = 0; frame < 600; ++frame) { // always ready
        now = std::max(now, busy.next());
        busy.taken(now);
    }
    EXPECT_GE(now - start, 596 * interval);
    EXPECT_LE(busy.next(), now + interval);
}

struct PlainFrame : VideoFrame {};

TEST(FrameChannel, deliversInOrderAndTellsOfRoom) {
    int room = 0;
    const auto channel = std::make_shared<FrameChannel>(EventLoop::current(), 2, [&] { ++room; });
    std::vector<std::uint64_t> seen;
    channel->addHandler([&](const VideoFramePtr& frame) { seen.push_back(frame->sequence); });
    std::thread([&] {
        for (std::uint64_t i = 0; i < 3; ++i) {
            auto frame = std::make_shared<PlainFrame>();
            frame->sequence = i;
            channel->send(frame);
        }
        EXPECT_FALSE(channel->hasRoom());
        channel->countDropped();
    }).join();
    EXPECT_TRUE(test::waitUntil([&] { return seen.size() == 3; }));
    EXPECT_EQ(seen, (std::vector<std::uint64_t>{0, 1, 2}));
    EXPECT_TRUE(channel->hasRoom());
    EXPECT_EQ(room, 2);
    EXPECT_EQ(channel->statistics().framesDelivered, 3u);
    EXPECT_EQ(channel->statistics().framesDropped, 1u);
}

TEST(FrameChannel, isSilentOnceClosed) {
    const auto channel = std::make_shared<FrameChannel>(EventLoop::current(), 2, [] {});
    int seen = 0;
    channel->addHandler([&](const VideoFramePtr&) {
        ++seen;
        channel->close();
    });
    channel->send(std::make_shared<PlainFrame>());
    channel->send(std::make_shared<PlainFrame>());
    EXPECT_TRUE(test::waitUntil([&] { return channel->hasRoom(); }));
    bool drained = false;
    EventLoop::current()->post([&] { drained = true; });
    EXPECT_TRUE(test::waitUntil([&] { return drained; }));
    EXPECT_EQ(seen, 1);
}

} // namespace
} // namespace tavro
