#pragma once

#include "App/Notices.h"
#include "App/TakeBar.h"
#include "App/Termination.h"
#include "Audio/VideoAudioMuxer.h"
#include "Auth/KeychainHelper.h"
#include "Capture/RealScreenCapture.h"
#include "Core/Promise.h"
#include "Core/WorkerConfig.h"
#include "Permissions/PermissionStatus.h"
#include "Session/DiskWatch.h"

#include <functional>
#include <memory>

namespace tavro {

class AppSignIn;
class BackendClient;
class MockBackend;
class OnboardingWizard;
class RecordingSession;
class SessionSetupController;
class StatusBarController;
struct LinuxDesktop;
struct SetupResult;

/// The application's one controller. Chooses the backend, owns the capture and the recording session, and
/// connects user actions to operations. Main thread; lives for the whole process.
class AppDelegate {
public:
    /// `desktop` outlives the controller. `makeWay` lets a second instance start beside this one.
    AppDelegate(LinuxDesktop& desktop, std::function<void()> makeWay);
    ~AppDelegate();
    AppDelegate(const AppDelegate&) = delete;
    AppDelegate& operator=(const AppDelegate&) = delete;

    /// Shows the tray at once. The rest of the launch and earlier requests wait a second at most for the
    /// token.
    void applicationDidFinishLaunching();
    /// Handles a second start, or a click on the icon. During a take the bar gets the keyboard focus: a new
    /// window would be recorded.
    void startedAgain();

    /// Rebuilds backend and session from the current settings and keychain; during a session, after its end.
    void buildBackend();
    void showSetup();
    void showSettings();
    void openLogs();

    QCoro::Task<> beginSession(SetupResult result);
    QCoro::Task<> finishSession();
    QCoro::Task<> deleteSession();

private:
    using Operation = QCoro::Task<> (RecordingSession::*)();

    void startOperation(std::function<QCoro::Task<>()> operation);
    void operationEnded();
    void watchDisk();
    void sessionEnded();
    QCoro::Task<> attempt(Operation operation);
    QCoro::Task<> finaliseTake();
    void endWithoutTheUpload();
    bool isSessionInProgress() const;
    double elapsed() const;
    void tellWhereItIsSaved(const QString& sessionId);
    void uploadsEnded(std::vector<KeptUploads::Outcome> outcomes);
    std::optional<QUrl> reviewAddress(const QString& sessionId) const;
    std::shared_ptr<BackendClient> makeBackend() const;
    void tellWhatWasNeverUploaded();
    void completeLaunch();
    void tokenIsRead();
    void tellWhenThereIsNoTray();
    AppSignIn& signIn();
    std::optional<QString> emailInUse() const;

    LinuxDesktop& desktop;
    const WorkerConfig config;
    const KeychainHelper keychain;
    Notices notices;
    Permissions permissions;
    VideoAudioMuxer muxer;
    KeptUploads keptUploads;
    RealScreenCapture capture;
    DiskWatch disk;
    TakeBar bar;

    std::shared_ptr<BackendClient> backend;
    std::shared_ptr<MockBackend> localBackend; ///< the backend, when it is the local one
    std::shared_ptr<RecordingSession> session; ///< shared with the operations under way
    std::optional<QString> tokenInUse;         ///< the keychain's when the backend was built
    bool rebuildWhenEnded = false;
    int operationsUnderWay = 0;            ///< begin, finish and delete, from the press of the button on
    std::optional<Promise<void>> allEnded; ///< set while the program's end waits for the operations

    std::shared_ptr<AppSignIn> signInFlow;
    std::unique_ptr<StatusBarController> statusBar;
    std::unique_ptr<SessionSetupController> setup;
    std::unique_ptr<OnboardingWizard> wizard; ///< from the completed launch on
    std::function<void()> requestedAtLaunch;  ///< the last user request before the completed launch
    Termination termination;
};

} // namespace tavro
