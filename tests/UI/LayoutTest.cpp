// The palette, typefaces, sizes and order of the windows, as they are rendered at the usual text size.
#include "UI/Theme.h"
#include "gallery/Scenes.h"
#include "support/TestSupport.h"

#include <QGuiApplication>
#include <QImage>
#include <QQuickItem>

#include <algorithm>
#include <memory>
#include <ostream>

using namespace tavro;
using namespace tavro::test;

namespace {

std::vector<QQuickItem*> visibleItems(const ViewWindow& window) {
    std::vector<QQuickItem*> items;
    for (QQuickItem* item : window.rootObject()->findChildren<QQuickItem*>())
        if (item->isVisible() && item->width() > 0 && item->height() > 0)
            items.push_back(item);
    return items;
}

QRectF placeOf(const QQuickItem* item) {
    return item->mapRectToScene(item->boundingRect());
}

struct LayoutTest : testing::Test {
    std::unique_ptr<gallery::Scene> scene;
    ViewWindow* window = nullptr;
    QImage picture;

    LayoutTest() {
        Theme::registerFonts();
        QFont font = QGuiApplication::font();
        font.setPointSizeF(10);
        QGuiApplication::setFont(font);
    }

    void open(const char* name) {
        scene.reset(); // the former one first
        const auto entries = gallery::entries();
        const auto entry = std::ranges::find(entries, QLatin1String(name), &gallery::Entry::name);
        ASSERT_NE(entry, entries.end());
        scene = entry->open();
        window = scene->windows().front();
        ASSERT_TRUE(waitUntil([&] { return scene->isReady() && window->isExposed(); }));
        ASSERT_TRUE(waitUntil([&] { return window->size() == window->minimumSize(); }));
        picture = window->grabWindow().convertToFormat(QImage::Format_ARGB32);
    }

    QQuickItem* text(const char* words) const {
        for (QQuickItem* item : visibleItems(*window))
            if (item->inherits("QQuickText") && item->property("text") == QString::fromUtf8(words))
                return item;
        ADD_FAILURE() << "no text " << words;
        return nullptr;
    }
    /// From top to bottom and from left to right.
    QStringList texts() const {
        std::vector<QQuickItem*> items = visibleItems(*window);
        std::erase_if(items, [](const QQuickItem* item) {
            return !item->inherits("QQuickText") || item->property("text").toString().isEmpty();
        });
        std::ranges::sort(items, [](const QQuickItem* a, const QQuickItem* b) {
            const QPointF first = placeOf(a).center(), second = placeOf(b).center();
            return std::abs(first.y() - second.y()) > 6 ? first.y() < second.y() : first.x() < second.x();
        });
        QStringList result;
        for (const QQuickItem* item : items)
            result << item->property("text").toString();
        return result;
    }
    /// "#AARRGGBB" as rendered.
    std::string colorAt(QPointF point) const {
        return picture.pixelColor(point.toPoint()).name(QColor::HexArgb).toStdString();
    }
};

} // namespace

TEST_F(LayoutTest, textsHaveTheirTypefaceAndColor) {
    enum Weight { normal = QFont::Normal, medium = QFont::Medium, semiBold = QFont::DemiBold };
    const struct {
        const char *scene, *text, *family;
        int pixels;
        Weight weight;
        const char* color;
    } rows[] = {
        {"panel-recording", "04:17", "JetBrains Mono", 15, normal, "#fbf8f1"},
        {"panel-recording", "Finish", "Inter", 13, semiBold, "#fbf8f1"},
        {"panel-finishing", "Finishing…", "Inter", 13, semiBold, "#e9dfc9"},
        {"setup", "New Session", "Fraunces", 24, semiBold, "#fbf8f1"},
        {"setup", "Project", "Inter", 13, normal, "#e9dfc9"},
        {"setup", "Narrate with microphone", "Inter", 13, normal, "#fbf8f1"},
        {"setup", "Cancel", "Inter", 13, medium, "#e9dfc9"},
        {"setup", "Start", "Inter", 13, semiBold, "#fbf8f1"},
        {"wizard", "Welcome to Tavro", "Fraunces", 30, semiBold, "#fbf8f1"},
        {"wizard", "Record test-scenario runthroughs with video, narration, and screenshots.", "Inter", 13,
            normal, "#e9dfc9"},
        {"wizard", "PERMISSIONS", "JetBrains Mono", 11, normal, "#7c8b5a"},
        {"wizard", "Microphone", "Inter", 13, normal, "#fbf8f1"},
        {"wizard", "Not signed in", "Inter", 13, normal, "#e9dfc9"},
        {"wizard", "Sign in with browser", "Inter", 13, medium, "#e9dfc9"},
        {"wizard", "Done", "Inter", 13, semiBold, "#fbf8f1"},
    };
    for (const auto& row : rows) {
        open(row.scene);
        const QQuickItem* item = text(row.text);
        ASSERT_TRUE(item);
        const auto font = item->property("font").value<QFont>();
        EXPECT_EQ(font.family(), QLatin1String(row.family)) << row.text;
        EXPECT_EQ(font.pixelSize(), row.pixels) << row.text;
        EXPECT_EQ(font.weight(), row.weight) << row.text;
        EXPECT_EQ(item->property("color").value<QColor>().name().toStdString(), row.color) << row.text;
    }
    EXPECT_EQ(text("PERMISSIONS")->property("font").value<QFont>().letterSpacing(), 1.5);
}

TEST_F(LayoutTest, theBarIsOneRowOfFixedSizes) {
    open("panel-recording");
    const auto* capsule = window->rootObject()->findChild<QQuickItem*>(QStringLiteral("capsule"));
    const QRectF bar = placeOf(capsule);
    EXPECT_EQ(bar.height(), 48);
    EXPECT_EQ(capsule->property("radius"), 24);

    QList<QQuickItem*> row = text("04:17")->parentItem()->childItems();
    row.removeIf([](const QQuickItem* item) { return !item->isVisible(); });
    constexpr double own = 0; // as its text needs
    const struct {
        const char* what;
        double width, height;
        QPointF sample; // from its top left corner
        const char* color;
    } columns[] = {{"dot", 10, 10, {5, 5}, "#ffd6473b"}, {"time", own, own, {}, ""},
        {"level", 44, 14, {20, 7}, "#ff7c8b5a"}, {"pause", 30, 30, {15, 4}, "#ff241f1a"},
        {"finish", own, 30, {8, 15}, "#ff7c8b5a"}, {"more", 24, own, {}, ""}};
    ASSERT_EQ(row.size(), std::ssize(columns));
    double left = bar.left() + 16;
    for (qsizetype i = 0; i < row.size(); ++i) {
        const auto& [what, width, height, sample, color] = columns[i];
        const QRectF place = placeOf(row[i]);
        EXPECT_EQ(place.left(), left) << what;
        EXPECT_NEAR(place.center().y(), bar.center().y(), 0.5) << what;
        EXPECT_TRUE(width == own || place.width() == width) << what << place.width();
        EXPECT_TRUE(height == own || place.height() == height) << what << place.height();
        if (*color) {
            const auto isShown = [&] { return colorAt(place.topLeft() + sample) == color; };
            EXPECT_TRUE(waitUntil(isShown)) << what; // the level moves there
        }
        left = place.right() + 12;
    }
    EXPECT_EQ(left - 12 + 16, bar.right());
    EXPECT_NEAR(placeOf(text("Finish")).right() + 14, placeOf(row[4]).right(), 1);
    EXPECT_EQ(colorAt(placeOf(row[2]).topRight() + QPointF(-6, 7)), "#ff3e3833") << "the meter's track";
    EXPECT_EQ(capsule->property("color").value<QColor>().name(QColor::HexArgb), u"#eb1b1814");
}

TEST_F(LayoutTest, theBarShowsItsState) {
    const auto child = [&](const char* type, double width) {
        const auto items = visibleItems(*window);
        return *std::ranges::find_if(
            items, [&](const QQuickItem* item) { return item->inherits(type) && item->width() == width; });
    };
    const struct {
        const char* scene;
        double dot, row;
        const char* symbol;
    } states[] = {{"panel-recording", 1, 1, "pause.fill"}, {"panel-paused", 0.3, 1, "play.fill"},
        {"panel-finishing", 1, 0.6, "pause.fill"}};
    for (const auto& state : states) {
        open(state.scene);
        EXPECT_EQ(child("tavro::Plate", 10)->opacity(), state.dot) << state.scene;
        EXPECT_EQ(child("tavro::Symbol", 14)->property("name"), QLatin1String(state.symbol)) << state.scene;
        EXPECT_EQ(child("QQuickProgressBar", 44)->parentItem()->opacity(), state.row) << state.scene;
        EXPECT_EQ(child("QQuickProgressBar", 44)->parentItem()->isEnabled(), state.row == 1) << state.scene;
    }
}

TEST_F(LayoutTest, formsHaveTheirOrderAndMargins) {
    const QStringList wizard{QStringLiteral("Welcome to Tavro"),
        QStringLiteral("Record test-scenario runthroughs with video, narration, and screenshots."),
        QStringLiteral("PERMISSIONS"), QStringLiteral("Screen Recording"), QStringLiteral("Grant"),
        QStringLiteral("Microphone"), QStringLiteral("Grant"), QStringLiteral("Speech Recognition"),
        QStringLiteral("Grant"), QStringLiteral("Quit & Relaunch"), QStringLiteral("SIGN IN"),
        QStringLiteral("Not signed in"), QStringLiteral("Sign in with browser"), QStringLiteral("Done")};
    const QStringList setup{QStringLiteral("New Session"), QStringLiteral("Project"),
        QStringLiteral("Scenario"), QStringLiteral("+ New scenario name"), QStringLiteral("Add"),
        QStringLiteral("Capture"), QStringLiteral("App URL (optional)"),
        QStringLiteral("Narrate with microphone"), QStringLiteral("Cancel"), QStringLiteral("Start")};
    for (const auto& [name, order] : {std::pair("wizard", wizard), std::pair("setup", setup)}) {
        SCOPED_TRACE(name);
        open(name);
        QStringList shown = texts();
        shown.removeIf([&order = order](const QString& words) { return !order.contains(words); });
        EXPECT_EQ(shown, order);
        EXPECT_EQ(window->width(), 460);
        EXPECT_EQ(colorAt({10, 10}), "#ff1b1814") << "the background";
        const QRectF content = placeOf(text(order.first().toUtf8())->parentItem());
        EXPECT_EQ(content, QRectF(window->contentItem()->boundingRect()).adjusted(28, 28, -28, -28));
    }
}

TEST_F(LayoutTest, theWizardsCardsAndButtonsHaveTheirLook) {
    open("wizard");
    const QQuickItem* card = text("PERMISSIONS")->parentItem()->parentItem();
    EXPECT_EQ(card->property("radius"), 10);
    EXPECT_EQ(placeOf(text("PERMISSIONS")).topLeft(), placeOf(card).topLeft() + QPointF(16, 16));
    EXPECT_EQ(colorAt(placeOf(card).topLeft() + QPointF(30, 6)), "#ff241f1a") << "the card";
    EXPECT_EQ(colorAt({placeOf(card).center().x(), placeOf(card).top()}), "#ff3e3833") << "its outline";
    const QQuickItem* above =
        text("Record test-scenario runthroughs with video, narration, and screenshots.");
    EXPECT_EQ(placeOf(card).top(), placeOf(above).bottom() + 18);
    const struct {
        const char* text;
        double horizontal, vertical, opacity;
        const char* fill;
    } buttons[] = {{"Grant", 16, 8, 1, "#ffc66b47"}, {"Quit & Relaunch", 14, 7, 1, "#ff241f1a"},
        {"Done", 16, 8, 0.5, ""}};
    for (const auto& button : buttons) {
        const QQuickItem* words = text(button.text);
        const QQuickItem* whole = words->parentItem();
        EXPECT_NEAR(placeOf(words).left() - placeOf(whole).left(), button.horizontal, 0.5) << button.text;
        EXPECT_NEAR(placeOf(words).top() - placeOf(whole).top(), button.vertical, 0.5) << button.text;
        EXPECT_EQ(whole->opacity(), button.opacity) << button.text;
        if (*button.fill) {
            const QPointF inside = placeOf(whole).topLeft() + QPointF(8, whole->height() / 2);
            EXPECT_EQ(colorAt(inside), button.fill) << button.text;
        }
    }
}
