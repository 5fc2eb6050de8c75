#include "Capture/CaptureTarget.h"
#include "Platform/Fake/FakeScreenCapture.h"

#include "support/TestSupport.h"

namespace tavro {
namespace {

using test::await;

CaptureTargetMeta target(CaptureKind kind, const char* identifier) {
    return {kind, QString::fromLatin1(identifier), {}};
}

TEST(CaptureCatalog, offersDisplaysInThePlatformsOrder) {
    FakeScreenCapture screen;
    screen.content = {{{5, 2560, 1440}, {1, 1920, 1080}}, {{7, QStringLiteral("a window")}}};
    const auto options = await(CaptureCatalog::displays(screen));
    const auto option = [](const char* number, const char* label) {
        return CaptureOption{QStringLiteral("display-") + QLatin1String(number), CaptureKind::display,
            QString::fromUtf8(label),
            {CaptureKind::display, QLatin1String(number), QString::fromUtf8(label)}};
    };
    EXPECT_EQ(
        options, (std::vector{option("5", "Display 1 (2560×1440)"), option("1", "Display 2 (1920×1080)")}));
}

TEST(CaptureCatalog, takesThePlatformsWordsOverItsOwn) {
    FakeScreenCapture screen;
    const QString words = QStringLiteral("Chosen in a dialog"), hint = QStringLiteral("Choose one.");
    screen.content = {
        {{.displayID = 5, .width = 10, .height = 20, .hint = hint}, {.displayID = 6, .label = words}}, {}};
    const auto options = await(CaptureCatalog::displays(screen));
    ASSERT_EQ(options.size(), 2u);
    EXPECT_EQ(options[0].label, u"Display 1 (10×20)");
    EXPECT_EQ(options[0].hint, hint);
    EXPECT_EQ(options[1].label, words);
    EXPECT_EQ(options[1].meta.label, words);
    EXPECT_EQ(options[1].hint, QString());
}

TEST(CaptureCatalog, findsTargetsByTheTextOfTheirNumbers) {
    FakeScreenCapture screen;
    const ShareableContent some{{{1, 10, 10}, {3, 10, 10}}, {{7, {}}, {9, {}}}};
    const QString noDisplay =
        QStringLiteral("[ERROR] filter: no display matches id=%1. Available display IDs: %2. (A synthetic "
                       "'Primary display' id=1 from "
                       "setup won't match a real display — relaunch after granting Screen Recording.)");
    const struct {
        ShareableContent content;
        CaptureTargetMeta wanted;
        std::optional<ContentFilter> found;
        QStringList lines;
    } cases[] = {
        {some, target(CaptureKind::display, "3"), ContentFilter{ContentFilter::Kind::display, 3},
            {QStringLiteral(
                "[INFO] filter: requested kind=display id=3; available displays=[\"1\", \"3\"] windows=2")}},
        {some, target(CaptureKind::window, "9"), ContentFilter{ContentFilter::Kind::window, 9},
            {QStringLiteral(
                "[INFO] filter: requested kind=window id=9; available displays=[\"1\", \"3\"] windows=2")}},
        {some, target(CaptureKind::window, "3"), std::nullopt,
            {QStringLiteral(
                 "[INFO] filter: requested kind=window id=3; available displays=[\"1\", \"3\"] windows=2"),
                QStringLiteral("[ERROR] filter: no window matches id=3")}},
        {some, target(CaptureKind::display, "01"), std::nullopt,
            {QStringLiteral(
                 "[INFO] filter: requested kind=display id=01; available displays=[\"1\", \"3\"] windows=2"),
                noDisplay.arg(QStringLiteral("01"), QStringLiteral("[\"1\", \"3\"]"))}},
        {{}, target(CaptureKind::display, "1"), std::nullopt,
            {QStringLiteral("[INFO] filter: requested kind=display id=1; available displays=[] windows=0"),
                noDisplay.arg(QStringLiteral("1"), QStringLiteral("[]"))}},
    };
    for (const auto& c : cases) {
        screen.content = c.content;
        const test::LogLines lines;
        const auto found = await(CaptureCatalog::filter(screen, c.wanted));
        EXPECT_EQ(found.has_value(), c.found.has_value());
        if (found && c.found) {
            EXPECT_EQ(found->kind, c.found->kind);
            EXPECT_EQ(found->id, c.found->id);
        }
        EXPECT_EQ(lines.all(), c.lines);
    }
}

TEST(CaptureCatalog, passesThePlatformsErrorOn) {
    FakeScreenCapture screen;
    screen.failing[FakeScreenCapture::Step::shareableContent] =
        std::make_exception_ptr(PlatformError(QStringLiteral("Tavro.X11"), 1, QStringLiteral("no screen")));
    EXPECT_EQ(
        test::errorOf([&] { await(CaptureCatalog::displays(screen)); }).localizedDescription, u"no screen");
    const auto wanted = target(CaptureKind::display, "1");
    EXPECT_EQ(test::errorOf([&] { await(CaptureCatalog::filter(screen, wanted)); }).localizedDescription,
        u"no screen");
}

} // namespace
} // namespace tavro
