#include "UI/SessionSetupController.h"

#include "Backend/BackendClient.h"
#include "Core/Tasks.h"

namespace tavro {

SessionSetupController::SessionSetupController(std::shared_ptr<BackendClient> backendGiven,
    SetupModel::Displays displaysGiven, OnStart start, OnCancel cancel, std::optional<QString> email)
    : backend(std::move(backendGiven))
    , displays(std::move(displaysGiven))
    , onStart(std::move(start))
    , onCancel(std::move(cancel))
    , userEmail(std::move(email)) {}

void SessionSetupController::show() {
    const auto model = std::make_shared<SetupModel>(backend, displays, userEmail);
    model->onStart = [this](const SetupResult& result) {
        const OnStart callback = onStart; // the callee may destroy this controller
        currentWindow->setAside();
        callback(result);
    };
    model->onCancel = [this] {
        const OnCancel callback = onCancel;
        currentWindow.reset();
        callback();
    };
    currentWindow.reset(new ViewWindow(QStringLiteral("UI/SessionSetupView.qml"),
        {{QStringLiteral("model"), QVariant::fromValue(model.get())}}, model));
    currentWindow->onClosed = [this] { currentWindow.reset(); };
    currentWindow->showOrdinary(QStringLiteral("Tavro — New Session"));
    startTask(QStringLiteral("setup"), [model] { return model->load(); });
}

void SessionSetupController::showAgain() {
    if (currentWindow)
        currentWindow->showAgain();
}

void SessionSetupController::drop() {
    if (isWaiting())
        currentWindow.reset();
}

} // namespace tavro
