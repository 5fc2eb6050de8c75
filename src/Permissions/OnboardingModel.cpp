#include "Permissions/OnboardingModel.h"

#include "Auth/AppSignIn.h"
#include "Core/Tasks.h"
#include "Platform/SystemNames.h"

#include <QGuiApplication>

namespace tavro {

OnboardingModel::OnboardingModel(OnboardingServices servicesGiven)
    : services(std::move(servicesGiven))
    , permissionSet(services.permissions.current()) {
    connect(this, &OnboardingModel::permsChanged, this, &OnboardingModel::isCompleteChanged);
    connect(this, &OnboardingModel::accountChanged, this, &OnboardingModel::isCompleteChanged);
    connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this](Qt::ApplicationState state) {
        if (state != Qt::ApplicationActive)
            return;
        renewGrants();
        refreshPerms();
    });
}

QCoro::Task<> OnboardingModel::appear() {
    const auto self = shared_from_this();
    services.permissions.onChange([weak = weak_from_this()] {
        if (const auto model = weak.lock())
            model->refreshPerms();
    });
    renewGrants();
    setAccount(services.isSignedIn(), storedEmail());
    auto refreshing = services.signIn.refreshEmail();
    co_await refreshing;
    setAccount(isSignedIn, storedEmail());
}

QString OnboardingModel::relaunchNote() const {
    if (!services.permissions.screenNeedsRelaunch())
        return {};
    return QStringLiteral("After granting Screen Recording, quit & relaunch so %1 applies it.")
        .arg(SystemNames::desktop);
}

QString OnboardingModel::accountText() const {
    if (!isSignedIn)
        return QStringLiteral("Not signed in");
    return QStringLiteral("Signed in as ") + emailAddress.value_or(QStringLiteral("your account"));
}

void OnboardingModel::grantScreen() {
    services.permissions.openScreenRecordingSettings();
    refreshPerms(); // systems without a prompt have granted it by now
}

void OnboardingModel::grantMicrophone() {
    showAfter([this] { return services.permissions.requestMicrophone(); });
}

void OnboardingModel::grantSpeech() {
    showAfter([this] { return services.permissions.requestSpeech(); });
}

void OnboardingModel::showAfter(const std::function<QCoro::Task<Grant>()>& request) {
    startTask(QStringLiteral("onboarding"), [self = shared_from_this(), request]() -> QCoro::Task<> {
        auto answer = request();
        co_await answer;
        self->refreshPerms();
    });
}

void OnboardingModel::relaunch() {
    services.permissions.relaunch();
}

void OnboardingModel::signInOrOut() {
    if (isSignedIn) {
        services.signIn.signOut();
        setAccount(false, std::nullopt);
    } else {
        startTask(QStringLiteral("signIn"), [this] { return signIn(); });
    }
}

QCoro::Task<> OnboardingModel::signIn() {
    const auto self = shared_from_this();
    try {
        auto signingIn = services.signIn.signInWithBrowser(services.config.backendURL());
        co_await signingIn;
    } catch (...) { // the log has the reason; the view shows only the state
    }
    setAccount(services.isSignedIn(), storedEmail());
}

void OnboardingModel::done() {
    const auto self = shared_from_this(); // the callee may destroy the view
    if (isComplete())
        onDone();
}

void OnboardingModel::renewGrants() {
    startTask(QStringLiteral("onboarding"), [this] { return services.permissions.refresh(); });
}

void OnboardingModel::refreshPerms() {
    permissionSet = services.permissions.current();
    emit permsChanged();
}

void OnboardingModel::setAccount(bool signedIn, std::optional<QString> email) {
    isSignedIn = signedIn;
    emailAddress = std::move(email);
    emit accountChanged();
}

std::optional<QString> OnboardingModel::storedEmail() const {
    return services.config.defaults.string(userEmailKey);
}

} // namespace tavro
