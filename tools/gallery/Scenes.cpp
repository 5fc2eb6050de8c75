#include "gallery/Scenes.h"

#include "Auth/AppSignIn.h"
#include "Backend/MockBackend.h"
#include "Core/Promise.h"
#include "Permissions/OnboardingWizard.h"
#include "Platform/Fake/FakePrivacyServices.h"
#include "Platform/Fake/FakeSecretStore.h"
#include "Platform/Fake/FakeWorkspace.h"
#include "Platform/Windowing/DesktopWindowing.h"
#include "UI/ControlBarModel.h"
#include "UI/RecordingControlPanel.h"
#include "UI/SessionSetupController.h"

#include <QCoreApplication>
#include <QQuickItem>
#include <QTemporaryDir>

#include <cmath>

namespace tavro::gallery {

namespace {

CaptureOption display(int number, int width, int height) {
    const QString label = QStringLiteral("Display %1 (%2×%3)").arg(number).arg(width).arg(height);
    const QString identifier = QString::number(number);
    return {.id = QStringLiteral("display-") + identifier,
        .label = label,
        .meta = {.kind = CaptureKind::display, .identifier = identifier, .label = label}};
}

std::filesystem::path pathOf(const QTemporaryDir& folder) {
    return folder.path().toStdString();
}

// The setup window

enum class Service { local, remote, loading, unreachable };

/// A remote service with the local one's lists, which may be unreachable or still on their way.
class RemoteService final : public MockBackend {
public:
    RemoteService(std::filesystem::path folder, Service stateGiven)
        : MockBackend(std::move(folder))
        , state(stateGiven) {}

    Service state;
    Promise<void> arrival; ///< of the lists; they never come

    QString address() const override { return QStringLiteral("https://tavro.example.com"); }
    QCoro::Task<std::vector<Project>> listProjects() override {
        if (state == Service::unreachable)
            throw PlatformError(QStringLiteral("Gallery"), 1, {}, {Cause::serviceUnreachable});
        if (state == Service::loading)
            co_await arrival;
        auto listing = MockBackend::listProjects();
        co_return co_await listing;
    }
};

struct SetupState {
    std::vector<CaptureOption> displays;
    Service service = Service::local;
    std::optional<QString> email{};
    QString newScenario{};
    QString appUrl{};
    bool includeMic = true;
    QString openPicker{}; ///< the picker with an open list
};

class SetupScene final : public Scene {
public:
    explicit SetupScene(const SetupState& setup)
        : state(setup)
        , remote(state.service == Service::local
                     ? nullptr
                     : std::make_shared<RemoteService>(pathOf(folder), state.service))
        , controller(
              remote ? remote : std::make_shared<MockBackend>(pathOf(folder)),
              [displays = state.displays]() -> QCoro::Task<std::vector<CaptureOption>> {
                  co_return displays;
              },
              [](const SetupResult&) {}, [] {}, state.email) {
        controller.show();
        model()->setNewScenarioName(state.newScenario);
        model()->setAppUrl(state.appUrl);
        model()->setIncludeMic(state.includeMic);
    }
    ~SetupScene() override {
        if (!remote)
            return;
        remote->arrival.reject(std::make_exception_ptr(PlatformError(QStringLiteral("Gallery"), 2)));
        QCoreApplication::sendPostedEvents(); // a load that waits ends here, for there may be no loop any
                                              // more
    }

    std::vector<ViewWindow*> windows() const override { return {controller.window()}; }
    bool isReady() const override {
        if (state.service == Service::loading)
            return true;
        const bool hasLists = !model()->scenarios().empty() || !model()->serviceFailure().isEmpty();
        return hasLists && model()->captureOptions().size() == state.displays.size();
    }
    void restoreService() override { remote->state = Service::remote; }
    void arrange() override {
        for (const QQuickItem* item : controller.window()->rootObject()->findChildren<QQuickItem*>()) {
            auto* popup = item->property("popup").value<QObject*>();
            if (popup && item->property("label").toString() == state.openPicker)
                popup->setProperty("visible", true);
        }
    }

private:
    SetupModel* model() const {
        return controller.window()->rootObject()->property("model").value<SetupModel*>();
    }

    QTemporaryDir folder;
    const SetupState state;
    const std::shared_ptr<RemoteService> remote; ///< null: local
    SessionSetupController controller;
};

// The control panel

struct PanelState {
    QString elapsed;
    float level = 0;
    bool paused = false;
    bool silent = false;
    bool finishing = false;
    double upload = -1;
    bool menu = false;
};

class PanelScene final : public Scene {
public:
    explicit PanelScene(const PanelState& state) : panel(*model, windowing), withMenu(state.menu) {
        model->setElapsed(state.elapsed);
        model->setLevel(state.level);
        model->setPaused(state.paused);
        model->setMicrophoneSilent(state.silent);
        model->setFinishing(state.finishing);
        model->setUploadProgress(state.upload);
        panel.show();
    }

    bool isReady() const override {
        return panel.window()->isExposed() && std::abs(model->shownLevel() - model->level()) < 0.02F;
    }
    void arrange() override {
        if (!withMenu)
            return;
        panel.moreMenu().toggle();
        panel.moreMenu().setCurrent(0);
    }
    std::vector<ViewWindow*> windows() const override {
        std::vector<ViewWindow*> result{panel.window()};
        if (panel.menuWindow())
            result.push_back(panel.menuWindow());
        return result;
    }

private:
    DesktopWindowing windowing;
    const std::shared_ptr<ControlBarModel> model = std::make_shared<ControlBarModel>();
    RecordingControlPanel panel;
    const bool withMenu;
};

// The wizard

struct WizardState {
    PermissionSet grants;
    bool signedIn = false;
    QString email{};
};

AuthorizationStatus statusOf(Grant grant) {
    switch (grant) {
    case Grant::granted:
        return AuthorizationStatus::authorized;
    case Grant::denied:
        return AuthorizationStatus::denied;
    case Grant::unknown:
        break;
    }
    return AuthorizationStatus::notDetermined;
}

class WizardScene final : public Scene {
public:
    explicit WizardScene(const WizardState& state) {
        privacy.screen = state.grants.screen == Grant::granted;
        privacy.microphone = statusOf(state.grants.microphone);
        privacy.speech = statusOf(state.grants.speech);
        if (state.signedIn)
            keychain.set(QStringLiteral("token"), apiTokenAccount);
        if (!state.email.isEmpty())
            defaults.set(userEmailKey, state.email);
        wizard.present();
    }

    std::vector<ViewWindow*> windows() const override { return {wizard.window()}; }

private:
    QTemporaryDir folder;
    UserDefaults defaults{pathOf(folder) / "defaults.conf"};
    std::shared_ptr<FakeWorkspace> workspace = std::make_shared<FakeWorkspace>();
    KeychainHelper keychain{std::make_shared<FakeSecretStore>()};
    AppSignIn signIn{std::make_shared<MockBackend>(pathOf(folder)), keychain, workspace, defaults};
    FakePrivacyServices privacy;
    Permissions permissions{privacy, *workspace, {.makeWay = [] {}, .terminate = [] {}}};
    OnboardingWizard wizard{{.signIn = signIn,
                                .permissions = permissions,
                                .keychain = keychain,
                                .config = {.defaults = defaults}},
        [] {}};
};

template <class Kind, class State>
Entry entry(const char* name, State state) {
    return {QString::fromLatin1(name), [state = std::move(state)] { return std::make_unique<Kind>(state); }};
}

} // namespace

std::vector<Entry> entries() {
    const std::vector<CaptureOption> two{display(1, 1920, 1080), display(2, 2560, 1440)};
    CaptureOption told = display(1, 1920, 1080);
    told.hint = QStringLiteral("Your desktop will ask what to share: choose HEADLESS-1.");
    const PermissionSet none{Grant::denied, Grant::unknown, Grant::unknown};
    const PermissionSet half{Grant::granted, Grant::granted, Grant::denied};
    const PermissionSet all{Grant::granted, Grant::granted, Grant::granted};
    return {
        entry<SetupScene>("setup", SetupState{.displays = two}),
        entry<SetupScene>(
            "setup-list", SetupState{.displays = two, .openPicker = QStringLiteral("Scenario")}),
        entry<SetupScene>(
            "setup-new-scenario", SetupState{.displays = two,
                                      .newScenario = QStringLiteral("Reset a forgotten password"),
                                      .appUrl = QStringLiteral("https://staging.example.com/login"),
                                      .includeMic = false}),
        entry<SetupScene>("setup-hint", SetupState{.displays = {told}}),
        entry<SetupScene>("setup-no-display", SetupState{}),
        entry<SetupScene>("setup-remote",
            SetupState{
                .displays = two, .service = Service::remote, .email = QStringLiteral("tester@example.com")}),
        entry<SetupScene>("setup-loading", SetupState{.displays = two, .service = Service::loading}),
        entry<SetupScene>("setup-unreachable", SetupState{.displays = two, .service = Service::unreachable}),
        entry<PanelScene>("panel-recording", PanelState{.elapsed = QStringLiteral("04:17"), .level = 0.55f}),
        entry<PanelScene>("panel-paused", PanelState{.elapsed = QStringLiteral("12:08"), .paused = true}),
        entry<PanelScene>("panel-no-sound", PanelState{.elapsed = QStringLiteral("00:09"), .silent = true}),
        entry<PanelScene>(
            "panel-menu", PanelState{.elapsed = QStringLiteral("04:18"), .level = 0.3f, .menu = true}),
        entry<PanelScene>(
            "panel-finishing", PanelState{.elapsed = QStringLiteral("75:03"), .finishing = true}),
        entry<PanelScene>("panel-uploading",
            PanelState{.elapsed = QStringLiteral("100:00"), .finishing = true, .upload = 0.62}),
        entry<WizardScene>("wizard", WizardState{.grants = none}),
        entry<WizardScene>("wizard-half", WizardState{.grants = half}),
        entry<WizardScene>("wizard-done",
            WizardState{.grants = all, .signedIn = true, .email = QStringLiteral("tester@example.com")}),
    };
}

} // namespace tavro::gallery
