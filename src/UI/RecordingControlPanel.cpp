#include "UI/RecordingControlPanel.h"

#include "Platform/Windowing.h"
#include "UI/ControlBarModel.h"

#include <QGuiApplication>
#include <QMouseEvent>
#include <QPainterPath>
#include <QQuickItem>
#include <QRegion>
#include <QScreen>

#include <algorithm>
#include <chrono>

namespace tavro {

namespace {

constexpr std::chrono::seconds tick{1};
constexpr int aboveBottom = 60; // points between the panel and the end of the usable screen
constexpr int menuGap = 6;      // points between the panel and its menu
constexpr std::chrono::seconds menuPatience{1};

/// The window area of the item `name`, with the item's own corner radius.
QPainterPath shapeOf(const ViewWindow& window, const QString& name) {
    const auto* item = window.rootObject()->findChild<QQuickItem*>(name);
    if (!item)
        return {};
    QPainterPath path;
    const double radius = item->property("radius").toDouble();
    path.addRoundedRect(item->mapRectToScene(item->boundingRect()), radius, radius);
    return path;
}

} // namespace

RecordingControlPanel::RecordingControlPanel(ControlBarModel& modelGiven, Windowing& windowingGiven)
    : model(modelGiven.shared_from_this())
    , windowing(windowingGiven)
    , menu(std::make_shared<MoreMenu>(model)) {
    panel.reset(new ViewWindow(QStringLiteral("UI/RecordingControlBar.qml"),
        {{QStringLiteral("model"), QVariant::fromValue(model.get())},
            {QStringLiteral("menu"), QVariant::fromValue(menu.get())}},
        menu));
    panel->setTitle(QStringLiteral("Tavro"));
    panel->setColor(Qt::transparent);
    connect(panel.get(), &QWindow::widthChanged, this, &RecordingControlPanel::shape);
    connect(panel.get(), &QWindow::heightChanged, this, &RecordingControlPanel::shape);
    meter = panel->rootObject()->findChild<QQuickItem*>(QStringLiteral("level"));
    if (auto* capsule = panel->rootObject()->findChild<QQuickItem*>(QStringLiteral("capsule")))
        connect(capsule, &QQuickItem::widthChanged, this, &RecordingControlPanel::shape);
    connect(panel.get(), &QWindow::activeChanged, this, [this] {
        if (panel->isActive() || isChangingManager)
            return;
        panel->setFlag(Qt::WindowDoesNotAcceptFocus);
        menu->close();
        if (isUnmanaged)
            setUnmanaged(true);
    });
    panel->installEventFilter(this);
    leaving.setSingleShot(true);
    leaving.setInterval(menuPatience);
    connect(&leaving, &QTimer::timeout, menu.get(), &MoreMenu::close);
    connect(menu.get(), &MoreMenu::isOpenChanged, this, &RecordingControlPanel::showMenu);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, &RecordingControlPanel::watch);
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, &RecordingControlPanel::keepInSight);
    for (QScreen* screen : QGuiApplication::screens())
        watch(screen);
    windowing.makeFloating(*panel);
    isUnmanaged = panel->flags().testFlag(Qt::BypassWindowManagerHint);
}

RecordingControlPanel::~RecordingControlPanel() {
    for (const ViewWindowPtr* window : {&panel, &currentMenuWindow}) {
        if (!*window)
            continue;
        (*window)->disconnect(this);
        (*window)->removeEventFilter(this);
    }
}

void RecordingControlPanel::watch(QScreen* screen) {
    connect(screen, &QScreen::geometryChanged, this, &RecordingControlPanel::keepInSight);
    connect(screen, &QScreen::availableGeometryChanged, this, &RecordingControlPanel::keepInSight);
}

void RecordingControlPanel::show() {
    place();
    panel->show();
    panel->raise();
    shape();
}

/// The panel in its window, which also has room for the shadow.
QRect RecordingControlPanel::frame() const {
    const int room = panel->rootObject()->property("room").toInt();
    return QRect(QPoint(), panel->size()).adjusted(room, room, -room, -room);
}

void RecordingControlPanel::place() {
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = windowing.usableArea(*screen);
        const QPoint wanted(area.x() + (area.width() - frame().width()) / 2,
            area.y() + area.height() - aboveBottom - frame().height());
        panel->setPosition(wanted - frame().topLeft());
        placeWithoutFocus = panel->position();
    }
}

QRect RecordingControlPanel::meterArea() const {
    if (!meter || !panel->isVisible() || !windowing.placesWindows())
        return {};
    const QPoint origin = panel->screen()->geometry().topLeft(); // the same in points and in pixels
    const QPointF place = panel->position() - origin + meter->mapToScene(QPointF());
    const QRectF points(place, meter->size());
    const double scale = panel->devicePixelRatio();
    constexpr int blur = 2; // pixels at the edges of what is drawn
    return QRectF(points.topLeft() * scale, points.size() * scale)
        .toAlignedRect()
        .adjusted(-blur, -blur, blur, blur)
        .translated(origin);
}

void RecordingControlPanel::keepInSight() {
    QRegion hidden = shapeOf(*panel, QStringLiteral("capsule")).boundingRect().toAlignedRect();
    hidden.translate(panel->position());
    for (const QScreen* screen : QGuiApplication::screens())
        hidden -= windowing.usableArea(*screen);
    if (hidden.isEmpty())
        return;
    menu->close();
    place();
}

void RecordingControlPanel::drag(const QPointerEvent& event) {
    const auto* handler = panel->rootObject()->findChild<QObject*>(QStringLiteral("drag"));
    if (!handler->property("active").toBool() || event.points().isEmpty()) {
        dragStart.reset();
        return;
    }
    const bool begins = !dragStart;
    if (begins)
        dragStart = panel->position();
    const QEventPoint& pointer = event.points().first();
    if (windowing.placesWindows()) { // window managers refuse to move a window of this kind
        panel->setPosition(*dragStart + (pointer.globalPosition() - pointer.globalPressPosition()).toPoint());
        placeWithoutFocus = panel->position();
    } else if (begins)
        panel->startSystemMove();
}

void RecordingControlPanel::startTimer(Elapsed elapsed) {
    timer.emplace();
    timer->setInterval(tick);
    timer->setTimerType(Qt::PreciseTimer); // a coarse one would skip a second now and then
    connect(&*timer, &QTimer::timeout, this,
        [this, elapsed = std::move(elapsed)] { model->setElapsed(elapsedText(elapsed())); });
    timer->start();
}

void RecordingControlPanel::close() {
    timer.reset();
    menu->close();
    panel->hide();
}

void RecordingControlPanel::takeFocus() {
    keepInSight();
    panel->setFlag(Qt::WindowDoesNotAcceptFocus, false);
    if (isUnmanaged)
        setUnmanaged(false);
    panel->raise();
    panel->requestActivate();
}

// Without a window manager the panel stays where it is put, but gets no keyboard. It is mapped anew, for only
// then the change takes effect.
void RecordingControlPanel::setUnmanaged(bool unmanaged) {
    if (!panel->isVisible() || panel->flags().testFlag(Qt::BypassWindowManagerHint) == unmanaged)
        return;
    isChangingManager = true;
    const QPoint place = unmanaged ? placeWithoutFocus : panel->position();
    placeWithoutFocus = place;
    panel->hide();
    panel->setProperty("_q_showWithoutActivating", unmanaged);
    panel->setFlag(Qt::BypassWindowManagerHint, unmanaged);
    panel->setPosition(place);
    panel->show();
    shape();
    isChangingManager = false;
}

QString RecordingControlPanel::elapsedText(double seconds) {
    constexpr double longest = 1e9;
    const auto whole = seconds > 0 ? static_cast<long long>(std::min(seconds, longest)) : 0;
    return QString::asprintf("%02lld:%02lld", whole / 60, whole % 60);
}

void RecordingControlPanel::shape() {
    if (panel->isVisible())
        windowing.setShape(*panel, shapeOf(*panel, QStringLiteral("capsule")));
}

void RecordingControlPanel::showMenu() {
    if (!menu->isOpen()) {
        currentMenuWindow.reset();
        return;
    }
    currentMenuWindow.reset(new ViewWindow(QStringLiteral("UI/RecordingMenu.qml"),
        {{QStringLiteral("menu"), QVariant::fromValue(menu.get())}}, menu));
    currentMenuWindow->setTitle(QStringLiteral("Tavro"));
    currentMenuWindow->setColor(Qt::transparent);
    currentMenuWindow->installEventFilter(this);
    currentMenuWindow->setTransientParent(panel.get());
    windowing.makeFloating(*currentMenuWindow);
    placeMenu();
    currentMenuWindow->show();
    windowing.setShape(*currentMenuWindow, shapeOf(*currentMenuWindow, QStringLiteral("surface")));
}

void RecordingControlPanel::placeMenu() {
    const QRect bar = frame().translated(panel->position());
    const auto* button = panel->rootObject()->findChild<QQuickItem*>(QStringLiteral("more"));
    const double right = button ? button->mapRectToScene(button->boundingRect()).right() : frame().right();
    QPoint position(panel->x() + qRound(right) - currentMenuWindow->width(),
        bar.y() - menuGap - currentMenuWindow->height());
    const QRect area = windowing.usableArea(*panel->screen());
    if (position.y() < area.y()) // the bar was dragged to the top
        position.setY(bar.y() + bar.height() + menuGap);
    position.setX(
        std::clamp(position.x(), area.x(), std::max(area.x(), area.right() - currentMenuWindow->width())));
    currentMenuWindow->setPosition(position);
}

bool RecordingControlPanel::eventFilter(QObject* watched, QEvent* event) {
    if (watched == panel.get() && event->isPointerEvent())
        drag(*static_cast<QPointerEvent*>(event));
    if (event->type() == QEvent::Enter)
        leaving.stop();
    else if (event->type() == QEvent::Leave && !windowing.grabsEveryClick())
        leaving.start();
    if (watched != currentMenuWindow.get())
        return QObject::eventFilter(watched, event);
    if (event->type() == QEvent::Expose && currentMenuWindow->isExposed()) {
        currentMenuWindow->setMouseGrabEnabled(true); // a click anywhere else closes it
    } else if (event->type() == QEvent::MouseButtonPress) {
        const auto* press = static_cast<QMouseEvent*>(event);
        if (!QRectF(QPointF(), QSizeF(currentMenuWindow->size())).contains(press->position())) {
            menu->close();
            return true;
        }
    }
    return false;
}

} // namespace tavro
