#pragma once

#include "Backend/BackendClient.h"
#include "Core/SerialQueue.h"

#include <QUrl>

#include <chrono>
#include <memory>

namespace tavro {

/// The remote service: a REST interface below /api/app/ with a bearer token, a WebSocket for each session's
/// live events, and a pre-signed address for its video. Uses the proxies of QNetworkProxyFactory's
/// application-wide settings and the system's certificates.
///
/// Beside BackendError::notFound and JsonError, operations throw PlatformErrors whose domain says who failed:
/// "QNetworkReply" (code: QNetworkReply::NetworkError), "QWebSocket" (QAbstractSocket::SocketError) or
/// "QFile". Nothing is retried, nothing already done on the service is undone.
///
/// Only scheme, host, port and query of `baseURL` are used. `timeout` is the longest time without progress.
class HTTPBackend final : public BackendClient {
public:
    HTTPBackend(
        QUrl baseURL, const QString& token, std::chrono::milliseconds timeout = std::chrono::seconds(60));
    /// Ends what is under way with an error and waits for it.
    ~HTTPBackend() override;

    QCoro::Task<std::optional<User>> currentUser() override; ///< never absent
    QCoro::Task<std::vector<Project>> listProjects() override;
    QCoro::Task<std::vector<Scenario>> listScenarios(QString projectId) override;
    QCoro::Task<Scenario> createScenario(QString projectId, QString name, QString description) override;
    /// Opens the live channel too, without waiting for it.
    QCoro::Task<SessionHandle> createSession(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) override;
    /// Drops the event when no live channel is open. The channel is the last created session's.
    QCoro::Task<> sendEvent(QString sessionId, LiveEvent event) override;
    QCoro::Task<QString> uploadVideo(QString sessionId, std::filesystem::path file) override;
    QCoro::Task<> finishSession(QString sessionId, double durationSeconds) override;
    QCoro::Task<> deleteSession(QString sessionId) override;

    void setUploadProgress(UploadProgress progress) override;

private:
    class Service; // what runs on the queue

    template <class Operation>
    auto onQueue(Operation operation);

    std::unique_ptr<Service> service;
    SerialQueue queue; // last: gone before what runs on it
};

} // namespace tavro
