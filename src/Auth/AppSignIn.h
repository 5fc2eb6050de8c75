#pragma once

#include "Auth/KeychainHelper.h"
#include "Core/UserDefaults.h"

#include <QUrl>
#include <qcoro/qcorotask.h>

#include <memory>

namespace tavro {

class BackendClient;
class Workspace;

/// Signs the user in through the browser: receives the one-time code on a loopback port, exchanges it for the
/// API token and stores that. The user is signed in while the store has a token. Main thread.
class AppSignIn {
public:
    AppSignIn(std::shared_ptr<BackendClient> backend, KeychainHelper keychain,
        std::shared_ptr<Workspace> workspace, UserDefaults defaults = UserDefaults::standard());
    ~AppSignIn(); ///< ends an attempt under way with an error
    AppSignIn(const AppSignIn&) = delete;
    AppSignIn& operator=(const AppSignIn&) = delete;

    /// Returns the API token, already stored. Waits for the browser without a limit. A second call makes the
    /// first one throw AuthError. Passes on errors of the callback server, the network and the JSON coder.
    QCoro::Task<QString> signInWithBrowser(QUrl baseURL) { return signIn(context, std::move(baseURL)); }

    /// Asks the backend for the address of a signed-in user when it is unknown. Never throws.
    QCoro::Task<> refreshEmail() { return refresh(context); }

    void signOut();

private:
    struct Context; // a running operation keeps it alive beyond this object
    struct Attempt;
    static QCoro::Task<QString> signIn(std::shared_ptr<Context> context, QUrl baseURL);
    static QCoro::Task<> refresh(std::shared_ptr<Context> context);

    std::shared_ptr<Context> context;
};

} // namespace tavro
