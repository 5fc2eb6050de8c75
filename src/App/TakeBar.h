#pragma once

#include "Platform/PowerInhibitor.h"
#include "Platform/VideoFrame.h"

#include <qcoro/qcorotask.h>

#include <functional>
#include <memory>

namespace tavro {

class ControlBarModel;
class RecordingControlPanel;
class Windowing;

/// The control bar of a running take. While it is there the computer stays awake. Main thread.
class TakeBar {
public:
    struct Actions {
        using Attempt = std::function<QCoro::Task<>()>;
        /// Run from the event loop. They do not throw: the bar shows the state that the pressed button asked
        /// for, also when the operation fails.
        Attempt pause, resume, restart;
        std::function<void()> finish, remove;
        std::function<double()> elapsed; ///< recorded seconds
    };

    /// The references outlive the bar, and the bar outlives its attempts.
    TakeBar(PowerInhibitor& inhibitor, Windowing& windowing, Actions actions);
    ~TakeBar();
    TakeBar(const TakeBar&) = delete;
    TakeBar& operator=(const TakeBar&) = delete;

    void show(); ///< a new bar, for a new take
    void close();
    bool isOpen() const { return panel != nullptr; }
    void takeFocus(); ///< while it is open

    // No effect before the first take.
    void setLevel(double level);
    void setMicrophoneSilent(bool silent);
    void setFinishing();
    void setDeleting();
    void setUploadProgress(std::int64_t sent, std::int64_t total);
    /// Where on the screen its level meter moves, in pixels; empty where it is not known.
    Rect meterArea() const;
    /// True from the first finish or delete on, until the next take: later presses have no effect.
    bool isEnding() const;

private:
    void connect(std::function<void()>& callback, const Actions::Attempt& attempt, bool paused);

    PowerInhibitor& inhibitor;
    Windowing& windowing;
    const Actions actions;
    std::shared_ptr<ControlBarModel> model;
    std::unique_ptr<RecordingControlPanel> panel;
    std::unique_ptr<PowerInhibitor::Inhibition> awake;
};

} // namespace tavro
