#pragma once

#include "Core/Promise.h"
#include "Core/UserDefaults.h"
#include "Platform/PrivacyServices.h"

#include <QString>

#include <memory>

namespace tavro {

class Notifier;

/// Privacy on desktops without prompts. A request counts as the user's consent and is stored in a file.
/// Probes check whether the resource exists.
class DesktopPrivacy final : public PrivacyServices {
public:
    struct Probes {
        std::function<QString()> screenObstacle; ///< why the screen cannot be captured; empty when it can
        /// Renews what `screenObstacle` answers; empty where that is always up to date. Never throws.
        std::function<QCoro::Task<>()> refreshScreen;
        /// Lets the user choose in a dialog of the desktop; empty where there is none. Throws.
        std::function<QCoro::Task<>()> askForScreen;
        std::function<QCoro::Task<bool>()> microphoneExists; ///< may take long, and outlive this object
    };
    static UserDefaults standardAnswers();

    DesktopPrivacy(UserDefaults answers, Probes probes, Notifier& notifier);

    bool preflightScreenCaptureAccess() override;
    bool requestScreenCaptureAccess() override;
    bool screenGrantNeedsRelaunch() const override { return false; } ///< X server and portal are asked anew
    AuthorizationStatus microphoneAuthorization() override;
    QCoro::Task<> refresh() override;
    void onChange(std::function<void()> handler) override;
    void requestMicrophoneAccess(std::function<void(bool granted)> handler) override;
    AuthorizationStatus speechAuthorization() override;
    void requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) override;

private:
    struct Microphone;
    static QCoro::Task<> renew(
        std::weak_ptr<Microphone> known, QCoro::Task<bool> asking, Promise<void> renewed);
    QCoro::Task<> askForScreen();
    QCoro::Task<> renewScreen();
    void tellOfObstacle(const QString& obstacle);
    QCoro::Task<> answer(std::function<void(bool granted)> handler);

    const UserDefaults answers;
    const Probes probes;
    Notifier& notifier;
    bool isAsking = false; // a dialog of the desktop is open
    const std::shared_ptr<Microphone> known;
};

} // namespace tavro
