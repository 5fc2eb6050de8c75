#pragma once

#include "UI/SetupModel.h"
#include "UI/ViewWindow.h"

#include <functional>
#include <memory>

namespace tavro {

/// The window to choose what to record. Main thread. The destructor closes it.
class SessionSetupController {
public:
    using OnStart = std::function<void(SetupResult)>;
    using OnCancel = std::function<void()>;

    /// `email`: of the user at the backend; absent where it is not known.
    SessionSetupController(std::shared_ptr<BackendClient> backend, SetupModel::Displays displays,
        OnStart onStart, OnCancel onCancel, std::optional<QString> email = std::nullopt);

    /// Shows a new window and fills its form. Cancel closes it, then calls back; the close button only closes
    /// it. Start hides it, then calls back; `showAgain()` or `drop()` follows.
    void show();

    // What becomes of a window that Start has hidden. Another one stays as it is.
    void showAgain(); ///< with all that was chosen and typed
    void drop();

    bool isWaiting() const { return currentWindow && !currentWindow->isVisible(); } ///< Start has hidden it

    ViewWindow* window() const { return currentWindow.get(); } ///< null while there is none

private:
    const std::shared_ptr<BackendClient> backend;
    const SetupModel::Displays displays;
    const OnStart onStart;
    const OnCancel onCancel;
    const std::optional<QString> userEmail;
    ViewWindowPtr currentWindow;
};

} // namespace tavro
