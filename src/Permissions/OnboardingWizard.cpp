#include "Permissions/OnboardingWizard.h"

#include "Core/Tasks.h"

void qml_register_types_Tavro_Onboarding(); // generated

namespace tavro {

OnboardingWizard::OnboardingWizard(OnboardingServices servicesGiven, std::function<void()> complete)
    : services(std::move(servicesGiven))
    , onComplete(std::move(complete)) {}

QCoro::Task<> OnboardingWizard::presentIfNeeded() {
    auto refreshing = services.permissions.refresh();
    co_await refreshing;
    if (services.permissions.current().allGranted() && services.isSignedIn())
        onComplete();
    else
        present();
}

void OnboardingWizard::present() {
    [[maybe_unused]] const volatile auto linkedIn = &qml_register_types_Tavro_Onboarding;
    const auto model = std::make_shared<OnboardingModel>(services);
    model->onDone = [this] {
        const auto callback = onComplete; // the callee may destroy this wizard
        currentWindow.reset();
        callback();
    };
    currentWindow.reset(new ViewWindow(QStringLiteral("Onboarding/OnboardingView.qml"),
        {{QStringLiteral("model"), QVariant::fromValue(model.get())}}, model));
    currentWindow->onClosed = [this] { currentWindow.reset(); };
    currentWindow->showOrdinary(QStringLiteral("Welcome to Tavro"));
    currentModel = model;
    startTask(QStringLiteral("onboarding"), [model] { return model->appear(); });
}

void OnboardingWizard::refreshAccount() {
    if (const auto model = currentModel.lock())
        startTask(QStringLiteral("onboarding"), [model] { return model->appear(); });
}

} // namespace tavro
