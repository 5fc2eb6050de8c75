#pragma once

#include <QColor>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QMenu;
class QSystemTrayIcon;

namespace tavro {

class TrayHost;

/// The program's only permanent presence: an icon in the desktop's tray with a menu. Where no tray is, the
/// icon comes as soon as one does. Main thread; needs a QApplication.
class StatusBarController {
public:
    using Callback = std::function<void()>;

    /// `host` outlives the controller, which takes over its callbacks.
    StatusBarController(TrayHost& host, Callback onNewSession, Callback onSettings, Callback onViewLogs);
    ~StatusBarController();

    void setTint(const QColor& color); ///< until `clearTint()`
    void clearTint();
    bool isShown() const { return statusItem != nullptr; }

private:
    void buildMenu();
    void showIcon();
    void drawIcon();

    TrayHost& host;
    const Callback onNewSession, onSettings, onViewLogs;
    std::unique_ptr<QMenu> menu;
    std::unique_ptr<QSystemTrayIcon> statusItem; ///< none before a tray was there
    std::optional<QColor> tint;
};

} // namespace tavro
