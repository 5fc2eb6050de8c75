#pragma once

#include "Auth/KeychainHelper.h"
#include "Core/WorkerConfig.h"
#include "Permissions/PermissionStatus.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>
#include <qcoro/qcorotask.h>

#include <functional>
#include <memory>
#include <optional>

namespace tavro {

class AppSignIn;

/// The services of onboarding. The references outlive every wizard and view.
struct OnboardingServices {
    AppSignIn& signIn;
    Permissions& permissions;
    KeychainHelper keychain;
    WorkerConfig config;

    bool isSignedIn() const { return keychain.get(apiTokenAccount).has_value(); }
};

/// The onboarding view's grants and user. Main thread. Lives in a shared_ptr; running work keeps it alive.
class OnboardingModel : public QObject, public std::enable_shared_from_this<OnboardingModel> {
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("made by the program")
    Q_PROPERTY(bool screenGranted READ screenGranted NOTIFY permsChanged)
    Q_PROPERTY(bool microphoneGranted READ microphoneGranted NOTIFY permsChanged)
    Q_PROPERTY(bool speechGranted READ speechGranted NOTIFY permsChanged)
    Q_PROPERTY(QString relaunchNote READ relaunchNote CONSTANT)
    Q_PROPERTY(bool signedIn READ signedIn NOTIFY accountChanged)
    Q_PROPERTY(QString accountText READ accountText NOTIFY accountChanged)
    Q_PROPERTY(bool isComplete READ isComplete NOTIFY isCompleteChanged)

public:
    /// Reads the grants. Shows nobody as signed in until `appear()`.
    explicit OnboardingModel(OnboardingServices services);

    const PermissionSet& perms() const { return permissionSet; }
    bool signedIn() const { return isSignedIn; }
    const std::optional<QString>& email() const { return emailAddress; }
    QString relaunchNote() const; ///< empty where a relaunch changes nothing
    QString accountText() const;
    bool isComplete() const { return permissionSet.allGranted() && isSignedIn; }

    /// Refreshes and follows the grants. Reads the signed-in user, then asks the backend for the address.
    QCoro::Task<> appear();

    std::function<void()> onDone = [] {};

    Q_INVOKABLE void grantScreen();
    Q_INVOKABLE void grantMicrophone();
    Q_INVOKABLE void grantSpeech();
    Q_INVOKABLE void relaunch();
    Q_INVOKABLE void signInOrOut();
    Q_INVOKABLE void done();

signals:
    void permsChanged();
    void accountChanged();
    void isCompleteChanged();

private:
    void showAfter(const std::function<QCoro::Task<Grant>()>& request);
    QCoro::Task<> signIn();
    void renewGrants(); ///< a change comes through `onChange`
    void refreshPerms();
    void setAccount(bool signedIn, std::optional<QString> email);
    std::optional<QString> storedEmail() const;

    bool screenGranted() const { return permissionSet.screen == Grant::granted; }
    bool microphoneGranted() const { return permissionSet.microphone == Grant::granted; }
    bool speechGranted() const { return permissionSet.speech == Grant::granted; }

    OnboardingServices services;
    PermissionSet permissionSet;
    bool isSignedIn = false;
    std::optional<QString> emailAddress;
};

} // namespace tavro
