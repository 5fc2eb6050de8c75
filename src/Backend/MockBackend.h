#pragma once

#include "Backend/BackendClient.h"
#include "Core/SerialQueue.h"

#include <QDateTime>

#include <map>

namespace tavro {

/// The backend without a service: a fixed sample project, and sessions in memory. Each session writes
/// events.json, video.mp4 and review.html to `<root>/sessions/<id>` and never reads them back. The video of a
/// session from an earlier run can still be uploaded as long as its folder exists; its review page then tells
/// little but when it was recorded.
class MockBackend : public BackendClient {
public:
    /// Creates `root` with its parents. A failure shows when a video is uploaded.
    explicit MockBackend(std::filesystem::path root);

    QCoro::Task<std::optional<User>> currentUser() override; ///< always absent
    QCoro::Task<std::vector<Project>> listProjects() override;
    QCoro::Task<std::vector<Scenario>> listScenarios(QString projectId) override;
    QCoro::Task<Scenario> createScenario(QString projectId, QString name, QString description) override;
    QCoro::Task<SessionHandle> createSession(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) override;
    QCoro::Task<> sendEvent(QString sessionId, LiveEvent event) override;
    QCoro::Task<> setPauses(QString sessionId, std::vector<TakePause> pauses) override;
    /// Then writes the review page; a failure of that is logged only.
    QCoro::Task<QString> uploadVideo(QString sessionId, std::filesystem::path file) override;
    QCoro::Task<> finishSession(QString sessionId, double durationSeconds) override;
    QCoro::Task<> deleteSession(QString sessionId) override;

    /// The session's current record; absent when the session does not exist.
    QCoro::Task<std::optional<Session>> storedSession(const QString& sessionId);
    std::filesystem::path sessionFolder(const QString& sessionId) const;
    std::filesystem::path video(const QString& sessionId) const; ///< this and the next may be missing
    std::filesystem::path reviewPage(const QString& sessionId) const;

private:
    struct ForReview {
        QDateTime begun; ///< not valid for a session from an earlier run
        std::vector<TakePause> pauses;
    };

    Session& existing(const QString& sessionId); ///< throws notFound
    Session& stored(const QString& sessionId);   ///< also of an earlier run; throws notFound
    void persistEventLog(const QString& sessionId);
    void writeReview(const Session& session, const std::filesystem::path& take);
    static void store(const std::filesystem::path& file, const std::filesystem::path& video);

    const std::filesystem::path root;
    std::optional<User> user;
    std::vector<Project> projects;
    std::vector<Scenario> scenarios;
    std::map<QString, Session> sessions;
    std::map<QString, std::vector<LiveEvent>> events;
    std::map<QString, ForReview> forReview;
    SerialQueue queue; // last: the members above are used on its thread
};

} // namespace tavro
