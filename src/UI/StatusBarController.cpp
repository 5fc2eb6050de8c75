#include "UI/StatusBarController.h"

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

StatusBarController::StatusBarController(
    TrayHost& hostGiven, Callback newSession, Callback settings, Callback viewLogs)
    : host(hostGiven)
    , onNewSession(std::move(newSession))
    , onSettings(std::move(settings))
    , onViewLogs(std::move(viewLogs))
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
    const auto add = [this](const QString& title, const QKeySequence& keys, const Callback& run) {
        auto* action = menu->addAction(title, [&run] { run(); });
        action->setShortcut(keys);
    };
    add(QStringLiteral("New Session…"), Qt::CTRL | Qt::ALT | Qt::Key_N, onNewSession);
    menu->addSeparator();
    add(QStringLiteral("Settings…"), Qt::CTRL | Qt::Key_Comma, onSettings);
    add(QStringLiteral("View Logs"), {}, onViewLogs);
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
                menu->popup(QCursor::pos());
        });
    }
    drawIcon();
    statusItem->show();
}

void StatusBarController::drawIcon() {
    if (!statusItem)
        return;
    const QColor plain = host.prefersLightSymbols() ? Qt::white : Qt::black;
    statusItem->setIcon(captureFrameIcon(tint.value_or(plain)));
}

} // namespace tavro
