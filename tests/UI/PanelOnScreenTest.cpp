// The control bar with a window manager, other windows, a pointer, screens and a compositor.
#include "KeyPress.h"
#include "Platform/Windowing/DesktopWindowing.h"
#include "UI/ControlBarModel.h"
#include "UI/RecordingControlPanel.h"
#include "UI/Theme.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QRegularExpression>
#include <QScreen>
#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

using namespace tavro;
using namespace tavro::test;

namespace {

/// A window of another program that counts the clicks it gets.
class OtherWindow final : public QWindow {
public:
    int clicks = 0;

private:
    void mousePressEvent(QMouseEvent* /*event*/) override { ++clicks; }
};

/// Owns the selection by which windows know that their screen is composed.
class Compositor {
public:
    Compositor() {
        const xcb_window_t window = xcb_generate_id(x);
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(x)).data->root;
        xcb_create_window(x, XCB_COPY_FROM_PARENT, window, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
            XCB_COPY_FROM_PARENT, 0, nullptr);
        const QByteArray name("_NET_WM_CM_S0");
        const auto asked = xcb_intern_atom(x, 0, static_cast<std::uint16_t>(name.size()), name.data());
        const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> atom(
            xcb_intern_atom_reply(x, asked, nullptr), &std::free);
        xcb_set_selection_owner(x, window, atom->atom, XCB_CURRENT_TIME);
        xcb_flush(x);
    }
    ~Compositor() { xcb_disconnect(x); }
    Compositor(const Compositor&) = delete;
    Compositor& operator=(const Compositor&) = delete;

private:
    xcb_connection_t* const x = xcb_connect(nullptr, nullptr);
};

struct PanelOnScreenTest : testing::Test {
    DesktopWindowing windowing;
    const std::shared_ptr<ControlBarModel> model = std::make_shared<ControlBarModel>();
    RecordingControlPanel panel{*model, windowing};

    PanelOnScreenTest() {
        Theme::registerFonts();
        panel.show();
        EXPECT_TRUE(waitUntil([&] { return panel.window()->isExposed(); }));
    }

    QString id() const { return QString::number(panel.window()->winId()); }
    /// The position on the X server.
    QPoint position() const {
        static const QRegularExpression line(u"Absolute upper-left [XY]: +(-?[0-9]+)"_qs);
        auto matches = line.globalMatch(outputOf(u"xwininfo"_qs, {u"-id"_qs, id()}));
        const int x = matches.next().captured(1).toInt();
        return {x, matches.next().captured(1).toInt()};
    }
    QByteArray property(const QString& name) const {
        return outputOf(u"xprop"_qs, {u"-id"_qs, id(), u"-notype"_qs, name});
    }
    QByteArray windowType() const { return property(u"_NET_WM_WINDOW_TYPE"_qs); }
    QRect capsule() const { // in the window
        const auto* item = panel.window()->rootObject()->findChild<QQuickItem*>(u"capsule"_qs);
        return item->mapRectToScene(item->boundingRect()).toRect();
    }
    void click(const QPoint& inWindow) const {
        const QPoint point = position() + inWindow;
        outputOf(u"xdotool"_qs,
            {u"mousemove"_qs, QString::number(point.x()), QString::number(point.y()), u"click"_qs, u"1"_qs});
    }
    /// The window's picture ends with the bar.
    bool isClipped() const {
        const QRect bar = capsule();
        const QString extents = u"Window shape extents:  %1x%2+%3+%4"_qs.arg(bar.width())
                                    .arg(bar.height())
                                    .arg(bar.x())
                                    .arg(bar.y());
        return outputOf(u"xwininfo"_qs, {u"-shape"_qs, u"-id"_qs, id()}).contains(extents.toUtf8());
    }
    bool comesTo(const QPoint& expected) const {
        return waitUntil([&] { return position() == expected; });
    }
    /// Drags the bar by its left end, which has no control.
    void drag(const QPoint& by) const {
        const QPoint from = position() + QPoint(capsule().left() + 8, capsule().center().y());
        QStringList arguments;
        const auto moveTo = [&](const QPoint& point) {
            arguments << u"mousemove"_qs << QString::number(point.x()) << QString::number(point.y());
        };
        moveTo(from);
        arguments << u"mousedown"_qs << u"1"_qs;
        moveTo(from + by / 2);
        moveTo(from + by);
        arguments << u"mouseup"_qs << u"1"_qs;
        outputOf(u"xdotool"_qs, arguments);
    }
};

} // namespace

TEST_F(PanelOnScreenTest, hasTheKeyboardOnlyWhenAskedTo) {
    QWindow worked; // the window that the user works in
    worked.resize(300, 200);
    worked.show();
    worked.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return worked.isActive(); }));
    QStringList calls;
    model->onFinish = [&] { calls << u"finish"_qs; };
    model->onDelete = [&] { calls << u"delete"_qs; };
    model->onPause = [&] { calls << u"pause"_qs; };
    panel.show();
    panel.moreMenu().toggle();
    ASSERT_TRUE(waitUntil([&] { return panel.menuWindow()->isExposed(); }));
    panel.moreMenu().close();
    EXPECT_TRUE(worked.isActive());
    const QByteArray type = windowType();
    EXPECT_TRUE(type.contains("= _NET_WM_WINDOW_TYPE_NOTIFICATION, _NET_WM_WINDOW_TYPE_UTILITY"))
        << type.data();

    panel.takeFocus();
    ASSERT_TRUE(waitUntil([&] { return panel.window()->isActive(); }));
    EXPECT_STREQ(windowType().data(), type.data());
    const auto press = [&](std::initializer_list<Qt::Key> keys) {
        for (const Qt::Key key : keys)
            pressKey(panel.window(), key);
    };
    const auto focused = [&] {
        const auto* item = panel.window()->activeFocusItem();
        return item ? item->property("text").toString() : QString();
    };
    ASSERT_TRUE(waitUntil([&] { return focused() == u"Finish"; }));
    press({Qt::Key_Return});
    press({Qt::Key_Backtab, Qt::Key_Return});
    EXPECT_EQ(calls, (QStringList{u"finish"_qs, u"pause"_qs}));
    press({Qt::Key_Tab, Qt::Key_Tab, Qt::Key_Return}); // opens the menu on its first item
    EXPECT_EQ(panel.moreMenu().current(), 0);
    press({Qt::Key_Tab});
    EXPECT_FALSE(panel.moreMenu().isOpen());
    press({Qt::Key_Backtab, Qt::Key_Space});
    EXPECT_TRUE(panel.moreMenu().isOpen());
    press({Qt::Key_Escape});
    EXPECT_FALSE(panel.moreMenu().isOpen());
    for (const Qt::Key choose : {Qt::Key_Return, Qt::Key_Space})
        press({Qt::Key_Up, choose}); // opens it on its last item, and chooses that
    EXPECT_FALSE(panel.moreMenu().isOpen());
    EXPECT_EQ(calls, (QStringList{u"finish"_qs, u"pause"_qs, u"delete"_qs, u"delete"_qs}));

    worked.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return worked.isActive(); }));
    EXPECT_TRUE(panel.window()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    EXPECT_STREQ(windowType().data(), type.data());
}

TEST_F(PanelOnScreenTest, isAtItsPlaceAboveAllWindowsOnEveryDesktop) {
    constexpr int room = 18, width = 380, height = 48;
    EXPECT_EQ(panel.window()->size(), QSize(width + 2 * room, height + 2 * room));
    EXPECT_TRUE(comesTo(QPoint(960 - 190 - room, 1080 - 60 - height - room)));
    EXPECT_EQ(property(u"_NET_WM_DESKTOP"_qs).trimmed(), "_NET_WM_DESKTOP = 4294967295");
    EXPECT_TRUE(property(u"_NET_WM_STATE"_qs).contains("_NET_WM_STATE_ABOVE"));

    OtherWindow other;
    for (const bool fullScreen : {false, true}) {
        SCOPED_TRACE(fullScreen);
        other.setGeometry(400, 600, 1200, 450);
        fullScreen ? other.showFullScreen() : other.show();
        other.raise();
        other.requestActivate();
        ASSERT_TRUE(waitUntil([&] { return other.isActive(); }));
        other.clicks = 0;
        click(capsule().center() + QPoint(0, 20)); // the bar's lower edge
        click(capsule().topLeft() - QPoint(5, 5));
        EXPECT_TRUE(waitUntil([&] { return other.clicks > 0; }));
        EXPECT_EQ(other.clicks, 1) << "only the second click is beside the bar";
    }
}

TEST_F(PanelOnScreenTest, hasAShadowWhereTheDesktopComposesThatLetsClicksThrough) {
    EXPECT_TRUE(waitUntil([&] { return isClipped(); }));
    {
        const Compositor compositor;
        EXPECT_TRUE(waitUntil([&] { return !isClipped(); }));
        panel.show();
        EXPECT_FALSE(isClipped());
        const QImage picture = panel.window()->grabWindow();
        EXPECT_GT(picture.pixelColor(capsule().center().x(), capsule().bottom() + 4).alpha(), 40);
        EXPECT_EQ(picture.pixelColor(0, 0).alpha(), 0);

        OtherWindow other;
        other.setGeometry(400, 600, 1200, 450);
        other.show();
        ASSERT_TRUE(waitUntil([&] { return other.isExposed(); }));
        click({capsule().center().x(), capsule().bottom() + 4});
        EXPECT_TRUE(waitUntil([&] { return other.clicks == 1; }));
    }
    EXPECT_TRUE(waitUntil([&] { return isClipped(); }));
}

TEST_F(PanelOnScreenTest, isDraggedByItsBackground) {
    const QPoint start = position();
    drag({-300, -200});
    EXPECT_TRUE(comesTo(start + QPoint(-300, -200)));
}

TEST_F(PanelOnScreenTest, returnsToItsPlaceOnlyWhenItIsOutOfSight) {
    const auto monitors = [](const QStringList& change, qsizetype count) {
        outputOf(u"xrandr"_qs, change);
        EXPECT_TRUE(waitUntil([&] { return QGuiApplication::screens().size() == count; }));
    };
    const QPoint homeOnTheLeft = position() - QPoint(480, 0);
    monitors({u"--setmonitor"_qs, u"LEFT"_qs, u"960/1x1080/1+0+0"_qs, u"screen"_qs}, 1);
    EXPECT_TRUE(comesTo(homeOnTheLeft)); // the screen has become smaller

    monitors({u"--setmonitor"_qs, u"RIGHT"_qs, u"960/1x1080/1+960+0"_qs, u"none"_qs}, 2);
    const QPoint onBoth(800, 500);
    panel.window()->setPosition(onBoth);
    panel.takeFocus();
    EXPECT_TRUE(comesTo(onBoth));
    monitors({u"--delmonitor"_qs, u"RIGHT"_qs}, 1);
    EXPECT_TRUE(comesTo(homeOnTheLeft));

    panel.window()->setPosition({3000, 2000});
    panel.takeFocus();
    EXPECT_TRUE(comesTo(homeOnTheLeft));
    monitors({u"--delmonitor"_qs, u"LEFT"_qs}, 1);
}
