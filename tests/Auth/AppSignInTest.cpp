#include "Auth/AppSignIn.h"

#include "Auth/AuthError.h"
#include "Auth/KeychainHelper.h"
#include "Backend/BackendClient.h"
#include "CallbackClient.h"
#include "Core/WorkerConfig.h"
#include "FewDescriptors.h"
#include "Platform/Fake/FakeSecretStore.h"
#include "Platform/Fake/FakeWorkspace.h"

#include "support/LoopbackService.h"
#include "support/TestSupport.h"

#include <QTcpServer>
#include <QUrlQuery>

#include <system_error>
#include <utility>

namespace tavro {
namespace {

using test::CallbackClient;
using test::waitUntil;

class BackendOfUser final : public BackendClient {
public:
    std::optional<User> user;
    bool fails = false;
    int asked = 0;

    QCoro::Task<std::optional<User>> currentUser() override {
        ++asked;
        if (fails)
            throw BackendError(BackendError::Case::notFound);
        co_return user;
    }
    QCoro::Task<std::vector<Project>> listProjects() override { return unused<std::vector<Project>>(); }
    QCoro::Task<std::vector<Scenario>> listScenarios(QString) override {
        return unused<std::vector<Scenario>>();
    }
    QCoro::Task<Scenario> createScenario(QString, QString, QString) override { return unused<Scenario>(); }
    QCoro::Task<SessionHandle> createSession(QString, std::optional<QString>, CaptureTargetMeta) override {
        return unused<SessionHandle>();
    }
    QCoro::Task<> sendEvent(QString, LiveEvent) override { return unused<void>(); }
    QCoro::Task<QString> uploadVideo(QString, std::filesystem::path) override { return unused<QString>(); }
    QCoro::Task<> finishSession(QString, double) override { return unused<void>(); }
    QCoro::Task<> deleteSession(QString) override { return unused<void>(); }

private:
    template <class T>
    static QCoro::Task<T> unused() {
        throw std::logic_error("a sign-in has no use for this");
    }
};

class AppSignInTest : public testing::Test {
protected:
    QCoro::Task<QString> begin() { return begin(service.baseURL()); }
    QCoro::Task<QString> begin(const QUrl& baseURL) { return signIn->signInWithBrowser(baseURL); }

    /// The callback port in the last opened address.
    int port() const {
        const QUrlQuery query(workspace->opened.back());
        return QUrl(query.queryItemValue(u"cb"_qs, QUrl::FullyDecoded)).port();
    }
    void browserReturns(const QByteArray& code) {
        CallbackClient browser(port());
        browser.send("GET /?code=" + code + " HTTP/1.1\r\n\r\n");
        EXPECT_TRUE(browser.receiveAll().value_or("").contains("signed in"));
    }
    bool portIsClosed() const { return !CallbackClient(port()).isConnected(); }
    std::optional<QString> token() const { return keychain.get(apiTokenAccount); }
    QByteArray storedToken() const { return store->items[{KeychainHelper::service, apiTokenAccount}]; }
    std::optional<QString> email() const { return defaults.string(userEmailKey); }
    void answer(const char* target, int status, const QByteArray& body) {
        test::Misbehaviour rule;
        rule.match = target;
        rule.status = status;
        rule.body = body;
        service.misbehave(rule);
    }
    QByteArrayList exchanged() const {
        QByteArrayList bodies;
        for (const test::Received& request : service.received("POST /api/auth/token"))
            bodies.append(request.body);
        return bodies;
    }

    const test::TemporaryFolder folder;
    const UserDefaults defaults{folder.path() / "defaults.conf"};
    test::LoopbackService service;
    const std::shared_ptr<FakeSecretStore> store = std::make_shared<FakeSecretStore>();
    const KeychainHelper keychain{store};
    const std::shared_ptr<FakeWorkspace> workspace = std::make_shared<FakeWorkspace>();
    const std::shared_ptr<BackendOfUser> backend = std::make_shared<BackendOfUser>();
    std::unique_ptr<AppSignIn> signIn = std::make_unique<AppSignIn>(backend, keychain, workspace, defaults);
    const test::LogLines log;
};

TEST_F(AppSignInTest, bringsTheTokenFromTheBrowserIntoTheStore) {
    auto attempt = begin();
    const QString base = service.baseURL().toString();
    const int callback = port();
    EXPECT_EQ(workspace->opened,
        std::vector<QUrl>{QUrl(base + u"/auth/app?cb=http://localhost:%1"_qs.arg(callback))});
    browserReturns("a%20b%22");
    EXPECT_EQ(test::await(std::move(attempt)), u"token-1"_qs);
    EXPECT_EQ(token(), u"token-1"_qs);
    EXPECT_EQ(storedToken(), "token-1");
    EXPECT_EQ(email(), u"tester@example.org"_qs);
    EXPECT_TRUE(portIsClosed());

    EXPECT_EQ(service.lines(), QByteArrayList{"POST /api/auth/token"});
    const test::Received request = service.received().front();
    EXPECT_EQ(request.body, R"({"code":"a b\""})");
    EXPECT_EQ(request.headers.value("content-type"), "application/json");
    EXPECT_FALSE(request.headers.contains("authorization"));
    EXPECT_EQ(log.all(),
        (QStringList{u"[INFO] signIn: starting browser flow → "_qs + base,
            u"[INFO] callback server: listener ready"_qs,
            u"[INFO] callback server: listening on port %1"_qs.arg(callback),
            u"[INFO] signIn: opening browser → %1/auth/app?cb=http://localhost:%2 (callback port %2)"_qs
                .arg(base)
                .arg(callback),
            u"[INFO] signIn: Workspace.open returned true — waiting for callback…"_qs,
            u"[INFO] signIn: received code, exchanging for API token"_qs,
            u"[INFO] signIn: stored API token from 127.0.0.1"_qs}));
}

TEST_F(AppSignInTest, replacesOnlyThePathAndTheQueryOfTheAddress) {
    QUrl base = service.baseURL();
    base.setPath(u"/some/where/"_qs);
    base.setQuery(u"x=1"_qs);
    auto attempt = begin(base);
    EXPECT_EQ(workspace->opened.back(),
        QUrl(service.baseURL().toString() + u"/auth/app?cb=http://localhost:%1"_qs.arg(port())));
    browserReturns("code");
    test::await(std::move(attempt));
    EXPECT_EQ(service.lines(), QByteArrayList{"POST /api/auth/token?x=1"});
}

TEST_F(AppSignInTest, takesTheFirstCodeAndDropsAllOthers) {
    test::Misbehaviour slow;
    slow.match = "POST /api/auth/token";
    slow.delay = std::chrono::milliseconds(300);
    service.misbehave(slow);
    auto attempt = begin();
    {
        CallbackClient noCode(port());
        noCode.send("GET /favicon.ico HTTP/1.1\r\n\r\n");
        EXPECT_TRUE(noCode.receiveAll());
    }
    browserReturns("first");
    browserReturns("second");
    ASSERT_TRUE(waitUntil([&] { return !service.lines().isEmpty(); }));
    browserReturns("reloaded");
    test::await(std::move(attempt));
    EXPECT_EQ(exchanged(), QByteArrayList{R"({"code":"first"})"});
}

TEST_F(AppSignInTest, goesOnWaitingWhenNoBrowserOpens) {
    workspace->succeeds = false;
    auto attempt = begin();
    EXPECT_TRUE(log.contains(u"[INFO] signIn: Workspace.open returned false — waiting for callback…"_qs));
    browserReturns("code");
    EXPECT_EQ(test::await(std::move(attempt)), u"token-1"_qs);
}

TEST_F(AppSignInTest, endsAnAttemptThatWaitsWhenAnotherBegins) {
    auto first = begin();
    const int firstPort = port();
    auto second = begin();
    const auto error = test::errorOf([&] { test::await(std::move(first)); });
    EXPECT_EQ(error.text, u"failed"_qs);
    EXPECT_FALSE(CallbackClient(firstPort).isConnected());
    browserReturns("code");
    EXPECT_EQ(test::await(std::move(second)), u"token-1"_qs);
    EXPECT_EQ(exchanged().size(), 1);
}

TEST_F(AppSignInTest, endsTheAttemptThatWaitsWhenItIsDestroyed) {
    auto attempt = begin();
    signIn.reset();
    EXPECT_EQ(test::errorOf([&] { test::await(std::move(attempt)); }).domain, u"Tavro.AuthError"_qs);
    EXPECT_TRUE(portIsClosed());
}

TEST_F(AppSignInTest, signsInEvenWhenTheTokenCannotBeStored) {
    store->failsToWrite = true;
    auto attempt = begin();
    browserReturns("code");
    EXPECT_EQ(test::await(std::move(attempt)), u"token-1"_qs);
    EXPECT_EQ(storedToken(), QByteArray());
    EXPECT_EQ(token(), u"token-1"_qs) << "it counts until the program ends";
    EXPECT_TRUE(log.contains(u"[INFO] signIn: stored API token from 127.0.0.1"_qs));
}

struct Answer {
    int status;
    const char* body;
    std::optional<QString> token; // none: the exchange fails …
    QString errorDomain;          // … with this
    QString logLine;
    QString email; // the stored address afterwards
};

void PrintTo(const Answer& answer, std::ostream* out) {
    *out << answer.status << ' ' << answer.body;
}

class AppSignInAnswers : public AppSignInTest, public testing::WithParamInterface<Answer> {};

TEST_P(AppSignInAnswers, areTakenForWhatTheyAre) {
    const Answer& expected = GetParam();
    defaults.set(userEmailKey, u"before@example.org"_qs);
    answer("POST /api/auth/token", expected.status, expected.body);
    auto attempt = begin();
    browserReturns("code");
    if (expected.token)
        EXPECT_EQ(test::await(std::move(attempt)), *expected.token);
    else
        EXPECT_EQ(test::errorOf([&] { test::await(std::move(attempt)); }).domain, expected.errorDomain);
    EXPECT_EQ(token(), expected.token);
    EXPECT_EQ(email(), expected.email);
    EXPECT_EQ(log.contains(u"[INFO] signIn: stored API token from 127.0.0.1"_qs), expected.token.has_value());
    QStringList errors = log.all().filter(u"[ERROR]"_qs);
    EXPECT_EQ(errors.join(u'\n'), expected.logLine);
    EXPECT_TRUE(portIsClosed());
    EXPECT_EQ(exchanged().size(), 1) << "a code is good for one exchange";
}

const QString before = u"before@example.org"_qs;
const QString refused = u"[ERROR] signIn: token exchange failed (HTTP %1)"_qs;

INSTANTIATE_TEST_SUITE_P(Answers, AppSignInAnswers,
    testing::Values(Answer{200, R"({"token":"t"})", u"t"_qs, {}, {}, before},
        Answer{201, R"({"token":"t","more":1,"user":{}})", u"t"_qs, {}, {}, before},
        Answer{299, R"({"token":"","user":null})", u""_qs, {}, {}, before},
        Answer{200, R"({"token":"t","user":{"email":"new@example.org","id":"x"}})", u"t"_qs, {}, {},
            u"new@example.org"_qs},
        Answer{200, R"({"token":"t","user":{"email":null}})", u"t"_qs, {}, {}, before},
        Answer{200, R"({"user":{"email":"new@example.org"}})", {}, u"Tavro.JSON"_qs, {}, before},
        Answer{200, R"({"token":7})", {}, u"Tavro.JSON"_qs, {}, before},
        Answer{200, R"({"token":"t","user":{"email":7}})", {}, u"Tavro.JSON"_qs, {}, before},
        Answer{200, "<html>", {}, u"Tavro.JSON"_qs, {}, before},
        Answer{401, R"({"token":"t"})", {}, u"Tavro.AuthError"_qs, refused.arg(401), before},
        Answer{404, "", {}, u"Tavro.AuthError"_qs, refused.arg(404), before},
        Answer{500, "", {}, u"Tavro.AuthError"_qs, refused.arg(500), before},
        Answer{304, "", {}, u"Tavro.AuthError"_qs, refused.arg(304), before}));

TEST_F(AppSignInTest, passesOnWhatTheNetworkSays) {
    QTcpServer closed;
    ASSERT_TRUE(closed.listen(QHostAddress::LocalHost));
    const QUrl base(u"http://127.0.0.1:%1"_qs.arg(closed.serverPort()));
    closed.close();
    auto attempt = begin(base);
    browserReturns("code");
    const auto error = test::errorOf([&] { test::await(std::move(attempt)); });
    EXPECT_EQ(error.domain, u"QNetworkReply"_qs);
    EXPECT_EQ(error.code, 1) << "connection refused";
    EXPECT_TRUE(log.all().filter(u"[ERROR]"_qs).isEmpty());
    EXPECT_EQ(token(), std::nullopt);
    EXPECT_TRUE(portIsClosed());
}

TEST_F(AppSignInTest, sendsACodeOnlyOnceOverAConnectionThatIsCut) {
    test::Misbehaviour cut;
    cut.match = "POST /api/auth/token";
    cut.cutAfter = 3;
    service.misbehave(cut);
    auto attempt = begin();
    browserReturns("code");
    EXPECT_EQ(test::errorOf([&] { test::await(std::move(attempt)); }).domain, u"QNetworkReply"_qs);
    EXPECT_EQ(exchanged().size(), 1);
}

TEST_F(AppSignInTest, failsWithoutACallbackServerAndCanBeginAgain) {
    test::errorOf(
        [] { throw std::system_error(EMFILE, std::generic_category(), "x"); }); // the sanitizers open files
    ErrorDescription error;
    {
        const test::FewDescriptors enoughForTheSocketsOnly(2);
        error = test::errorOf([&] { test::await(begin()); });
    }
    EXPECT_EQ(error.code, EMFILE);
    EXPECT_TRUE(workspace->opened.empty());
    EXPECT_EQ(log.all().last(), u"[ERROR] signIn: callback server failed to start: "_qs + error.text);
    auto attempt = begin();
    browserReturns("code");
    EXPECT_EQ(test::await(std::move(attempt)), u"token-1"_qs);
}

TEST_F(AppSignInTest, refusesAnAddressThatIsNone) {
    const QUrl bad(u"http://127.0.0.1:x"_qs);
    const auto error = test::errorOf([&] { test::await(begin(bad)); });
    EXPECT_EQ(error.text, u"failed"_qs);
    EXPECT_TRUE(workspace->opened.empty());
    EXPECT_EQ(log.all().last(), u"[ERROR] signIn: bad baseURL "_qs + bad.toString(QUrl::FullyEncoded));
}

TEST_F(AppSignInTest, asksForTheAddressOnlyWhenSignedInAndUnknown) {
    backend->user = User{u"usr_1"_qs, u"me@example.org"_qs, {}};
    test::await(signIn->refreshEmail());
    EXPECT_EQ(backend->asked, 0);

    keychain.set(u"t"_qs, apiTokenAccount);
    backend->fails = true;
    test::await(signIn->refreshEmail());
    backend->fails = false;
    const auto user = std::exchange(backend->user, std::nullopt);
    test::await(signIn->refreshEmail());
    EXPECT_EQ(backend->asked, 2);
    EXPECT_EQ(email(), std::nullopt);
    EXPECT_TRUE(log.all().isEmpty());

    backend->user = user;
    test::await(signIn->refreshEmail());
    test::await(signIn->refreshEmail());
    EXPECT_EQ(backend->asked, 3);
    EXPECT_EQ(email(), u"me@example.org"_qs);
    EXPECT_EQ(log.all(), QStringList(u"[INFO] signIn: cached email me@example.org from /me"_qs));
}

TEST_F(AppSignInTest, forgetsTokenAndAddressAtSignOut) {
    keychain.set(u"t"_qs, apiTokenAccount);
    defaults.set(userEmailKey, u"me@example.org"_qs);
    signIn->signOut();
    EXPECT_EQ(token(), std::nullopt);
    EXPECT_EQ(email(), std::nullopt);
    signIn->signOut();
    EXPECT_EQ(log.all(), QStringList(2, u"[INFO] signIn: signed out"_qs));
}

} // namespace
} // namespace tavro
