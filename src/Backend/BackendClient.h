#pragma once

#include "Backend/LiveEvent.h"
#include "Backend/Models.h"
#include "Core/Errors.h"

#include <qcoro/qcorotask.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace tavro {

/// A refusal by the backend itself. Errors of network, file system and JSON coder pass unchanged.
class BackendError final : public Error {
public:
    enum class Case { notFound, notAuthenticated };
    explicit BackendError(Case which, Cause cause = {})
        : Error(QStringLiteral("Tavro.BackendError"), static_cast<int>(which),
              Named{
                  which == Case::notFound ? QStringLiteral("notFound") : QStringLiteral("notAuthenticated")},
              cause) {}
    Case which() const { return static_cast<Case>(code()); }
    bool operator==(const BackendError& other) const { return which() == other.which(); }
};

struct SessionHandle {
    Session session;
};

/// A stretch of a take's film, in seconds, in which the take was paused: its picture stands still.
struct TakePause {
    double at = 0;
    double length = 0;
    bool operator==(const TakePause&) const = default;
};

/// The contract of the remote and the local backend. An implementation is an actor: its operations run on its
/// own thread, one at a time between suspension points. Call from any thread with an event loop; the awaiting
/// coroutine resumes there. A backend outlives the operations called on it.
class BackendClient {
public:
    virtual ~BackendClient() = default;

    static inline const QString localAddress = QStringLiteral("local");
    /// The service's base address; `localAddress` where sessions stay on this computer. Any thread.
    virtual QString address() const { return localAddress; }

    virtual QCoro::Task<std::optional<User>> currentUser() = 0;
    virtual QCoro::Task<std::vector<Project>> listProjects() = 0;
    virtual QCoro::Task<std::vector<Scenario>> listScenarios(QString projectId) = 0;
    virtual QCoro::Task<Scenario> createScenario(QString projectId, QString name, QString description) = 0;
    virtual QCoro::Task<SessionHandle> createSession(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) = 0;
    virtual QCoro::Task<> sendEvent(QString sessionId, LiveEvent event) = 0;
    /// The pauses of the take that is uploaded next, for the local backend's review page. A service was told
    /// of them when they happened.
    virtual QCoro::Task<> setPauses(QString, std::vector<TakePause>) { co_return; }
    /// Returns the video's storage key.
    virtual QCoro::Task<QString> uploadVideo(QString sessionId, std::filesystem::path file) = 0;
    virtual QCoro::Task<> finishSession(QString sessionId, double durationSeconds) = 0;
    virtual QCoro::Task<> deleteSession(QString sessionId) = 0;

    /// Called on the thread that set it, with the bytes sent and the total.
    using UploadProgress = std::function<void(std::int64_t sent, std::int64_t total)>;
    virtual void setUploadProgress(UploadProgress) {}
};

} // namespace tavro
