#include "UI/StatusBarController.h"

#include "Core/DesktopSession.h"
#include "Platform/TrayHost.h"
#include "UI/StatusIcon.h"

#include <QAction>
#include <QCoreApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QKeySequence>
#include <QMenu>
#include <QSystemTrayIcon>

#include <utility>

namespace tavro {
namespace {

/// A menu that handles its shortcuts while open: no window does it for a tray menu.
class ShortcutMenu final : public QMenu {
protected:
    void keyPressEvent(QKeyEvent* event) override {
        const QKeySequence pressed(event->keyCombination());
        for (auto* action : actions()) {
            if (action->isEnabled() && !action->shortcut().isEmpty() && action->shortcut() == pressed) {
                hide();
                action->trigger();
                return;
            }
        }
        QMenu::keyPressEvent(event);
    }
};

QString versionText() {
    const QString version = QCoreApplication::applicationVersion();
    return QStringLiteral("Tavro v") + (version.isEmpty() ? QStringLiteral("dev") : version);
}

} // namespace

StatusBarController::StatusBarController(TrayHost& hostGiven, Actions actions)
    : host(hostGiven)
    , run(std::move(actions))
    , menu(std::make_unique<ShortcutMenu>()) {
    buildMenu();
    host.onAppeared = [this] { showIcon(); };
    host.onAppearance = [this] { drawIcon(); };
}

StatusBarController::~StatusBarController() {
    host.onAppeared = nullptr;
    host.onAppearance = nullptr;
}

void StatusBarController::setTint(const QColor& color) {
    tint = color;
    drawIcon();
}

void StatusBarController::clearTint() {
    tint.reset();
    drawIcon();
}

void StatusBarController::setUploadProgress(std::optional<double> part) {
    QString text = QStringLiteral("Tavro");
    if (part)
        text += QStringLiteral(": a recording is being uploaded, %1 %").arg(static_cast<int>(*part * 100));
    if (std::exchange(toolTip, text) != text && statusItem)
        statusItem->setToolTip(toolTip);
}

void StatusBarController::buildMenu() {
    const auto add = [this](const QString& title, const QKeySequence& keys, const Callback& chosen) {
        auto* action = menu->addAction(title, [&chosen] { chosen(); });
        action->setShortcut(keys);
    };
    add(QStringLiteral("New Session…"), Qt::CTRL | Qt::ALT | Qt::Key_N, run.newSession);
    menu->addSeparator();
    add(QStringLiteral("Settings…"), Qt::CTRL | Qt::Key_Comma, run.settings);
    add(QStringLiteral("View Logs"), {}, run.viewLogs);
    menu->addSeparator();
    menu->addAction(versionText())->setEnabled(false);
    menu->addSeparator();
    auto* quit = menu->addAction(QStringLiteral("Quit"), [] { QCoreApplication::quit(); });
    quit->setShortcut(Qt::CTRL | Qt::Key_Q);
}

// Qt chooses its tray protocol once, at the first icon. So the icon waits for a tray.
void StatusBarController::showIcon() {
    if (!statusItem) {
        statusItem = std::make_unique<QSystemTrayIcon>();
        statusItem->setToolTip(toolTip);
        statusItem->setContextMenu(menu.get());
        QObject::connect(statusItem.get(), &QSystemTrayIcon::activated, menu.get(), [this](auto reason) {
            if (reason == QSystemTrayIcon::Trigger)
                clicked();
        });
    }
    drawIcon();
    statusItem->show();
}

// The X server of a Wayland desktop does not know where the pointer is over the desktop's own panel, and sees
// no click outside that would close the menu. The panels there open the menu themselves, by another click.
void StatusBarController::clicked() {
    if (isWaylandSession())
        run.activate();
    else
        menu->popup(QCursor::pos());
}

void StatusBarController::drawIcon() {
    if (!statusItem)
        return;
    const QColor plain = host.prefersLightSymbols() ? Qt::white : Qt::black;
    statusItem->setIcon(captureFrameIcon(tint.value_or(plain)));
}

} // namespace tavro
