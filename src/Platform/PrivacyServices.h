#pragma once

#include <qcoro/qcorotask.h>

#include <functional>

namespace tavro {

enum class AuthorizationStatus { notDetermined, restricted, denied, authorized };

/// Permission to record. Main thread. Queries return at once, without prompts.
class PrivacyServices {
public:
    virtual ~PrivacyServices() = default;

    virtual bool preflightScreenCaptureAccess() = 0;
    /// Returns the present state at once. Lets the user choose in a dialog of the desktop where there is one,
    /// or shows why the screen cannot be captured.
    virtual bool requestScreenCaptureAccess() = 0;
    /// True where a grant for the screen counts only in a program that is started after it.
    virtual bool screenGrantNeedsRelaunch() const = 0;

    virtual AuthorizationStatus microphoneAuthorization() = 0; ///< by the last answer to `refresh`
    /// Asks the system again about screen and microphone. Completes with the microphone's answer, or after a
    /// second without one.
    virtual QCoro::Task<> refresh() = 0;
    /// Sets the one handler, called when an answer changes, even after `refresh` has completed.
    virtual void onChange(std::function<void()> handler) = 0;
    /// Calls `handler` once, on any thread, possibly before this returns.
    virtual void requestMicrophoneAccess(std::function<void(bool granted)> handler) = 0;

    virtual AuthorizationStatus speechAuthorization() = 0;
    virtual void requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) = 0;
};

} // namespace tavro
