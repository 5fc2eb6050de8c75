#pragma once

#include "Permissions/OnboardingModel.h"
#include "UI/ViewWindow.h"

#include <functional>

namespace tavro {

/// The first-run window for the privacy grants and the sign-in. Main thread.
class OnboardingWizard {
public:
    OnboardingWizard(OnboardingServices services, std::function<void()> onComplete);

    /// Refreshes the grants within a second. Then calls `onComplete` if nothing is missing, else shows the
    /// window. The wizard outlives the task.
    QCoro::Task<> presentIfNeeded();
    /// Shows a new window in place of any open one. Done closes it and calls `onComplete`; the close button
    /// only closes it.
    void present();

    /// Looks up the shown account again.
    void refreshAccount();

    ViewWindow* window() const { return currentWindow.get(); } ///< null while there is none

private:
    const OnboardingServices services;
    const std::function<void()> onComplete;
    ViewWindowPtr currentWindow;
    std::weak_ptr<OnboardingModel> currentModel;
};

} // namespace tavro
