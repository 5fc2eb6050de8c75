#pragma once

#include "UI/MoreMenu.h"
#include "UI/ViewWindow.h"

#include <QPoint>
#include <QTimer>

#include <functional>
#include <optional>

class QPointerEvent;
class QScreen;

namespace tavro {

class ControlBarModel;
class Windowing;

/// The small bar that floats near the bottom of the screen while a recording runs. It never takes the
/// keyboard's focus from the program being recorded of its own accord; it can be dragged by its background.
/// When a screen changes so that a part of it is out of sight, it returns to its place. Main thread.
class RecordingControlPanel : public QObject {
public:
    /// Seconds recorded so far.
    using Elapsed = std::function<double()>;

    /// `model` lives in a shared_ptr; `windowing` outlives the panel. Hidden at first.
    RecordingControlPanel(ControlBarModel& model, Windowing& windowing);
    ~RecordingControlPanel() override;

    /// Puts the panel at its place on the main screen and in front of everything.
    void show();
    /// From now on writes the elapsed time into the model once a second, in place of any earlier source.
    void startTimer(Elapsed elapsed);
    /// Ends the timer and hides the panel.
    void close();

    /// Gives the panel the keyboard, because the user asked for it; it falls back to not taking any when the
    /// focus goes elsewhere. Puts it where it can be seen.
    void takeFocus();

    MoreMenu& moreMenu() { return *menu; }
    ViewWindow* window() const { return panel.get(); }
    ViewWindow* menuWindow() const { return currentMenuWindow.get(); } ///< null while the menu is closed

    /// Minutes and seconds, "75:03"; hours count as minutes. Time that cannot be is shown as none.
    static QString elapsedText(double seconds);

private:
    void watch(QScreen* screen);
    void place();
    void keepInSight();
    void drag(const QPointerEvent& event);
    void placeMenu();
    void showMenu();
    void shape();
    bool eventFilter(QObject* watched, QEvent* event) override;

    const std::shared_ptr<ControlBarModel> model;
    Windowing& windowing;
    const std::shared_ptr<MoreMenu> menu;
    ViewWindowPtr panel;
    ViewWindowPtr currentMenuWindow;
    std::optional<QPoint> dragStart; ///< where the panel was when the user took hold of it
    std::optional<QTimer> timer;
};

} // namespace tavro
