#pragma once

#include "Platform/PrivacyServices.h"

#include <utility>
#include <vector>

namespace tavro {

/// A user controlled by the test. Requests wait in `microphoneRequests` or `speechRequests`. Main thread.
class FakePrivacyServices final : public PrivacyServices {
public:
    bool screen = false;
    bool needsRelaunch = false;
    AuthorizationStatus microphone = AuthorizationStatus::notDetermined;
    AuthorizationStatus speech = AuthorizationStatus::notDetermined;
    int screenRequests = 0;
    int microphoneRefreshes = 0;
    std::function<void()> microphoneChanged = [] {}; ///< called by the test
    std::vector<std::function<void(bool)>> microphoneRequests;
    std::vector<std::function<void(AuthorizationStatus)>> speechRequests;

    void grantAll() {
        screen = true;
        microphone = speech = AuthorizationStatus::authorized;
    }

    bool preflightScreenCaptureAccess() override { return screen; }
    bool requestScreenCaptureAccess() override {
        ++screenRequests;
        return screen;
    }
    bool screenGrantNeedsRelaunch() const override { return needsRelaunch; }
    AuthorizationStatus microphoneAuthorization() override { return microphone; }
    QCoro::Task<> refresh() override {
        ++microphoneRefreshes;
        co_return;
    }
    void onChange(std::function<void()> handler) override { microphoneChanged = std::move(handler); }
    void requestMicrophoneAccess(std::function<void(bool)> handler) override {
        microphoneRequests.push_back(std::move(handler));
    }
    AuthorizationStatus speechAuthorization() override { return speech; }
    void requestSpeechAuthorization(std::function<void(AuthorizationStatus)> handler) override {
        speechRequests.push_back(std::move(handler));
    }
};

} // namespace tavro
