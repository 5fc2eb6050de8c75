#pragma once

#include "Platform/PrivacyServices.h"

#include <QString>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <functional>

namespace tavro {

class Workspace;

enum class Grant { unknown, denied, granted };

/// The case's name.
QString toText(Grant grant);

struct PermissionSet {
    Grant screen = Grant::unknown;
    Grant microphone = Grant::unknown;
    Grant speech = Grant::unknown;
    bool operator==(const PermissionSet&) const = default;
    bool allGranted() const { return *this == PermissionSet{Grant::granted, Grant::granted, Grant::granted}; }
};

/// What the user lets this program record.
class Permissions {
public:
    /// What a relaunch needs of the running program.
    struct Application {
        std::function<void()> makeWay;   ///< a new instance may start beside this one from now on
        std::function<void()> terminate; ///< the ordinary quit
    };
    static constexpr std::chrono::milliseconds relaunchOverlap{400};

    /// All that is given outlives the object.
    Permissions(PrivacyServices& services, Workspace& workspace, Application application);

    PermissionSet current() const; ///< at once; the microphone as it was when it was last asked for
    Grant screen() const;
    /// Asks for the microphone anew. Completes when `current` is up to date, or after a second.
    QCoro::Task<> refresh() { return services.refreshMicrophone(); }
    /// `handler` is called when `current` has changed by a refresh. There is one handler.
    void onChange(std::function<void()> handler) { services.onMicrophoneChange(std::move(handler)); }
    /// Never `unknown`. The caller goes on on its own thread.
    QCoro::Task<Grant> requestMicrophone();
    QCoro::Task<Grant> requestSpeech();
    void openScreenRecordingSettings();
    /// Starts a new instance and quits this one shortly after, whether the new one started or not.
    void relaunch();

private:
    PrivacyServices& services;
    Workspace& workspace;
    Application application;
};

} // namespace tavro
