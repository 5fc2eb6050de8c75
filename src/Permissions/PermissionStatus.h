#pragma once

#include "Platform/PrivacyServices.h"

#include <QString>
#include <qcoro/qcorotask.h>

#include <chrono>
#include <functional>

namespace tavro {

class Workspace;

enum class Grant { unknown, denied, granted };

QString toText(Grant grant);

struct PermissionSet {
    Grant screen = Grant::unknown;
    Grant microphone = Grant::unknown;
    Grant speech = Grant::unknown;
    bool operator==(const PermissionSet&) const = default;
    bool allGranted() const { return *this == PermissionSet{Grant::granted, Grant::granted, Grant::granted}; }
};

/// The user's grants for this program.
class Permissions {
public:
    /// The running program's part in a relaunch.
    struct Application {
        std::function<void()> makeWay;   ///< lets a new instance start beside this one
        std::function<void()> terminate; ///< the ordinary quit
    };
    static constexpr std::chrono::milliseconds relaunchOverlap{400};

    /// All arguments outlive the object.
    Permissions(PrivacyServices& services, Workspace& workspace, Application application);

    PermissionSet current() const; ///< immediate; screen and microphone as of the last refresh
    Grant screen() const;
    /// Refreshes the grants of screen and microphone. Completes with the microphone's answer, or after a
    /// second.
    QCoro::Task<> refresh() { return services.refresh(); }
    /// Sets the one handler for changes of `current` by a refresh.
    void onChange(std::function<void()> handler) { services.onChange(std::move(handler)); }
    /// Never `unknown`. The caller resumes on its own thread.
    QCoro::Task<Grant> requestMicrophone();
    QCoro::Task<Grant> requestSpeech();
    void openScreenRecordingSettings();
    bool screenNeedsRelaunch() const { return services.screenGrantNeedsRelaunch(); }
    /// Starts a new instance and quits this one soon after, even when the start fails.
    void relaunch();

private:
    PrivacyServices& services;
    Workspace& workspace;
    Application application;
};

} // namespace tavro
