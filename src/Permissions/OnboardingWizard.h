#pragma once

#include "Permissions/OnboardingModel.h"
#include "UI/ViewWindow.h"

#include <functional>

namespace tavro {

/// The first-run window: it leads through the privacy grants and the sign-in. Main thread.
class OnboardingWizard {
public:
    OnboardingWizard(OnboardingServices services, std::function<void()> onComplete);

    /// Asks for the grants anew, for a second at most. Then calls `onComplete` when nothing is missing;
    /// otherwise shows the window. Outlived by the wizard.
    QCoro::Task<> presentIfNeeded();
    /// Shows a new window, in place of one that is open. Done closes it and calls `onComplete`; its close
    /// button calls nothing.
    void present();

    /// The account shown is looked up again.
    void refreshAccount();

    ViewWindow* window() const { return currentWindow.get(); } ///< null while there is none

private:
    const OnboardingServices services;
    const std::function<void()> onComplete;
    ViewWindowPtr currentWindow;
    std::weak_ptr<OnboardingModel> currentModel;
};

} // namespace tavro
