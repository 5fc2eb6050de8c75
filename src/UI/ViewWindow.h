#pragma once

#include <QQuickView>

#include <functional>
#include <memory>

class QQmlEngine;

namespace tavro {

namespace detail {
/// What has to outlive a view.
struct ViewSupport {
    std::shared_ptr<QQmlEngine> qmlEngine;
    std::shared_ptr<void> kept;
};
} // namespace detail

/// A window that shows one of the program's QML views, drawn by the processor and always exactly as large as
/// the view wants to be. The QML engine comes into being with the first window and goes with the last: the
/// program's ordinary state is to have none. Main thread.
class ViewWindow : private detail::ViewSupport, public QQuickView {
public:
    /// `view` names the QML file below qrc:/qml/Tavro, e.g. "UI/SessionSetupView.qml". `properties` are the
    /// view's required properties; `kept` lives as long as the view. Not shown yet. Throws std::logic_error
    /// when the view cannot be made.
    ViewWindow(const QString& view, const QVariantMap& properties, std::shared_ptr<void> kept = nullptr);

    /// Shows it as an ordinary window with a title bar and a close button, on the theme's background and in
    /// the middle of the screen; in front and with the focus.
    void showOrdinary(const QString& title);

    /// Called when the user closes the window. May let go of it.
    std::function<void()> onClosed = [] {};

    /// For an owner whose view may be on the stack when it lets go of the window: hides it at once and
    /// destroys it when the event loop runs again.
    struct Release {
        void operator()(ViewWindow* window) const;
    };

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void fitToView();
};

using ViewWindowPtr = std::unique_ptr<ViewWindow, ViewWindow::Release>;

} // namespace tavro
