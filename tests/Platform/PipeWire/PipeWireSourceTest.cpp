#include "CastCapture.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

namespace tavro {
namespace {

using test::CastCapture;
using test::CastColors;
using test::CastCursor;
using test::CastFrame;
using test::CastOptions;
using test::CastPicture;
using test::CastSource;
using test::shows;

constexpr Rect whole{0, 0, 320, 180};
const std::vector<Rect> changes{{40, 30, 20, 10}, {200, 120, 30, 20}};

CastPicture changed(CastPicture picture, const std::vector<Rect>& rects, std::uint32_t color = 0xff20c040) {
    for (const Rect& rect : rects)
        picture.fill(rect, color);
    return picture;
}

bool isSmall(const PictureRegion& damage) {
    return damage.area() < std::int64_t{whole.width} * whole.height / 4;
}

struct ChangeCase {
    const char* name;
    CastOptions cast = {};
    std::vector<Rect> damage = changes;
    bool pointerInMetadata = false;
    bool withoutStride = false;
    Rect crop = whole;
    int width = whole.width; // of the canvas
    int height = whole.height;
};

// However a desktop tells a change, the picture is right and only a part of it is drawn.
TEST(PipeWireSourceTest, DrawsWhatHasChanged) {
    const std::vector<Rect> beyond{{-70, -50, 130, 90}, {200, 120, 2'000'000'000, 2'000'000'000}};
    const ChangeCase cases[] = {
        {.name = "told damage"},
        {.name = "no damage told", .cast = {.tellsDamage = false}},
        {.name = "always all damaged", .damage = {whole}},
        {.name = "damage larger than all", .damage = {{-5, -5, 400, 300}}},
        {.name = "damage beyond the picture", .damage = beyond},
        {.name = "BGRA", .cast = {.colors = CastColors::bgra}},
        {.name = "RGBx", .cast = {.colors = CastColors::rgbx}},
        {.name = "RGBA, scaled", .cast = {.colors = CastColors::rgba}, .width = 200, .height = 120},
        {.name = "RGBx, compared", .cast = {.colors = CastColors::rgbx, .tellsDamage = false}},
        {.name = "padded lines", .cast = {.linePadding = 52}},
        {.name = "padded lines, compared", .cast = {.tellsDamage = false, .linePadding = 52}},
        {.name = "no stride told", .withoutStride = true},
        {.name = "a part of the buffers", .crop = {21, 10, 250, 160}, .width = 250, .height = 160},
        {.name = "a part of the buffers, compared",
            .cast = {.tellsDamage = false},
            .crop = {21, 10, 250, 160},
            .width = 250,
            .height = 160},
        {.name = "half the size", .width = 160, .height = 90},
        {.name = "scaled", .damage = {whole}, .width = 254, .height = 180},
        {.name = "the pointer told, but never there", .pointerInMetadata = true},
    };
    for (const ChangeCase& c : cases) {
        SCOPED_TRACE(c.name);
        CastSource cast(c.cast);
        CastCapture capture(cast, c.width, c.height, c.pointerInMetadata);
        CastPicture picture = test::patternOf(whole.width, whole.height);
        const auto frame = [&] {
            return CastFrame{
                .picture = picture, .damage = c.damage, .crop = c.crop, .withoutStride = c.withoutStride};
        };
        capture.begin(frame());
        EXPECT_TRUE(shows(*capture.source.picture(), test::partOf(picture, c.crop)));

        picture = changed(picture, changes);
        ASSERT_TRUE(capture.show(frame(), test::partOf(picture, c.crop)));
        EXPECT_TRUE(isSmall(capture.source.damage()));
        EXPECT_FALSE(capture.source.grab()) << "nothing more has changed";
    }
}

// Frames without a picture, or without news, lead to no drawing; the next one's damage alone is drawn.
TEST(PipeWireSourceTest, DrawsNothingOfFramesThatShowNothing) {
    const CastPicture first = test::patternOf(whole.width, whole.height);
    const CastPicture other(whole.width, whole.height, 0xff808080);
    struct {
        const char* name;
        CastFrame frame;
    } const cases[] = {
        {"marked as corrupted", {.picture = other, .damage = {whole}, .isCorrupted = true}},
        {"of no size", {.picture = other, .damage = {whole}, .isEmpty = true}},
        {"the same picture again", {.picture = first, .damage = {whole}}},
        {"without damage, so without a look", {.picture = other}},
        {"with damage elsewhere", {.picture = first, .damage = {{-400, 0, 300, 100}, {0, 180, 320, 100}}}},
    };
    CastSource cast;
    CastCapture capture(cast, whole.width, whole.height, true);
    capture.begin(CastFrame{first});
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ASSERT_TRUE(capture.waitUntil([&] { return cast.send(c.frame); }));
        const CastPicture next = changed(first, {{8, 8, 30, 30}});
        ASSERT_TRUE(capture.show({.picture = next, .damage = {{8, 8, 30, 30}}}, next));
        EXPECT_TRUE(isSmall(capture.source.damage()));
        ASSERT_TRUE(capture.show({.picture = first, .damage = {{8, 8, 30, 30}}}, first));
    }
}

// A desktop that draws the pointer itself may leave it out of the damage it tells. What is missed at first is
// drawn with the next such frame.
TEST(PipeWireSourceTest, BelievesNoDamageThatLeavesThePointerOut) {
    CastSource cast;
    CastCapture capture(cast, whole.width, whole.height);
    const CastPicture first = test::patternOf(whole.width, whole.height);
    capture.begin(CastFrame{first});
    const Rect text{8, 8, 30, 30}, pointer{100, 90, 16, 16}, later{150, 20, 16, 16};
    const CastFrame typed{.picture = changed(first, {text, pointer}), .damage = {text}};
    ASSERT_TRUE(capture.waitUntil([&] { return cast.send(typed); }));
    const CastPicture moved = changed(first, {text, later}); // with no damage
    ASSERT_TRUE(capture.show({.picture = moved}, moved));
    const CastPicture third = changed(first, {pointer});
    ASSERT_TRUE(capture.show({.picture = third, .damage = {text}}, third));
    EXPECT_TRUE(isSmall(capture.source.damage()));
}

TEST(PipeWireSourceTest, DrawsThePointerThatIsToldBesideThePicture) {
    CastPicture arrow(24, 20, 0);
    arrow.fill({2, 3, 12, 10}, 0xff305070);
    arrow.fill({5, 9, 15, 8}, 0x80402010); // half transparent, premultiplied
    const auto image = [&](CastColors colors, int padding = 0) {
        return CastCursor::Bitmap{arrow, 4, 5, colors, padding};
    };
    const CastPicture first = test::patternOf(whole.width, whole.height);
    const Rect drawn{90, 80, 20, 20}; // touches the pointer of some steps
    const CastPicture second = changed(first, {drawn});
    struct {
        const char* name;
        CastFrame frame;           // without a picture it is one that only tells the pointer
        std::optional<Rect> place; // of the hot spot
    } const steps[] = {
        {"moved", {.cursor = CastCursor{100, 90}}, Rect{100, 90}},
        {"over a change", {.picture = second, .damage = {drawn}, .cursor = CastCursor{100, 90}},
            Rect{100, 90}},
        {"another order of colours", {.cursor = CastCursor{150, 90, image(CastColors::bgra)}}, Rect{150, 90}},
        {"padded", {.cursor = CastCursor{151, 91, image(CastColors::argb, 12)}}, Rect{151, 91}},
        {"over the edge", {.cursor = CastCursor{-3, 178, image(CastColors::abgr)}}, Rect{-3, 178}},
        {"gone", {.cursor = CastCursor{.id = 0}}, {}},
        {"there again", {.cursor = CastCursor{300, 20}}, Rect{300, 20}},
        {"invisible", {.cursor = CastCursor{300, 20, CastCursor::Bitmap{{0, 0, 0}}}}, {}},
        {"visible", {.cursor = CastCursor{31, 21, image(CastColors::rgba)}}, Rect{31, 21}},
    };
    for (const CastColors colors : {CastColors::bgrx, CastColors::rgbx}) {
        CastSource cast({.colors = colors});
        CastCapture capture(cast, whole.width, whole.height, true);
        capture.begin(CastFrame{.picture = first, .cursor = CastCursor{50, 40, image(CastColors::rgba)}});
        EXPECT_TRUE(shows(*capture.source.picture(), test::withPointer(first, arrow, 46, 35)));
        CastPicture picture = first;
        for (const auto& step : steps) {
            SCOPED_TRACE(step.name);
            CastFrame frame = step.frame;
            picture = frame.picture.value_or(picture);
            frame.isCorrupted = frame.isEmpty = !frame.picture;
            const CastPicture expected =
                step.place ? test::withPointer(picture, arrow, step.place->x - 4, step.place->y - 5)
                           : picture;
            ASSERT_TRUE(capture.show(frame, expected));
            EXPECT_TRUE(isSmall(capture.source.damage()));
        }
        EXPECT_TRUE(cast.isUntouched());
    }
}

TEST(PipeWireSourceTest, FollowsAnotherSizeInMidStream) {
    CastSource cast;
    CastCapture capture(cast, whole.width, whole.height, true);
    capture.begin(CastFrame{test::patternOf(320, 180)});
    const test::LogLines log;
    for (const auto& [width, height] : {std::pair{200, 180}, {640, 360}, {320, 180}}) {
        cast.resize(width, height);
        const CastFrame pointer{
            .cursor = CastCursor{60, 60, CastCursor::Bitmap{{9, 9, 0xffffffff}}}, .isEmpty = true};
        ASSERT_TRUE(capture.waitUntil([&] { return cast.send(pointer); }));
        EXPECT_FALSE(capture.source.grab()) << "a picture that is gone";
        const CastPicture picture = test::patternOf(width, height);
        ASSERT_TRUE(capture.show({.picture = picture}, picture)) << width;
    }
    EXPECT_TRUE(log.contains(QStringLiteral("[INFO] capture: the shared screen is now 640×360")));
    EXPECT_EQ(capture.timesStopped, 0);
}

TEST(PipeWireSourceTest, FollowsAPartThatChangesItsPlaceAndSize) {
    CastSource cast;
    CastCapture capture(cast, 100, 90, true);
    const CastPicture picture = test::patternOf(320, 180);
    capture.begin(CastFrame{.picture = picture, .crop = Rect{0, 0, 100, 90}});
    for (const Rect& crop : {Rect{30, 20, 100, 90}, Rect{30, 20, 81, 47}, Rect{300, 100, 100, 90}}) {
        ASSERT_TRUE(capture.show({.picture = picture, .damage = {{310, 120, 4, 4}}, .crop = crop},
            test::partOf(picture, intersected(crop, whole))));
    }
}

// A sender without a free buffer may drop a picture, with what it would have told of its damage.
TEST(PipeWireSourceTest, DrawsAllAfterTheSenderHadNoBufferLeft) {
    CastSource cast({.buffers = 6});
    CastCapture capture(cast, whole.width, whole.height);
    CastPicture picture = test::patternOf(whole.width, whole.height);
    capture.begin(CastFrame{picture});
    int sent = 0;
    for (bool hasBuffer = true; hasBuffer && sent < 20; sent += hasBuffer) {
        picture.fill({8 * sent, 0, 8, 8}, 0xff00ff00u);
        hasBuffer = cast.send({.picture = picture, .damage = {{8 * sent, 0, 8, 8}}});
    }
    ASSERT_GT(sent, 3);
    picture.fill({100, 100, 50, 50}, 0xff0000ffu); // dropped
    picture.fill({200, 16, 8, 8}, 0xffff0000u);
    EXPECT_TRUE(capture.show({.picture = picture, .damage = {{200, 16, 8, 8}}}, picture));
}

// The newest frame is shown, and the sender's buffers come back however many frames are left out.
TEST(PipeWireSourceTest, KeepsOnlyTheNewestBuffer) {
    CastSource cast({.buffers = 4});
    CastCapture capture(cast, whole.width, whole.height);
    CastPicture picture = test::patternOf(whole.width, whole.height);
    capture.begin(CastFrame{picture});
    for (int round = 0; round < 20; ++round) {
        for (int x = 0; x < 3; ++x) { // each changes another place, which only its own damage tells
            const Rect place{x * 40, round * 8, 16, 8};
            picture.fill(place, 0xff000000u + static_cast<std::uint32_t>(round * 10 + x));
            const CastFrame frame{.picture = picture, .damage = {place}};
            ASSERT_TRUE(capture.waitUntil([&] { return cast.send(frame); })) << round;
        }
        ASSERT_TRUE(capture.waitUntil([&] {
            return capture.source.grab() && shows(*capture.source.picture(), picture);
        })) << round;
    }
    while (cast.send({picture})) // all but the one that is held
        ;
    EXPECT_TRUE(capture.waitUntil([&] { return cast.send({picture}); }));
}

} // namespace
} // namespace tavro
