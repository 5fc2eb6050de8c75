#include "App/AppDelegate.h"

#include "App/LinuxDesktop.h"
#include "Auth/AppSignIn.h"
#include "Backend/HTTPBackend.h"
#include "Backend/MockBackend.h"
#include "Capture/CaptureTarget.h"
#include "Core/Log.h"
#include "Core/Paths.h"
#include "Core/Tasks.h"
#include "Permissions/OnboardingWizard.h"
#include "Session/RecordingSession.h"
#include "UI/Palette.h"
#include "UI/SessionSetupController.h"
#include "UI/StatusBarController.h"

#include <QCoreApplication>
#include <QScopeGuard>
#include <QTimer>
#include <QVariant>

#include <malloc.h>
#include <qcoro/qcorotimer.h>

namespace tavro {
namespace {

constexpr std::chrono::seconds tokenPatience{1};
constexpr std::chrono::milliseconds goneWithin{150}; // a hidden window, from the screen
constexpr std::chrono::seconds trayPatience{5};      // at log-in a panel may start after this program

std::filesystem::path workDirectory() {
    return Paths::temporary() / "Tavro-recordings";
}

/// The kept file of a take: the joined one, else the video alone.
std::optional<std::filesystem::path> keptRecording(const QString& sessionId) {
    const RecordingsFolder folder(workDirectory());
    for (const auto& file : {folder.muxed(sessionId), folder.video(sessionId)}) {
        std::error_code ignored;
        if (std::filesystem::exists(file, ignored))
            return file;
    }
    return std::nullopt;
}

} // namespace

AppDelegate::AppDelegate(LinuxDesktop& desktopGiven, std::function<void()> makeWay)
    : desktop(desktopGiven)
    , keychain(desktop.secrets)
    , notices(desktop.notifier, *desktop.workspace,
          [this](const auto& sessionIds) { keptUploads.upload(sessionIds); })
    , permissions(desktop.privacy, *desktop.workspace,
          {.makeWay = std::move(makeWay), .terminate = [] { QCoreApplication::quit(); }})
    , muxer(*desktop.media)
    , keptUploads(workDirectory(), muxer,
          {.connect = [this] { return makeBackend(); },
              .progress = [this](auto part) { statusBar->setUploadProgress(part); },
              .ended = [this](auto outcomes) { uploadsEnded(std::move(outcomes)); }})
    , capture(*desktop.screen.service, *desktop.writers, desktop.sound.audioEngine(),
          desktop.sound.audioHardware(), *desktop.converters, desktop.systemVersion,
          [this] { return toText(permissions.screen()); })
    , disk(workDirectory())
    , bar(desktop.inhibitor, desktop.windowing,
          {.pause = [this] { return attempt(&RecordingSession::pause); },
              .resume = [this] { return attempt(&RecordingSession::resume); },
              .restart = [this] { return attempt(&RecordingSession::restart); },
              .finish = [this] { startOperation([this] { return finishSession(); }); },
              .remove = [this] { startOperation([this] { return deleteSession(); }); },
              .elapsed = [this] { return elapsed(); }})
    , termination({.mustWait = [this] { return isSessionInProgress() || keptUploads.isWorking(); },
          .makeSafe = [this] { return finaliseTake(); },
          .giveUp = [this] { endWithoutTheUpload(); }}) {}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching() {
    statusBar = std::make_unique<StatusBarController>(
        desktop.trayHost, StatusBarController::Actions{.newSession = [this] { showSetup(); },
                              .settings = [this] { showSettings(); },
                              .viewLogs = [this] { openLogs(); },
                              .activate = [this] { startedAgain(); }});
    capture.elapsedProvider = [this] { return elapsed(); };
    capture.setLevelHandler([this](double level) {
        bar.setLevel(level);
        bar.setMicrophoneSilent(capture.isMicrophoneSilent());
        capture.setSlowArea(bar.meterArea());
    });
    capture.setFailureHandler([this](auto reason) { notices.writingFailed(describe(reason)); });
    desktop.secrets->onNotStored([this](auto reason) { notices.signInNotStored(describe(reason)); });
    capture.setInterruptionHandler([this] { notices.sharingStopped(); });
    QTimer::singleShot(tokenPatience, &termination, [this] { completeLaunch(); });
    keychain.load(apiTokenAccount, [this] { tokenIsRead(); });
}

void AppDelegate::completeLaunch() {
    if (wizard)
        return;
    buildBackend();
    wizard = std::make_unique<OnboardingWizard>(
        OnboardingServices{signIn(), permissions, keychain, config}, [this] { buildBackend(); });
    tellWhatWasNeverUploaded();
    tellWhenThereIsNoTray();
    startTask(QStringLiteral("launch"), [this]() -> QCoro::Task<> {
        auto presenting = wizard->presentIfNeeded();
        co_await presenting;
        Log::info(QStringLiteral("Tavro launched"));
    });
    if (requestedAtLaunch)
        requestedAtLaunch();
}

/// The token of a locked or slow keyring can arrive after the launch.
void AppDelegate::tokenIsRead() {
    if (!wizard)
        return completeLaunch();
    wizard->refreshAccount();
    if (localBackend && !config.devMode() && keychain.get(apiTokenAccount))
        buildBackend();
}

void AppDelegate::buildBackend() {
    if (isSessionInProgress()) {
        rebuildWhenEnded = true;
        return;
    }
    backend = makeBackend();
    tokenInUse = keychain.get(apiTokenAccount);
    localBackend = std::dynamic_pointer_cast<MockBackend>(backend);
    backend->setUploadProgress([this](auto sent, auto total) { bar.setUploadProgress(sent, total); });
    session = std::make_shared<RecordingSession>(backend, capture, muxer, workDirectory());
    if (setup && setup->window())
        showSetup(); // the open window lists the previous backend's records
}

std::shared_ptr<BackendClient> AppDelegate::makeBackend() const {
    const auto token = keychain.get(apiTokenAccount);
    const bool devMode = config.devMode();
    if (devMode || !token) {
        Log::info(
            QStringLiteral("backend: MockBackend (local files) — devMode=%1, token=%2, hasRealBackend=%3")
                .arg(QVariant(devMode).toString(), token ? QStringLiteral("present") : QStringLiteral("none"),
                    QVariant(!devMode && token).toString()));
        return std::make_shared<MockBackend>(Paths::applicationSupport() / "Tavro");
    }
    const QUrl baseURL = config.backendURL();
    Log::info(
        QStringLiteral("backend: HTTPBackend → %1 (devMode=false, token=present)").arg(baseURL.toString()));
    return std::make_shared<HTTPBackend>(baseURL, *token);
}

void AppDelegate::startedAgain() {
    if (bar.isOpen())
        bar.takeFocus();
    else
        showSetup();
}

void AppDelegate::showSetup() {
    if (!wizard) {
        requestedAtLaunch = [this] { showSetup(); };
        return;
    }
    if (setup && setup->isWaiting())
        return; // for the desktop's dialog, after which it may be shown again
    setup = std::make_unique<SessionSetupController>(
        backend, [this] { return CaptureCatalog::displays(*desktop.screen.service); },
        [this](
            const SetupResult& result) { startOperation([this, result] { return beginSession(result); }); },
        [] {}, emailInUse());
    setup->show();
}

/// The user at the backend in use. Who has signed in or out since it was built is somebody else.
std::optional<QString> AppDelegate::emailInUse() const {
    return keychain.get(apiTokenAccount) == tokenInUse ? config.defaults.string(userEmailKey) : std::nullopt;
}

void AppDelegate::showSettings() {
    if (wizard)
        wizard->present();
    else
        requestedAtLaunch = [this] { showSettings(); };
}

void AppDelegate::openLogs() {
    desktop.workspace->open(QUrl::fromLocalFile(Paths::toText(Log::url().parent_path())));
}

void AppDelegate::startOperation(std::function<QCoro::Task<>()> operation) {
    ++operationsUnderWay;
    startTaskLater(QStringLiteral("session"), [this, operation = std::move(operation)]() -> QCoro::Task<> {
        const auto ended = qScopeGuard([this] { operationEnded(); });
        auto running = operation();
        co_await running;
    });
}

void AppDelegate::operationEnded() {
    if (--operationsUnderWay > 0)
        return;
    if (std::exchange(rebuildWhenEnded, false))
        buildBackend();
    if (allEnded)
        allEnded->resolve();
}

QCoro::Task<> AppDelegate::beginSession(SetupResult result) {
    RecordingsFolder(workDirectory()).removeUploaded();
    if (const auto free = disk.tooFewToBegin()) {
        Log::error(QStringLiteral("beginSession: not started, %1 bytes are free in %2")
                       .arg(*free)
                       .arg(Paths::toText(workDirectory())));
        notices.tooFullToBegin(*free, workDirectory());
        setup->drop();
        co_return;
    }
    auto gone = QCoro::sleepFor(goneWithin);
    co_await gone; // the film begins without the setup window
    const auto current = session;
    bool failed = false;
    try {
        auto beginning = current->begin(result.scenarioId, result.appUrl, result.target, result.includeMic);
        co_await beginning;
    } catch (const CaptureCancelled&) {
        Log::info(QStringLiteral("beginSession: the user shared no screen — session window shown again"));
        setup->showAgain();
        failed = true;
    } catch (...) {
        const auto error = describeCurrentError();
        Log::error(
            QStringLiteral("beginSession FAILED: %1 [domain=%2 code=%3] — session window closed, no control "
                           "panel. Full: %4")
                .arg(error.localizedDescription, error.domain, QString::number(error.code), error.text));
        notices.beginFailed(error);
        failed = true;
    }
    setup->drop();
    if (failed) {
        auto withdrawing = current->withdraw();
        co_await withdrawing;
        co_return;
    }
    bar.show();
    ::malloc_trim(0); // what the setup window used is not needed during the take
    watchDisk();
    statusBar->setTint(Palette().record);
    Log::info(QStringLiteral("beginSession: control panel shown, recording active"));
}

void AppDelegate::watchDisk() {
    const auto size = [id = *session->sessionId()] { return RecordingsFolder(workDirectory()).size(id); };
    disk.watch(size, [this](DiskWatch::Bytes free) {
        Log::error(QStringLiteral("finishSession: by itself, %1 bytes are free in %2")
                       .arg(free)
                       .arg(Paths::toText(workDirectory())));
        notices.tooFullToGoOn(free, workDirectory());
        startOperation([this] { return finishSession(); });
    });
}

QCoro::Task<> AppDelegate::attempt(Operation operation) {
    const auto current = session;
    try {
        auto running = ((*current).*operation)();
        co_await running;
    } catch (const SessionStateMachine::TransitionError&) { // pressed too late
    } catch (...) {                                         // the bar stays
        if (operation == &RecordingSession::restart)
            notices.restartFailed(describeCurrentError());
    }
}

QCoro::Task<> AppDelegate::finishSession() {
    const auto current = session;
    if (!current || !current->sessionId() || bar.isEnding())
        co_return;
    const QString id = *current->sessionId();
    disk.stop(); // the film takes its space now
    bar.setFinishing();
    try {
        auto finishing = current->finish();
        co_await finishing;
        if (localBackend)
            tellWhereItIsSaved(id);
        if (current->soundLeftBehind())
            notices.narrationLeft(*current->soundLeftBehind());
    } catch (...) {
        const auto error = describeCurrentError();
        Log::error(QStringLiteral("finish failed: ") + error.text);
        notices.finishFailed(error, keptRecording(id), id);
    }
    current->reset();
    sessionEnded();
    const auto review = reviewAddress(id);
    if (!review) {
        Log::info(QStringLiteral("finishSession: there is no page to review session ") + id);
        co_return;
    }
    desktop.workspace->open(*review);
    Log::info(QStringLiteral("finishSession: opened review ") + review->toString());
}

void AppDelegate::tellWhereItIsSaved(const QString& sessionId) {
    notices.savedLocally(localBackend->video(sessionId), reviewAddress(sessionId));
}

/// The local backend only moves a recording into its own folder.
void AppDelegate::uploadsEnded(std::vector<KeptUploads::Outcome> outcomes) {
    std::error_code ignored;
    std::erase_if(outcomes, [&](const KeptUploads::Outcome& outcome) {
        const bool isHere = localBackend && !outcome.failure &&
                            std::filesystem::exists(localBackend->video(outcome.sessionId), ignored);
        if (isHere)
            tellWhereItIsSaved(outcome.sessionId);
        return isHere;
    });
    notices.uploadsEnded(outcomes);
}

/// The service's page, also after a failed finish; the local backend's only when it was written.
std::optional<QUrl> AppDelegate::reviewAddress(const QString& sessionId) const {
    if (localBackend) {
        const auto page = localBackend->reviewPage(sessionId);
        std::error_code ignored;
        return std::filesystem::exists(page, ignored)
                   ? std::optional(QUrl::fromLocalFile(Paths::toText(page)))
                   : std::nullopt;
    }
    QUrl address = config.backendURL();
    QString path = address.path();
    if (!path.endsWith(u'/'))
        path += u'/';
    address.setPath(path + QStringLiteral("sessions/") + sessionId + QStringLiteral("/review"));
    return address;
}

QCoro::Task<> AppDelegate::deleteSession() {
    const auto current = session;
    if (!current || bar.isEnding())
        co_return;
    disk.stop();
    bar.setDeleting();
    try {
        auto deleting = current->deleteSession();
        co_await deleting;
    } catch (...) {
        const auto error = describeCurrentError();
        Log::error(QStringLiteral("delete failed: ") + error.text);
        notices.deleteFailed(error);
    }
    sessionEnded();
}

void AppDelegate::sessionEnded() {
    bar.close();
    capture.setSlowArea({});
    statusBar->clearTint();
}

/// Completes and keeps the files of a running take. Earlier operations, such as an upload, run to their end,
/// but not the upload of a kept recording.
QCoro::Task<> AppDelegate::finaliseTake() {
    const auto current = session;
    disk.stop();
    bar.setFinishing();
    auto givingUp = keptUploads.giveUp(); // at once; awaited below
    try {
        auto finalising = current->finalizeTake();
        const auto kept = co_await finalising;
        if (kept)
            Log::info(QStringLiteral("quit: the take is kept in ") + Paths::toText(*kept));
    } catch (...) {
        Log::error(QStringLiteral("quit: the take could not be completed: ") + describeCurrentError().text);
    }
    co_await givingUp;
    if (operationsUnderWay == 0)
        co_return;
    const auto ended = allEnded.emplace();
    co_await ended;
}

void AppDelegate::endWithoutTheUpload() {
    muxer.cancel();
    const auto id = session->sessionId();
    const auto kept = id ? keptRecording(*id) : std::nullopt;
    if (kept)
        Log::error(QStringLiteral("quit: the upload was not completed, the recording is kept in ") +
                   Paths::toText(*kept));
    if (allEnded)
        allEnded->resolve();
}

bool AppDelegate::isSessionInProgress() const {
    return operationsUnderWay > 0 || (session && session->phase() != SessionPhase::idle);
}

double AppDelegate::elapsed() const {
    return session ? session->elapsed() : 0;
}

void AppDelegate::tellWhatWasNeverUploaded() {
    const auto recordings = RecordingsFolder(workDirectory()).tidy();
    if (recordings.empty())
        return;
    notices.neverUploaded(recordings, keptUploads.belongingTo(backend->address()));
    keptUploads.makeAllWhole();
}

void AppDelegate::tellWhenThereIsNoTray() {
    QTimer::singleShot(trayPatience, &termination, [this] {
        if (!statusBar->isShown())
            notices.noTray();
    });
}

AppSignIn& AppDelegate::signIn() {
    if (!signInFlow)
        signInFlow = std::make_shared<AppSignIn>(backend, keychain, desktop.workspace);
    return *signInFlow;
}

} // namespace tavro
