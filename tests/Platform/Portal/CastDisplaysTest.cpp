#include "Platform/Portal/CastDisplays.h"

#include <gtest/gtest.h>

namespace tavro::portal {
namespace {

WaylandOutput output(const char* connector, QRect area, QSize pixels) {
    WaylandOutput result;
    result.connector = QString::fromLatin1(connector);
    result.area = area;
    result.pixels = pixels;
    return result;
}

const WaylandOutput left = output("DP-1", {0, 0, 1920, 1080}, {1920, 1080});
const WaylandOutput right = output("DP-2", {1920, 0, 1920, 1080}, {1920, 1080});
const WaylandOutput mirror = output("DP-4", {0, 0, 1920, 1080}, {1920, 1080}); // of DP-1
const WaylandOutput small = output("HDMI-A-1", {1920, 0, 1280, 720}, {1280, 720});
const WaylandOutput scaled = output("eDP-1", {0, 0, 1920, 1080}, {3840, 2160});
const WaylandOutput atThreeHalves = output("DP-3", {1920, 0, 1706, 960}, {2560, 1440});

CastStream stream(
    std::optional<QSize> size, std::optional<QPoint> position = {}, const char* id = "", unsigned type = 1) {
    return {.node = 1, .id = QString::fromLatin1(id), .position = position, .size = size, .sourceType = type};
}

TEST(CastDisplays, anEntryForEachDisplayThatCanBeToldApart) {
    const struct {
        std::vector<WaylandOutput> outputs;
        bool tellsPositions;
        std::vector<QString> keys;
    } cases[] = {
        {{}, false, {}},
        {{left}, false, {QStringLiteral("DP-1")}},
        {{left, small}, false, {QStringLiteral("DP-1"), QStringLiteral("HDMI-A-1")}},
        {{left, right}, true, {QStringLiteral("DP-1"), QStringLiteral("DP-2")}},
        {{left, mirror}, true, {QStringLiteral("DP-1+DP-4")}},
        {{left, right}, false, {QStringLiteral("DP-1+DP-2")}},
        {{left, small, right}, false, {QStringLiteral("DP-1+DP-2"), QStringLiteral("HDMI-A-1")}},
        // A stream of 1920×1080 could be either: portals tell sizes in the layout or in pixels.
        {{scaled, right}, false, {QStringLiteral("eDP-1+DP-2")}},
    };
    for (const auto& c : cases) {
        std::vector<QString> keys;
        std::vector<std::uint32_t> numbers;
        for (const CastDisplay& display : castDisplays(c.outputs, c.tellsPositions)) {
            keys.push_back(display.key);
            EXPECT_NE(display.shown.displayID, 0U);
            EXPECT_EQ(std::ranges::count(numbers, display.shown.displayID), 0);
            numbers.push_back(display.shown.displayID);
            EXPECT_EQ(QSize(display.shown.width, display.shown.height), display.outputs.front().pixels);
            EXPECT_EQ(display.shown.label.isEmpty(), !display.isAmbiguous) << display.key.toStdString();
        }
        EXPECT_EQ(keys, c.keys);
    }
    EXPECT_FALSE(castDisplays({left, mirror}, true)[0].isAmbiguous) << "they show the same picture";
    EXPECT_TRUE(castDisplays({left, right}, false)[0].isAmbiguous);
    EXPECT_EQ(castDisplays({left, small}, false)[1].shown.displayID,
        castDisplays({small}, false)[0].shown.displayID)
        << "the number depends on the connector alone";
}

TEST(CastDisplays, aStreamIsTheDisplayThatItShowsOrNone) {
    const QSize hd(1920, 1080);
    const struct {
        const char* what;
        std::vector<WaylandOutput> outputs;
        bool tellsPositions;
        CastStream shared;
        const char* key; // null for none
    } cases[] = {
        {"by size", {left, small}, false, stream(QSize(1280, 720), QPoint(0, 0)), "HDMI-A-1"},
        {"by size, position not told", {left, small}, false, stream(hd, QPoint(0, 0)), "DP-1"},
        {"by position", {left, right}, true, stream(hd, QPoint(1920, 0), "1"), "DP-2"},
        {"by the position of the first", {left, right}, true, stream(hd, QPoint(0, 0), "0"), "DP-1"},
        {"a position that was not told", {left, right}, true, stream(hd, QPoint(0, 0)), nullptr},
        {"mirrored displays", {left, mirror}, true, stream(hd, QPoint(0, 0), "0"), "DP-1+DP-4"},
        {"one of two alike", {left, right}, false, stream(hd, QPoint(0, 0)), "DP-1+DP-2"},
        {"by size in the layout", {scaled, atThreeHalves}, false, stream(QSize(1706, 960)), "DP-3"},
        {"by size in pixels", {scaled, atThreeHalves}, false, stream(QSize(3840, 2160)), "eDP-1"},
        {"a whole workspace", {left, small}, false, stream(QSize(3200, 1080)), nullptr},
        {"no size", {left, small}, false, stream(std::nullopt), nullptr},
        {"a window", {left, small}, false, stream(QSize(640, 480), std::nullopt, "", 2), nullptr},
        {"the only display, size rounded", {atThreeHalves}, false, stream(QSize(1707, 960)), "DP-3"},
        {"the only display, called a window", {left}, false, stream(hd, QPoint(0, 0), "", 2), "DP-1"},
        {"a window beside the only display", {left}, false, stream(QSize(640, 480), std::nullopt, "", 2),
            nullptr},
        {"another place than any display's", {left, right}, true, stream(hd, QPoint(5, 5), "1"), nullptr},
    };
    for (const auto& c : cases) {
        const auto displays = castDisplays(c.outputs, c.tellsPositions);
        const CastDisplay* found = displayOf(c.shared, displays);
        EXPECT_EQ(found ? found->key : QString(), QString::fromLatin1(c.key)) << c.what;
    }
}

} // namespace
} // namespace tavro::portal
