#include "Permissions/PermissionStatus.h"

#include "Core/Promise.h"
#include "Platform/Workspace.h"

#include <QCoreApplication>
#include <QTimer>

namespace tavro {
namespace {

Grant grantOf(AuthorizationStatus status) {
    switch (status) {
    case AuthorizationStatus::authorized:
        return Grant::granted;
    case AuthorizationStatus::notDetermined:
        return Grant::unknown;
    case AuthorizationStatus::denied:
    case AuthorizationStatus::restricted:
        break;
    }
    return Grant::denied;
}

Grant grantOf(bool granted) {
    return granted ? Grant::granted : Grant::denied;
}

} // namespace

QString toText(Grant grant) {
    switch (grant) {
    case Grant::unknown:
        return QStringLiteral("unknown");
    case Grant::denied:
        return QStringLiteral("denied");
    case Grant::granted:
        break;
    }
    return QStringLiteral("granted");
}

Permissions::Permissions(
    PrivacyServices& servicesGiven, Workspace& workspaceGiven, Application applicationGiven)
    : services(servicesGiven)
    , workspace(workspaceGiven)
    , application(std::move(applicationGiven)) {}

PermissionSet Permissions::current() const {
    return {.screen = screen(),
        .microphone = grantOf(services.microphoneAuthorization()),
        .speech = grantOf(services.speechAuthorization())};
}

Grant Permissions::screen() const {
    return grantOf(services.preflightScreenCaptureAccess());
}

QCoro::Task<Grant> Permissions::requestMicrophone() {
    Promise<Grant> answer;
    services.requestMicrophoneAccess([answer](bool granted) { answer.resolve(grantOf(granted)); });
    co_return co_await answer;
}

QCoro::Task<Grant> Permissions::requestSpeech() {
    Promise<Grant> answer;
    services.requestSpeechAuthorization([answer](AuthorizationStatus status) {
        answer.resolve(grantOf(status == AuthorizationStatus::authorized));
    });
    co_return co_await answer;
}

void Permissions::openScreenRecordingSettings() {
    services.requestScreenCaptureAccess();
}

void Permissions::relaunch() {
    application.makeWay();
    workspace.openNewApplicationInstance();
    QTimer::singleShot(relaunchOverlap, qApp, application.terminate);
}

} // namespace tavro
