// The control bar with a window manager, other windows, a pointer and screens.
#include "KeyPress.h"
#include "Platform/Windowing/DesktopWindowing.h"
#include "UI/ControlBarModel.h"
#include "UI/RecordingControlPanel.h"
#include "support/Programs.h"
#include "support/TestSupport.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QRegularExpression>
#include <QScreen>

using namespace tavro;
using namespace tavro::test;

namespace {

struct PanelOnScreenTest : testing::Test {
    DesktopWindowing windowing;
    const std::shared_ptr<ControlBarModel> model = std::make_shared<ControlBarModel>();
    RecordingControlPanel panel{*model, windowing};

    PanelOnScreenTest() {
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
    QByteArray windowType() const {
        return outputOf(u"xprop"_qs, {u"-id"_qs, id(), u"-notype"_qs, u"_NET_WM_WINDOW_TYPE"_qs});
    }
    bool comesTo(const QPoint& expected) const {
        return waitUntil([&] { return position() == expected; });
    }
    /// Drags the bar by its left end, which has no control.
    void drag(const QPoint& by) const {
        const auto* capsule = panel.window()->rootObject()->findChild<QQuickItem*>(u"capsule"_qs);
        const QRectF inWindow = capsule->mapRectToScene(capsule->boundingRect());
        const QPoint from = position() + QPointF(inWindow.left() + 8, inWindow.center().y()).toPoint();
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
    pressKey(panel.window(), Qt::Key_Return);
    pressKey(panel.window(), Qt::Key_Backtab); // to More
    pressKey(panel.window(), Qt::Key_Up);
    EXPECT_TRUE(panel.moreMenu().isOpen());
    pressKey(panel.window(), Qt::Key_Return);
    EXPECT_EQ(calls, (QStringList{u"finish"_qs, u"delete"_qs}));

    worked.requestActivate();
    ASSERT_TRUE(waitUntil([&] { return worked.isActive(); }));
    EXPECT_TRUE(panel.window()->flags().testFlag(Qt::WindowDoesNotAcceptFocus));
    EXPECT_STREQ(windowType().data(), type.data());
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
