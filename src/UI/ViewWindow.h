#pragma once

#include <QPointer>
#include <QQuickView>

#include <functional>
#include <memory>

class QQmlEngine;

namespace tavro {

namespace detail {
/// Members that outlive the view.
struct ViewSupport {
    std::shared_ptr<QQmlEngine> qmlEngine;
    std::shared_ptr<void> kept;
};
} // namespace detail

/// A window for one QML view, drawn in software and sized by the view. The first window creates the QML
/// engine and the last destroys it: the program usually has no window. Main thread.
///
/// As long as the window is active one of its enabled controls has the focus: when the focused one is
/// disabled, and at first, the view's `preferredFocus`, or else the next.
class ViewWindow : private detail::ViewSupport, public QQuickView {
public:
    /// `view`: QML file below qrc:/qml/Tavro, e.g. "UI/SessionSetupView.qml". `properties`: its required
    /// ones. `kept` lives as long as the view. Starts hidden. Throws std::logic_error when the view cannot be
    /// made.
    ViewWindow(const QString& view, const QVariantMap& properties, std::shared_ptr<void> kept = nullptr);

    /// Shows a window with title bar, close button and the theme's background: centred, in front, focused.
    void showOrdinary(const QString& title);
    /// Hides it, for `showAgain()`: at the same place, in front, focused.
    void setAside();
    void showAgain();

    /// Called when the user closes the window. May destroy the window.
    std::function<void()> onClosed = [] {};

    /// Hides the window at once and destroys it from the event loop: the view's own code may be running.
    struct Release {
        void operator()(ViewWindow* window) const;
    };

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void fitToView();
    void passFocusOn();
    void showInFront();

    QPoint placeWhenSetAside;
    QPointer<QQuickItem> lastFocused; ///< control
};

using ViewWindowPtr = std::unique_ptr<ViewWindow, ViewWindow::Release>;

} // namespace tavro
