#include "Platform/Wayland/WaylandOutputs.h"

#include "support/Programs.h"
#include "support/TestSupport.h"

#include <algorithm>

namespace tavro {
namespace {

void sway(const QString& command) {
    test::outputOf(QStringLiteral("swaymsg"), {QStringLiteral("--"), command});
}

WaylandOutput named(const QString& connector) {
    const auto outputs = listOutputs();
    const auto found = std::ranges::find(outputs, connector, &WaylandOutput::connector);
    return found == outputs.end() ? WaylandOutput() : *found;
}

const QString first = QStringLiteral("HEADLESS-1");

TEST(WaylandOutputs, haveTheirPlaceInTheDesktopAndTheirPicturesSize) {
    const struct {
        const char* command;
        QRect area;
        QSize pixels;
    } cases[] = {
        {"output HEADLESS-1 mode 1600x900 position 100 40 scale 1", {100, 40, 1600, 900}, {1600, 900}},
        {"output HEADLESS-1 scale 2", {100, 40, 800, 450}, {1600, 900}},
        {"output HEADLESS-1 scale 1.25", {100, 40, 1280, 720}, {1600, 900}},
        {"output HEADLESS-1 transform 90", {100, 40, 720, 1280}, {900, 1600}},
        {"output HEADLESS-1 transform flipped-180", {100, 40, 1280, 720}, {1600, 900}},
        {"output HEADLESS-1 transform normal scale 1", {100, 40, 1600, 900}, {1600, 900}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.command);
        sway(QString::fromLatin1(c.command));
        EXPECT_TRUE(test::waitUntil([&] { return named(first).area == c.area; }));
        EXPECT_EQ(named(first).pixels, c.pixels);
    }
    EXPECT_TRUE(named(first).description.startsWith(u"Headless output"));
    EXPECT_EQ(named(first).make, u"headless");
}

TEST(WaylandOutputs, areListedByTheirPositions) {
    const auto before = listOutputs().size();
    sway(QStringLiteral("output HEADLESS-1 position 0 0"));
    sway(QStringLiteral("create_output"));
    ASSERT_TRUE(test::waitUntil([&] { return listOutputs().size() == before + 1; }));
    QString added;
    for (const WaylandOutput& output : listOutputs()) {
        if (output.connector != first)
            added = output.connector; // the newest has the highest number
    }
    for (const auto& [position, leads] : {std::pair("-3000 0", true), std::pair("3000 0", false)}) {
        sway(QStringLiteral("output %1 position %2").arg(added, QLatin1String(position)));
        EXPECT_TRUE(test::waitUntil([&] {
            const auto list = listOutputs();
            return (list.front().connector == added) == leads && (list.back().connector == added) != leads;
        })) << position;
    }
}

} // namespace
} // namespace tavro
