#pragma once

#include <qcoro/qcorotask.h>

#include <functional>

namespace tavro {

/// How the user and the system answered a request for a private resource.
enum class AuthorizationStatus { notDetermined, restricted, denied, authorized };

/// The desktop's say on what this program may record. Main thread. Queries answer at once, without prompts.
class PrivacyServices {
public:
    virtual ~PrivacyServices() = default;

    /// Whether the screen can be captured now.
    virtual bool preflightScreenCaptureAccess() = 0;
    /// Asks for the screen, or tells the user what stands in the way. Returns at once with what holds now.
    virtual bool requestScreenCaptureAccess() = 0;

    virtual AuthorizationStatus microphoneAuthorization() = 0; ///< by the last answer to `refreshMicrophone`
    /// Asks the system anew. Completes with its answer, or after a second without one.
    virtual QCoro::Task<> refreshMicrophone() = 0;
    /// `handler` is called when the answer has changed, however late it comes. There is one handler.
    virtual void onMicrophoneChange(std::function<void()> handler) = 0;
    /// `handler` is called once, on any thread, perhaps before this returns.
    virtual void requestMicrophoneAccess(std::function<void(bool granted)> handler) = 0;

    virtual AuthorizationStatus speechAuthorization() = 0;
    virtual void requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) = 0;
};

} // namespace tavro
