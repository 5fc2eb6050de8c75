#include "Platform/Desktop/DesktopPrivacy.h"

#include "Core/Paths.h"
#include "Platform/Notifier.h"

namespace tavro {
namespace {

const QString microphone = QStringLiteral("microphone");
const QString speech = QStringLiteral("speech");
const QString agreed = QStringLiteral("true");

} // namespace

UserDefaults DesktopPrivacy::standardAnswers() {
    return UserDefaults(Paths::applicationSupport() / "tavro" / "permissions.conf");
}

DesktopPrivacy::DesktopPrivacy(UserDefaults answersGiven, Probes probesGiven, Notifier& notifierGiven)
    : answers(std::move(answersGiven))
    , probes(std::move(probesGiven))
    , notifier(notifierGiven) {}

bool DesktopPrivacy::preflightScreenCaptureAccess() {
    return probes.screenObstacle().isEmpty();
}

bool DesktopPrivacy::requestScreenCaptureAccess() {
    const QString obstacle = probes.screenObstacle();
    if (!obstacle.isEmpty())
        notifier.show(
            {.summary = QStringLiteral("This screen cannot be recorded"), .body = obstacle, .failure = true});
    return obstacle.isEmpty();
}

AuthorizationStatus DesktopPrivacy::microphoneAuthorization() {
    if (!answers.boolean(microphone))
        return AuthorizationStatus::notDetermined;
    return probes.microphoneExists() ? AuthorizationStatus::authorized : AuthorizationStatus::restricted;
}

void DesktopPrivacy::requestMicrophoneAccess(std::function<void(bool)> handler) {
    answers.set(microphone, agreed);
    const bool exists = probes.microphoneExists();
    if (!exists) {
        notifier.show({.summary = QStringLiteral("No microphone found"),
            .body = QStringLiteral("Connect a microphone, or choose one in the sound settings."),
            .failure = true});
    }
    handler(exists);
}

AuthorizationStatus DesktopPrivacy::speechAuthorization() {
    return answers.boolean(speech) ? AuthorizationStatus::authorized : AuthorizationStatus::notDetermined;
}

void DesktopPrivacy::requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) {
    answers.set(speech, agreed);
    handler(AuthorizationStatus::authorized);
}

} // namespace tavro
