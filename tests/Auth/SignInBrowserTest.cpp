#include "Auth/AppSignIn.h"
#include "Auth/KeychainHelper.h"
#include "Backend/MockBackend.h"
#include "CallbackClient.h"
#include "Core/Log.h"
#include "Core/WorkerConfig.h"
#include "KeyringControl.h"
#include "Platform/Desktop/DesktopWorkspace.h"
#include "Platform/Desktop/KeychainStore.h"

#include "support/LoopbackService.h"
#include "support/TestSupport.h"

#include <QProcess>

namespace tavro {
namespace {

namespace fs = std::filesystem;
using test::waitUntil;

const QString theToken = u"tkn-5d0c2f6b91"_qs;
const QByteArray theText = "Return to the Tavro app";

QStringList chromium(const fs::path& profile) {
    QStringList arguments{u"--headless"_qs, u"--no-sandbox"_qs, u"--disable-gpu"_qs, u"--disable-quic"_qs,
        u"--no-first-run"_qs, u"--disable-background-networking"_qs, u"--disable-component-update"_qs,
        u"--disable-sync"_qs, u"--disable-dev-shm-usage"_qs, u"--password-store=basic"_qs, u"--dump-dom"_qs};
    return arguments << u"--user-data-dir="_qs + QString::fromStdString(profile.string());
}

/// The browser's page for an address, in a new tab.
QByteArray shownAt(const QString& url, const fs::path& profile) {
    QProcess browser;
    browser.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    browser.start(u"chromium"_qs, chromium(profile) << url);
    EXPECT_TRUE(browser.waitForFinished(90'000));
    return browser.readAll();
}

std::vector<fs::path> filesWith(const QByteArray& bytes, const fs::path& folder) {
    std::vector<fs::path> found;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file() && test::readFile(entry.path()).contains(bytes))
            found.push_back(entry.path());
    return found;
}

// Signs in with the desktop's opener, a real browser and a real keyring.
TEST(SignInBrowser, leavesTheTokenInTheKeyringAndNowhereElse) {
    const test::TemporaryFolder folder;
    const fs::path page = folder.path() / "page.html", opener = folder.path() / "xdg-open";
    const QString arguments = chromium(folder.path() / "profile").join(u' ');
    test::writeFile(opener, "#!/bin/sh\nexec chromium " + arguments.toUtf8() + " \"$1\" >'" +
                                QByteArray::fromStdString(page.string()) + "'\n");
    fs::permissions(opener, fs::perms::owner_all);
    const test::ScopedEnvironment path(
        "PATH", QByteArray::fromStdString(folder.path().string()) + ':' + qgetenv("PATH"));

    test::LoopbackService::Options options;
    options.token = theToken;
    test::LoopbackService service(options);
    const fs::path home = fs::path(qgetenv("HOME").toStdString()).parent_path();
    const KeychainHelper keychain(std::make_shared<KeychainStore>(home / "data/tavro/secrets.json"));
    AppSignIn signIn(
        std::make_shared<MockBackend>(home / "data/Tavro"), keychain, std::make_shared<DesktopWorkspace>());

    EXPECT_EQ(test::await(signIn.signInWithBrowser(service.baseURL()), std::chrono::seconds(90)), theToken);
    ASSERT_TRUE(waitUntil([&] { return test::readFile(page).contains("</html>"); }));
    EXPECT_TRUE(test::readFile(page).contains(theText));

    EXPECT_TRUE(waitUntil([&] { return test::keyring::lookedUp() == theToken.toUtf8(); }));
    EXPECT_EQ(UserDefaults::standard().string(userEmailKey), u"tester@example.org"_qs);
    EXPECT_EQ(filesWith("tester@example.org", home).size(), 1U) << "the search finds what is there";
    for (const fs::path& below : {home, folder.path(), fs::path(qgetenv("TAVRO_DESKTOP").toStdString())})
        EXPECT_EQ(filesWith(theToken.toUtf8(), below), std::vector<fs::path>());
    EXPECT_TRUE(test::readFile(Log::url()).contains("signIn: stored API token from 127.0.0.1"));

    const QUrl opened = QUrl::fromEncoded(service.received("GET /auth/app").front().target);
    const QString callback = opened.query().section(u'=', 1);
    EXPECT_FALSE(test::CallbackClient(QUrl(callback).port()).isConnected());
    for (const char* tab : {"reloaded", "second"}) {
        const QByteArray shown = shownAt(callback + u"/?code=code-1"_qs, folder.path() / tab);
        EXPECT_FALSE(shown.contains(theText));
    }
    EXPECT_EQ(service.received("POST /api/auth/token").size(), 1U);
    EXPECT_EQ(keychain.get(apiTokenAccount), theToken);
    signIn.signOut();
    EXPECT_EQ(keychain.get(apiTokenAccount), std::nullopt);
    EXPECT_TRUE(waitUntil([] { return !test::keyring::lookedUp(); }));
}

} // namespace
} // namespace tavro
