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
    /// Returns the present state at once. Shows the user why the screen cannot be captured.
    virtual bool requestScreenCaptureAccess() = 0;

    virtual AuthorizationStatus microphoneAuthorization() = 0; ///< by the last answer to `refreshMicrophone`
    /// Asks the system again. Completes with the answer, or after a second without one.
    virtual QCoro::Task<> refreshMicrophone() = 0;
    /// Sets the one handler, called when the answer changes, even after `refreshMicrophone` has completed.
    virtual void onMicrophoneChange(std::function<void()> handler) = 0;
    /// Calls `handler` once, on any thread, possibly before this returns.
    virtual void requestMicrophoneAccess(std::function<void(bool granted)> handler) = 0;

    virtual AuthorizationStatus speechAuthorization() = 0;
    virtual void requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) = 0;
};

} // namespace tavro
