#pragma once

#include "UI/MoreMenu.h"
#include "UI/ViewWindow.h"

#include <QPoint>
#include <QRect>
#include <QTimer>

#include <functional>
#include <optional>

class QPointerEvent;
class QQuickItem;
class QScreen;

namespace tavro {

class ControlBarModel;
class Windowing;

/// The bar near the bottom of the screen during a recording, dragged by its background. Takes the keyboard
/// focus only at the user's request. Returns to its place when a screen change hides a part. Main thread.
class RecordingControlPanel : public QObject {
public:
    /// Seconds recorded so far.
    using Elapsed = std::function<double()>;

    /// `model` lives in a shared_ptr; `windowing` outlives the panel. Hidden at first.
    RecordingControlPanel(ControlBarModel& model, Windowing& windowing);
    ~RecordingControlPanel() override;

    /// Shows the panel at its place on the main screen, above all windows.
    void show();
    /// Writes the elapsed time into the model once a second. Replaces any earlier source.
    void startTimer(Elapsed elapsed);
    /// Ends the timer and hides the panel.
    void close();

    /// Moves the panel into view and gives it the keyboard focus. It accepts no focus after losing it.
    void takeFocus();

    /// What changes on the screen when the level meter moves, in the screen's pixels; empty where the place
    /// is not known.
    QRect meterArea() const;

    MoreMenu& moreMenu() { return *menu; }
    ViewWindow* window() const { return panel.get(); }
    ViewWindow* menuWindow() const { return currentMenuWindow.get(); } ///< null while the menu is closed

    /// Minutes and seconds, "75:03", without hours. An impossible time counts as 0.
    static QString elapsedText(double seconds);

private:
    void watch(QScreen* screen);
    QRect frame() const;
    void place();
    void keepInSight();
    void drag(const QPointerEvent& event);
    void placeMenu();
    void showMenu();
    void setUnmanaged(bool unmanaged);
    void shape();
    bool eventFilter(QObject* watched, QEvent* event) override;

    const std::shared_ptr<ControlBarModel> model;
    Windowing& windowing;
    const std::shared_ptr<MoreMenu> menu;
    ViewWindowPtr panel;
    const QQuickItem* meter = nullptr; ///< in the panel
    ViewWindowPtr currentMenuWindow;
    bool isUnmanaged = false; ///< as long as it has no keyboard focus
    bool isChangingManager = false;
    QPoint placeWithoutFocus;
    std::optional<QPoint> dragStart; ///< the panel's position at the start of the drag
    std::optional<QTimer> timer;
    QTimer
        leaving; ///< runs out when the pointer has left panel and menu, where a click elsewhere is not seen
};

} // namespace tavro
