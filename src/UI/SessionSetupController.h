#pragma once

#include "UI/SetupModel.h"
#include "UI/ViewWindow.h"

#include <functional>
#include <memory>

namespace tavro {

/// The window in which the user chooses what to record. Main thread. Destroying the controller closes the
/// window.
class SessionSetupController {
public:
    using OnStart = std::function<void(SetupResult)>;
    using OnCancel = std::function<void()>;

    SessionSetupController(std::shared_ptr<BackendClient> backend, SetupModel::Displays displays,
        OnStart onStart, OnCancel onCancel);

    /// Shows a new window with an empty form and starts to fill it. Start and Cancel close the window before
    /// they call back; its close button calls nothing.
    void show();

    ViewWindow* window() const { return currentWindow.get(); } ///< null while there is none

private:
    const std::shared_ptr<BackendClient> backend;
    const SetupModel::Displays displays;
    const OnStart onStart;
    const OnCancel onCancel;
    ViewWindowPtr currentWindow;
};

} // namespace tavro
