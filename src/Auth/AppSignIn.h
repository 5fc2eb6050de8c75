#pragma once

#include "Auth/KeychainHelper.h"
#include "Core/UserDefaults.h"

#include <QUrl>
#include <qcoro/qcorotask.h>

#include <memory>

namespace tavro {

class BackendClient;
class Workspace;

/// Signs the user in through the web browser: opens the service's sign-in page there, receives the one-time
/// code on a loopback port, exchanges it for the API token and keeps that in the user's secret store. "Signed
/// in" is no state of this object but that a token is in the store. Main thread.
class AppSignIn {
public:
    AppSignIn(std::shared_ptr<BackendClient> backend, KeychainHelper keychain,
        std::shared_ptr<Workspace> workspace, UserDefaults defaults = UserDefaults::standard());
    ~AppSignIn(); ///< ends an attempt under way with an error
    AppSignIn(const AppSignIn&) = delete;
    AppSignIn& operator=(const AppSignIn&) = delete;

    /// Returns the API token, stored already. Waits for the browser without a limit; a second call ends the
    /// wait of the first, which then throws AuthError. Throws what the callback server, the network and the
    /// JSON coder do.
    QCoro::Task<QString> signInWithBrowser(QUrl baseURL);

    /// Asks the backend who is signed in, if somebody is and the address is not known yet. Never throws.
    QCoro::Task<> refreshEmail();

    void signOut();

private:
    struct Context; // outlives this object for as long as an operation runs
    struct Attempt;
    static QCoro::Task<QString> signIn(std::shared_ptr<Context> context, QUrl baseURL);
    static QCoro::Task<> refresh(std::shared_ptr<Context> context);

    std::shared_ptr<Context> context;
};

} // namespace tavro
