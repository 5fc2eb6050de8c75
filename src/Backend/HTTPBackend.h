#pragma once

#include "Backend/BackendClient.h"
#include "Core/SerialQueue.h"

#include <QUrl>

#include <chrono>
#include <memory>

namespace tavro {

/// The remote service: REST below /api/app/ with a bearer token, a WebSocket for each session's live events,
/// a pre-signed address for its video. Uses the application-wide QNetworkProxyFactory settings and the
/// system's certificates. Throws BackendError::notFound, JsonError, and PlatformError with the domain
/// "QNetworkReply" (code: QNetworkReply::NetworkError), "QWebSocket" (QAbstractSocket::SocketError) or
/// "QFile". Never retries or undoes a step; Qt sends a GET or DELETE again when its connection breaks.
/// `baseURL` gives scheme, host, port and query. `timeout` is the longest time without progress.
class HTTPBackend final : public BackendClient {
public:
    HTTPBackend(
        QUrl baseURL, const QString& token, std::chrono::milliseconds timeout = std::chrono::seconds(60));
    /// Fails the operations under way and waits for their end.
    ~HTTPBackend() override;

    QString address() const override;
    QCoro::Task<std::optional<User>> currentUser() override; ///< never absent
    QCoro::Task<std::vector<Project>> listProjects() override;
    QCoro::Task<std::vector<Scenario>> listScenarios(QString projectId) override;
    QCoro::Task<Scenario> createScenario(QString projectId, QString name, QString description) override;
    /// Also opens the live channel, without waiting for it.
    QCoro::Task<SessionHandle> createSession(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) override;
    /// Drops the event when no live channel is open. The channel belongs to the last created session.
    QCoro::Task<> sendEvent(QString sessionId, LiveEvent event) override;
    QCoro::Task<QString> uploadVideo(QString sessionId, std::filesystem::path file) override;
    QCoro::Task<> finishSession(QString sessionId, double durationSeconds) override;
    QCoro::Task<> deleteSession(QString sessionId) override;

    void setUploadProgress(UploadProgress progress) override;

private:
    class Service; // used on the queue

    template <class Operation>
    auto onQueue(Operation operation);

    std::unique_ptr<Service> service;
    SerialQueue queue; // last: joined before the members above are destroyed
};

} // namespace tavro
