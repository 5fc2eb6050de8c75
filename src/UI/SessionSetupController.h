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

    SessionSetupController(std::shared_ptr<BackendClient> backend, SetupModel::Displays displays,
        OnStart onStart, OnCancel onCancel);

    /// Shows a new window and fills its form. Start and Cancel close it, then call back; the close button
    /// only closes it.
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
