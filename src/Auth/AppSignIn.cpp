#include "Auth/AppSignIn.h"

#include "Auth/AuthError.h"
#include "Auth/LocalCallbackServer.h"
#include "Auth/TokenExchange.h"
#include "Backend/BackendClient.h"
#include "Backend/HttpTransport.h"
#include "Core/Log.h"
#include "Core/Promise.h"
#include "Core/WorkerConfig.h"
#include "Platform/SystemNames.h"
#include "Platform/Workspace.h"

#include <QVariant>

#include <chrono>
#include <utility>

namespace tavro {

namespace {

QString absoluteString(const QUrl& url) {
    return url.toString(QUrl::FullyEncoded);
}

AuthError failed() {
    return AuthError(AuthError::Case::failed);
}

} // namespace

// The server lives until the next attempt: the browser may still load its page after the sign-in.
struct AppSignIn::Attempt {
    LocalCallbackServer server;
    Promise<QString> code; // the first code settles it, later ones are dropped

    void end() const { code.reject(std::make_exception_ptr(failed())); }
    void openBrowser(const QUrl& baseURL, Workspace& workspace);
};

struct AppSignIn::Context {
    const std::shared_ptr<BackendClient> backend;
    const KeychainHelper keychain;
    const std::shared_ptr<Workspace> workspace;
    const UserDefaults defaults;
    HttpTransport http{std::chrono::seconds(60)};
    std::shared_ptr<Attempt> attempt = nullptr; // the latest
};

AppSignIn::AppSignIn(std::shared_ptr<BackendClient> backend, KeychainHelper keychain,
    std::shared_ptr<Workspace> workspace, UserDefaults defaults)
    : context(
          new Context{std::move(backend), std::move(keychain), std::move(workspace), std::move(defaults)}) {}

AppSignIn::~AppSignIn() {
    if (context->attempt)
        context->attempt->end();
    context->http.cancel();
}

void AppSignIn::Attempt::openBrowser(const QUrl& baseURL, Workspace& workspace) {
    int port = 0;
    try {
        port = server.start([code = code](const QString& received) { code.resolve(received); });
    } catch (...) {
        Log::error(QStringLiteral("signIn: callback server failed to start: ") + describeCurrentError().text);
        throw;
    }
    if (!baseURL.isValid()) {
        Log::error(QStringLiteral("signIn: bad baseURL ") + absoluteString(baseURL));
        throw failed();
    }
    QUrl url = baseURL;
    url.setPath(QStringLiteral("/auth/app"));
    url.setQuery(QStringLiteral("cb=http://localhost:%1").arg(port));
    if (!url.isValid()) {
        Log::error(QStringLiteral("signIn: could not build auth URL"));
        throw failed();
    }
    Log::info(
        QStringLiteral("signIn: opening browser → %1 (callback port %2)").arg(absoluteString(url)).arg(port));
    const bool opened = workspace.open(url);
    Log::info(QStringLiteral("signIn: %1.open returned %2 — waiting for callback…")
                  .arg(SystemNames::workspace, QVariant(opened).toString()));
}

QCoro::Task<QString> AppSignIn::signIn(std::shared_ptr<Context> context, QUrl baseURL) {
    Log::info(QStringLiteral("signIn: starting browser flow → ") + absoluteString(baseURL));
    if (context->attempt)
        context->attempt->end();
    const auto attempt = std::make_shared<Attempt>();
    context->attempt = attempt;
    struct StopAtTheEnd {
        LocalCallbackServer& server;
        ~StopAtTheEnd() { server.stop(); }
    } const stopAtTheEnd{attempt->server};

    attempt->openBrowser(baseURL, *context->workspace);
    const Promise<QString> arriving = attempt->code;
    const QString code = co_await arriving;
    Log::info(QStringLiteral("signIn: received code, exchanging for API token"));
    auto exchange = exchangeCodeForToken(context->http, code, baseURL);
    const IssuedToken issued = co_await exchange;
    if (issued.email)
        context->defaults.set(userEmailKey, *issued.email);
    context->keychain.set(issued.token, apiTokenAccount);
    Log::info(QStringLiteral("signIn: stored API token from ") +
              (baseURL.host().isEmpty() ? absoluteString(baseURL) : baseURL.host()));
    co_return issued.token;
}

QCoro::Task<> AppSignIn::refresh(std::shared_ptr<Context> context) {
    if (!context->keychain.get(apiTokenAccount) || context->defaults.string(userEmailKey))
        co_return;
    std::optional<User> user;
    try {
        auto asking = context->backend->currentUser();
        user = co_await asking;
    } catch (...) {
        // The address stays unknown until the next refresh.
    }
    if (!user)
        co_return;
    context->defaults.set(userEmailKey, user->email);
    Log::info(QStringLiteral("signIn: cached email %1 from /me").arg(user->email));
}

void AppSignIn::signOut() {
    context->keychain.remove(apiTokenAccount);
    context->defaults.remove(userEmailKey);
    Log::info(QStringLiteral("signIn: signed out"));
}

} // namespace tavro
