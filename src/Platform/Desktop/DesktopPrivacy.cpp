#include "Platform/Desktop/DesktopPrivacy.h"

#include "Core/ErrorWords.h"
#include "Core/Paths.h"
#include "Core/Tasks.h"
#include "Platform/Notifier.h"
#include "Platform/ScreenCapture.h"

#include <QTimer>

#include <utility>

namespace tavro {
namespace {

using namespace std::chrono_literals;

constexpr auto patience = 1s; // limit of the wait; a later answer still counts

const QString microphone = QStringLiteral("microphone");
const QString speech = QStringLiteral("speech");
const QString agreed = QStringLiteral("true");

} // namespace

struct DesktopPrivacy::Microphone {
    bool exists = false;
    std::function<void()> onChange = [] {};
};

UserDefaults DesktopPrivacy::standardAnswers() {
    return UserDefaults(Paths::applicationSupport() / "tavro" / "permissions.conf");
}

DesktopPrivacy::DesktopPrivacy(UserDefaults answersGiven, Probes probesGiven, Notifier& notifierGiven)
    : answers(std::move(answersGiven))
    , probes(std::move(probesGiven))
    , notifier(notifierGiven)
    , known(std::make_shared<Microphone>()) {}

bool DesktopPrivacy::preflightScreenCaptureAccess() {
    return probes.screenObstacle().isEmpty();
}

bool DesktopPrivacy::requestScreenCaptureAccess() {
    const QString obstacle = probes.screenObstacle();
    if (obstacle.isEmpty())
        return true;
    if (probes.askForScreen && !std::exchange(isAsking, true))
        startTask(QStringLiteral("screen"), [this] { return askForScreen(); });
    else if (!probes.askForScreen)
        tellOfObstacle(obstacle);
    return false;
}

QCoro::Task<> DesktopPrivacy::askForScreen() {
    const std::weak_ptr alive = known;
    QString why;
    try {
        auto asking = probes.askForScreen();
        co_await asking;
    } catch (const CaptureCancelled&) { // the user knows
    } catch (...) {
        why = inWords(describeCurrentError(), Attempt::local).happened;
    }
    const auto present = alive.lock();
    if (!present)
        co_return;
    isAsking = false;
    if (!why.isEmpty())
        tellOfObstacle(why);
    present->onChange();
}

void DesktopPrivacy::tellOfObstacle(const QString& obstacle) {
    notifier.show({.summary = QStringLiteral("This screen cannot be recorded"),
        .body = asSentence(obstacle),
        .failure = true});
}

AuthorizationStatus DesktopPrivacy::microphoneAuthorization() {
    if (!answers.boolean(microphone))
        return AuthorizationStatus::notDetermined;
    return known->exists ? AuthorizationStatus::authorized : AuthorizationStatus::restricted;
}

QCoro::Task<> DesktopPrivacy::refresh() {
    if (probes.refreshScreen)
        startTask(QStringLiteral("screen"), [this] { return renewScreen(); });
    if (!answers.boolean(microphone))
        co_return; // access is not granted, so the answer does not matter
    const Promise<void> renewed;
    startTask(QStringLiteral("microphone"),
        [this, renewed] { return renew(known, probes.microphoneExists(), renewed); });
    QTimer::singleShot(patience, [renewed] { renewed.resolve(); });
    co_await renewed;
}

QCoro::Task<> DesktopPrivacy::renewScreen() {
    const std::weak_ptr alive = known;
    const QString before = probes.screenObstacle();
    auto refreshing = probes.refreshScreen();
    co_await refreshing;
    const auto present = alive.lock();
    if (present && probes.screenObstacle() != before)
        present->onChange();
}

QCoro::Task<> DesktopPrivacy::renew(
    std::weak_ptr<Microphone> known, QCoro::Task<bool> asking, Promise<void> renewed) {
    const bool exists = co_await asking;
    const auto present = known.lock();
    if (present && std::exchange(present->exists, exists) != exists)
        present->onChange();
    renewed.resolve();
}

void DesktopPrivacy::onChange(std::function<void()> handler) {
    known->onChange = std::move(handler);
}

void DesktopPrivacy::requestMicrophoneAccess(std::function<void(bool)> handler) {
    answers.set(microphone, agreed);
    startTask(QStringLiteral("microphone"), [this, handler = std::move(handler)] { return answer(handler); });
}

QCoro::Task<> DesktopPrivacy::answer(std::function<void(bool)> handler) {
    const std::weak_ptr alive = known;
    auto refreshing = refresh();
    co_await refreshing;
    const auto present = alive.lock();
    if (present && !present->exists) {
        notifier.show({.summary = QStringLiteral("No microphone found"),
            .body = QStringLiteral("Connect a microphone, or choose one in the sound settings."),
            .failure = true});
    }
    handler(present && present->exists);
}

AuthorizationStatus DesktopPrivacy::speechAuthorization() {
    return answers.boolean(speech) ? AuthorizationStatus::authorized : AuthorizationStatus::notDetermined;
}

void DesktopPrivacy::requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) {
    answers.set(speech, agreed);
    handler(AuthorizationStatus::authorized);
}

} // namespace tavro
