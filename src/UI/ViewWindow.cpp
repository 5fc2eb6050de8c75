#include "UI/ViewWindow.h"

#include "UI/AccessibleControl.h"
#include "UI/Palette.h"

#include <QAccessible>
#include <QGuiApplication>
#include <QIcon>
#include <QQmlEngine>
#include <QQuickItem>
#include <QScreen>
#include <QThread>

#include <cmath>
#include <stdexcept>

void qml_register_types_Tavro_UI(); // generated

namespace tavro {

namespace {

/// The QML engine of all windows; destroyed with the last.
std::shared_ptr<QQmlEngine> sharedEngine() {
    static std::weak_ptr<QQmlEngine> current;
    if (auto engine = current.lock())
        return engine;
    [[maybe_unused]] const volatile auto linkedIn = &qml_register_types_Tavro_UI;
    if (QQuickWindow::sceneGraphBackend() != u"software")
        QQuickWindow::setGraphicsApi(QSGRendererInterface::Software);
    QAccessible::installFactory(accessibleControl);
    auto engine = std::make_shared<QQmlEngine>();
    engine->addImportPath(QStringLiteral("qrc:/qml"));
    current = engine;
    return engine;
}

QString text(const QList<QQmlError>& errors) {
    QStringList lines;
    for (const QQmlError& error : errors)
        lines << error.toString();
    return lines.join(QLatin1Char('\n'));
}

bool isUsable(const QQuickItem* control) {
    return control && control->activeFocusOnTab() && control->isEnabled() && control->isVisible();
}

} // namespace

ViewWindow::ViewWindow(const QString& view, const QVariantMap& properties, std::shared_ptr<void> keptGiven)
    : detail::ViewSupport{sharedEngine(), std::move(keptGiven)}
    , QQuickView(qmlEngine.get(), nullptr) {
    setColor(Palette().bark);
    setResizeMode(QQuickView::SizeRootObjectToView);
    setInitialProperties(properties);
    setSource(QUrl(QStringLiteral("qrc:/qml/Tavro/") + view));
    if (status() != QQuickView::Ready)
        throw std::logic_error(text(errors()).toStdString());
    connect(rootObject(), &QQuickItem::implicitWidthChanged, this, &ViewWindow::fitToView);
    connect(rootObject(), &QQuickItem::implicitHeightChanged, this, &ViewWindow::fitToView);
    fitToView();
    connect(this, &QQuickWindow::activeFocusItemChanged, this, [this] {
        if (isUsable(activeFocusItem()))
            lastFocused = activeFocusItem();
        else // once all has changed that changes with it
            QMetaObject::invokeMethod(
                this, [this] { passFocusOn(); }, Qt::QueuedConnection);
    });
}

void ViewWindow::passFocusOn() {
    if (!isActive() || isUsable(activeFocusItem()) || isUsable(lastFocused))
        return;
    auto* item = rootObject()->property("preferredFocus").value<QQuickItem*>();
    if (!isUsable(item))
        item = (lastFocused ? lastFocused.get() : rootObject())->nextItemInFocusChain();
    if (isUsable(item))
        item->forceActiveFocus(Qt::TabFocusReason);
}

void ViewWindow::fitToView() {
    const QSize size(static_cast<int>(std::ceil(rootObject()->implicitWidth())),
        static_cast<int>(std::ceil(rootObject()->implicitHeight())));
    setMinimumSize(size);
    setMaximumSize(size);
    resize(size);
}

void ViewWindow::showOrdinary(const QString& title) {
    setTitle(title);
    setIcon(QIcon::fromTheme(QGuiApplication::desktopFileName()));
    setFlags(Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
             Qt::WindowCloseButtonHint);
    if (const QScreen* target = QGuiApplication::primaryScreen())
        setPosition(target->geometry().center() - QPoint(width() / 2, height() / 2));
    showInFront();
}

void ViewWindow::setAside() {
    placeWhenSetAside = position();
    hide();
}

// Some window managers report another position for a hidden window, without its title bar.
void ViewWindow::showAgain() {
    if (!isVisible())
        setPosition(placeWhenSetAside);
    showInFront();
}

void ViewWindow::showInFront() {
    show();
    raise();
    requestActivate();
}

void ViewWindow::closeEvent(QCloseEvent* event) {
    QQuickView::closeEvent(event);
    const auto callback = onClosed;
    callback();
}

void ViewWindow::Release::operator()(ViewWindow* window) const {
    window->hide();
    if (QThread::currentThread()->loopLevel() > 0)
        window->deleteLater();
    else
        delete window; // no view is on the stack, and the event loop may never run again
}

} // namespace tavro
