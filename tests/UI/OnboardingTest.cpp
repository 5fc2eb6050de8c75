#include "Auth/AppSignIn.h"
#include "Backend/MockBackend.h"
#include "Permissions/OnboardingWizard.h"
#include "Platform/Fake/FakePrivacyServices.h"
#include "Platform/Fake/FakeSecretStore.h"
#include "Platform/Fake/FakeWorkspace.h"
#include "support/TestSupport.h"

#include <QGuiApplication>
#include <QQuickItem>
#include <QTimer>

using namespace tavro;
using namespace tavro::test;

namespace {

struct OnboardingTest : testing::Test {
    TemporaryFolder folder;
    UserDefaults defaults{folder.path() / "defaults.conf"};
    std::shared_ptr<FakeWorkspace> workspace = std::make_shared<FakeWorkspace>();
    KeychainHelper keychain{std::make_shared<FakeSecretStore>()};
    AppSignIn signIn{std::make_shared<MockBackend>(folder.path()), keychain, workspace, defaults};
    FakePrivacyServices privacy;
    int relaunches = 0;
    Permissions permissions{privacy, *workspace, {.makeWay = [this] { ++relaunches; }, .terminate = [] {}}};
    OnboardingServices services{
        .signIn = signIn, .permissions = permissions, .keychain = keychain, .config = {.defaults = defaults}};

    void storeToken() { keychain.set(u"token"_qs, apiTokenAccount); }
    std::shared_ptr<OnboardingModel> appeared() {
        auto model = std::make_shared<OnboardingModel>(services);
        await(model->appear());
        return model;
    }
};

} // namespace

TEST_F(OnboardingTest, theWizardShowsWhenAnythingIsMissing) {
    using Status = AuthorizationStatus;
    const struct {
        bool screen;
        Status microphone, speech;
        bool token, shown;
    } cases[] = {
        {true, Status::authorized, Status::authorized, true, false},
        {true, Status::authorized, Status::authorized, false, true},
        {false, Status::authorized, Status::authorized, true, true},
        {true, Status::denied, Status::authorized, true, true},
        {true, Status::authorized, Status::notDetermined, true, true},
        {false, Status::notDetermined, Status::notDetermined, false, true},
    };
    for (const auto& test : cases) {
        privacy.screen = test.screen;
        privacy.microphone = test.microphone;
        privacy.speech = test.speech;
        keychain.remove(apiTokenAccount);
        if (test.token)
            storeToken();
        int completed = 0;
        OnboardingWizard wizard(services, [&] { ++completed; });
        await(wizard.presentIfNeeded());
        EXPECT_GT(privacy.microphoneRefreshes, 0);
        privacy.microphoneRefreshes = 0;
        EXPECT_EQ(wizard.window() != nullptr, test.shown);
        EXPECT_EQ(completed, test.shown ? 0 : 1);
        EXPECT_EQ(appeared()->isComplete(), !test.shown);
    }
}

TEST_F(OnboardingTest, onlyDoneCompletes) {
    int completed = 0;
    OnboardingWizard wizard(services, [&] {
        EXPECT_EQ(wizard.window(), nullptr); // closed before
        ++completed;
    });
    const auto model = [&] {
        return wizard.window()->rootObject()->property("model").value<OnboardingModel*>();
    };
    wizard.present();
    model()->done(); // not while something is missing
    ASSERT_TRUE(wizard.window());
    QTimer::singleShot(0, wizard.window(), &QWindow::close); // as its button does
    EXPECT_TRUE(waitUntil([&] { return wizard.window() == nullptr; }));
    EXPECT_EQ(completed, 0);

    privacy.grantAll();
    storeToken();
    wizard.present();
    model()->done();
    EXPECT_EQ(completed, 1);
}

TEST_F(OnboardingTest, aRequestShowsWhatHoldsAfterIt) {
    const auto model = appeared();
    model->grantMicrophone();
    ASSERT_EQ(privacy.microphoneRequests.size(), 1u);
    EXPECT_EQ(model->perms().microphone, Grant::unknown);
    privacy.microphone = AuthorizationStatus::authorized;
    privacy.microphoneRequests[0](false); // the answer itself is not shown
    EXPECT_TRUE(waitUntil([&] { return model->perms().microphone == Grant::granted; }));

    model->grantSpeech();
    privacy.speech = AuthorizationStatus::restricted;
    privacy.speechRequests.at(0)(AuthorizationStatus::restricted);
    EXPECT_TRUE(waitUntil([&] { return model->perms().speech == Grant::denied; }));

    privacy.screen = true;
    model->grantScreen();
    EXPECT_EQ(privacy.screenRequests, 1);
    EXPECT_EQ(model->perms().screen, Grant::granted);
}

TEST_F(OnboardingTest, aGrantGivenElsewhereShowsWhenTheUserComesBack) {
    const auto model = appeared();
    privacy.screen = true;
    EXPECT_EQ(model->perms().screen, Grant::denied);
    emit qGuiApp->applicationStateChanged(Qt::ApplicationInactive);
    EXPECT_EQ(model->perms().screen, Grant::denied);
    emit qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_EQ(model->perms().screen, Grant::granted);
}

TEST_F(OnboardingTest, theMicrophoneIsAskedForAnewAndShowsWhenItChanges) {
    const auto model = appeared();
    EXPECT_EQ(privacy.microphoneRefreshes, 1);
    emit qGuiApp->applicationStateChanged(Qt::ApplicationActive);
    EXPECT_EQ(privacy.microphoneRefreshes, 2);
    privacy.microphone = AuthorizationStatus::authorized;
    EXPECT_NE(model->perms().microphone, Grant::granted);
    privacy.microphoneChanged();
    EXPECT_EQ(model->perms().microphone, Grant::granted);
}

TEST_F(OnboardingTest, advisesToRelaunchOnlyWhereThatChangesSomething) {
    EXPECT_EQ(appeared()->relaunchNote(), QString());
    privacy.needsRelaunch = true;
    EXPECT_EQ(appeared()->relaunchNote(),
        u"After granting Screen Recording, quit & relaunch so your desktop applies it."_qs);
}

TEST_F(OnboardingTest, saysWhoIsSignedIn) {
    EXPECT_EQ(std::make_shared<OnboardingModel>(services)->accountText(), u"Not signed in"_qs);
    storeToken();
    EXPECT_EQ(appeared()->accountText(), u"Signed in as your account"_qs);
    defaults.set(userEmailKey, u"a@example.com"_qs);
    privacy.grantAll();
    const auto model = appeared();
    EXPECT_EQ(model->accountText(), u"Signed in as a@example.com"_qs);
    EXPECT_TRUE(model->isComplete());

    model->signInOrOut(); // out, at once
    EXPECT_EQ(model->accountText(), u"Not signed in"_qs);
    EXPECT_FALSE(model->isComplete());
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
}

TEST_F(OnboardingTest, aFailedSignInShowsByTheStateAlone) {
    defaults.set(u"tavro.backendURL"_qs, u"http://127.0.0.1:1"_qs); // nobody answers there
    workspace->onOpen = [](const QUrl&) {};
    const auto model = appeared();
    auto changes = std::make_shared<int>(0); // the model outlives this test while its second attempt waits
    QObject::connect(model.get(), &OnboardingModel::accountChanged, [changes] { ++*changes; });
    model->signInOrOut();
    ASSERT_TRUE(waitUntil([&] { return workspace->opened.size() == 1; }));
    EXPECT_EQ(workspace->opened[0].host(), u"127.0.0.1"_qs);
    model->signInOrOut(); // a second attempt ends the first
    EXPECT_TRUE(waitUntil([&] { return *changes >= 1; }));
    EXPECT_EQ(model->accountText(), u"Not signed in"_qs);
}
