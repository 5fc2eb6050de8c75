#include "Backend/MockBackend.h"

#include "Backend/ModelsJson.h"
#include "Core/Files.h"
#include "Core/Paths.h"

#include <QFile>
#include <QUuid>

namespace tavro {

namespace {

QString freshId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

constexpr auto videoName = "video.mp4";

} // namespace

MockBackend::MockBackend(std::filesystem::path rootDirectory)
    : root(std::move(rootDirectory))
    , projects{{u"prj_demo"_qs, u"Checkout Redesign"_qs, u"Sample project"_qs, u"Shop v2"_qs}}
    , scenarios{{u"scn_guest"_qs, u"prj_demo"_qs, u"Guest checkout flow"_qs, u"Buy as guest"_qs},
          {u"scn_login"_qs, u"prj_demo"_qs, u"Returning customer"_qs, u"Login + reorder"_qs}}
    , queue(QStringLiteral("tavro.backend")) {
    std::error_code ignored;
    std::filesystem::create_directories(root, ignored);
}

std::filesystem::path MockBackend::sessionFolder(const QString& sessionId) const {
    return root / "sessions" / Paths::fromText(sessionId);
}

Session& MockBackend::existing(const QString& sessionId) {
    const auto found = sessions.find(sessionId);
    if (found == sessions.end())
        throw BackendError(BackendError::Case::notFound);
    return found->second;
}

// The log in memory is what counts: a file that cannot be written is made good by the next event's.
void MockBackend::persistEventLog(const QString& sessionId) {
    try {
        const QByteArray text = encodeJson(events.at(sessionId));
        QFile file(Paths::toText(sessionFolder(sessionId) / "events.json"));
        if (file.open(QIODevice::WriteOnly))
            file.write(text);
    } catch (const JsonError&) {
    }
}

QCoro::Task<std::optional<User>> MockBackend::currentUser() {
    auto result = queue.run([this] { return user; });
    co_return co_await result;
}

QCoro::Task<std::vector<Project>> MockBackend::listProjects() {
    auto result = queue.run([this] { return projects; });
    co_return co_await result;
}

QCoro::Task<std::vector<Scenario>> MockBackend::listScenarios(QString projectId) {
    auto result = queue.run([this, projectId] {
        std::vector<Scenario> ofProject;
        std::copy_if(scenarios.begin(), scenarios.end(), std::back_inserter(ofProject),
            [&](const Scenario& scenario) { return scenario.projectId == projectId; });
        return ofProject;
    });
    co_return co_await result;
}

QCoro::Task<Scenario> MockBackend::createScenario(QString projectId, QString name, QString description) {
    auto result = queue.run([this, projectId, name, description] {
        return scenarios.emplace_back(Scenario{freshId(), projectId, name, description});
    });
    co_return co_await result;
}

QCoro::Task<SessionHandle> MockBackend::createSession(
    QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) {
    auto result = queue.run([this, scenarioId, appUrl, captureTarget] {
        const Session session{
            freshId(), scenarioId, SessionStatus::active, appUrl, captureTarget, 0, std::nullopt};
        sessions.emplace(session.id, session);
        events.emplace(session.id, std::vector<LiveEvent>());
        std::error_code ignored;
        std::filesystem::create_directories(sessionFolder(session.id), ignored);
        return SessionHandle{session};
    });
    co_return co_await result;
}

QCoro::Task<> MockBackend::sendEvent(QString sessionId, LiveEvent event) {
    auto done = queue.run([this, sessionId, event] {
        existing(sessionId);
        events[sessionId].push_back(event);
        persistEventLog(sessionId);
    });
    co_await done;
}

QCoro::Task<QString> MockBackend::uploadVideo(QString sessionId, std::filesystem::path file) {
    auto key = queue.run([this, sessionId, file] {
        Session& session = existing(sessionId);
        session.status = SessionStatus::uploading;
        const auto video = sessionFolder(sessionId) / videoName;
        Files::remove(video);
        std::filesystem::copy_file(file, video);
        session.videoKey = QLatin1String(videoName);
        session.status = SessionStatus::uploaded;
        return *session.videoKey;
    });
    co_return co_await key;
}

QCoro::Task<> MockBackend::finishSession(QString sessionId, double durationSeconds) {
    auto done = queue.run([this, sessionId, durationSeconds] {
        Session& session = existing(sessionId);
        session.durationSeconds = durationSeconds;
        session.status = SessionStatus::finishing;
    });
    co_await done;
}

QCoro::Task<> MockBackend::deleteSession(QString sessionId) {
    auto done = queue.run([this, sessionId] {
        existing(sessionId);
        sessions.erase(sessionId);
        events.erase(sessionId);
        std::error_code ignored;
        std::filesystem::remove_all(sessionFolder(sessionId), ignored);
    });
    co_await done;
}

QCoro::Task<std::optional<Session>> MockBackend::storedSession(QString sessionId) {
    auto result = queue.run([this, sessionId]() -> std::optional<Session> {
        const auto found = sessions.find(sessionId);
        return found == sessions.end() ? std::nullopt : std::optional(found->second);
    });
    co_return co_await result;
}

} // namespace tavro
