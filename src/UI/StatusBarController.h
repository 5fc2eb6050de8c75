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

/// The tray icon and its menu, the program's only permanent part. The icon appears as soon as a tray exists.
/// Main thread; needs a QApplication.
class StatusBarController {
public:
    using Callback = std::function<void()>;
    struct Actions {
        Callback newSession, settings, viewLogs; ///< the menu's
        Callback activate;                       ///< a click on the icon that does not open the menu
    };

    /// `host` outlives the controller, which sets its callbacks.
    StatusBarController(TrayHost& host, Actions actions);
    ~StatusBarController();

    void setTint(const QColor& color); ///< until `clearTint()`
    void clearTint();
    /// Shows beside the icon how far an upload in the background is, 0 to 1; absent: none runs.
    void setUploadProgress(std::optional<double> part);
    bool isShown() const { return statusItem != nullptr; }

private:
    void buildMenu();
    void showIcon();
    void drawIcon();
    void clicked();

    TrayHost& host;
    const Actions run;
    std::unique_ptr<QMenu> menu;
    std::unique_ptr<QSystemTrayIcon> statusItem; ///< null until a tray exists
    std::optional<QColor> tint;
    QString toolTip = QStringLiteral("Tavro");
};

} // namespace tavro
