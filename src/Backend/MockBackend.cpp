#include "Backend/MockBackend.h"

#include "Backend/ModelsJson.h"
#include "Backend/ReviewPage.h"
#include "Core/Files.h"
#include "Core/Log.h"
#include "Core/Paths.h"

#include <QFile>
#include <QFileInfo>
#include <QUuid>

namespace tavro {

namespace {

QString freshId() {
    return QUuid::createUuid().toString(QUuid::WithoutBraces);
}

constexpr auto videoName = "video.mp4";

template <class Record>
const Record* recordOf(const std::vector<Record>& records, const QString& id) {
    const auto found = std::ranges::find(records, id, &Record::id);
    return found == records.end() ? nullptr : &*found;
}

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

std::filesystem::path MockBackend::video(const QString& sessionId) const {
    return sessionFolder(sessionId) / videoName;
}

std::filesystem::path MockBackend::reviewPage(const QString& sessionId) const {
    return sessionFolder(sessionId) / "review.html";
}

Session& MockBackend::existing(const QString& sessionId) {
    const auto found = sessions.find(sessionId);
    if (found == sessions.end())
        throw BackendError(BackendError::Case::notFound);
    return found->second;
}

void MockBackend::store(const std::filesystem::path& file, const std::filesystem::path& video) {
    Files::remove(video);
    std::error_code otherFileSystem;
    std::filesystem::create_hard_link(file, video, otherFileSystem); // needs no space
    if (!otherFileSystem)
        return;
    try {
        std::filesystem::copy_file(file, video);
    } catch (...) {
        Files::remove(video); // part of a film does not play
        throw;
    }
}

Session& MockBackend::stored(const QString& sessionId) {
    std::error_code ignored;
    if (!sessions.contains(sessionId) && std::filesystem::is_directory(sessionFolder(sessionId), ignored))
        sessions[sessionId].id = sessionId;
    return existing(sessionId);
}

// The log in memory is authoritative: the next event writes the whole file again.
void MockBackend::persistEventLog(const QString& sessionId) {
    try {
        const QByteArray text = encodeJson(events.at(sessionId));
        QFile file(Paths::toText(sessionFolder(sessionId) / "events.json"));
        if (file.open(QIODevice::WriteOnly))
            file.write(text);
    } catch (const JsonError&) {
    }
}

void MockBackend::writeReview(const Session& session, const std::filesystem::path& file) {
    try {
        const auto& [begun, pauses] = forReview[session.id];
        const QDateTime date = begun.isValid() ? begun : QFileInfo(Paths::toText(file)).lastModified();
        ReviewedTake take{.address = session.appUrl,
            .link = webLink(session.appUrl),
            .begun = date.toUTC().toString(Qt::ISODate),
            .pauses = pauses};
        if (const Scenario* scenario = recordOf(scenarios, session.scenarioId)) {
            take.scenario = scenario->name;
            take.description = scenario->description;
            if (const Project* project = recordOf(projects, scenario->projectId))
                take.project = project->name;
        }
        if (!session.captureTarget.label.isEmpty())
            take.display = session.captureTarget.label;
        if (session.durationSeconds > 0)
            take.durationSeconds = session.durationSeconds;
        writeReviewPage(take, reviewPage(session.id));
    } catch (...) { // the video is saved
        Log::error(QStringLiteral("review page: not written for session %1: %2")
                       .arg(session.id, describeCurrentError().text));
    }
}

QCoro::Task<std::optional<User>> MockBackend::currentUser() {
    return queue.run([this] { return user; });
}

QCoro::Task<std::vector<Project>> MockBackend::listProjects() {
    return queue.run([this] { return projects; });
}

QCoro::Task<std::vector<Scenario>> MockBackend::listScenarios(QString projectId) {
    return queue.run([this, projectId] {
        std::vector<Scenario> ofProject;
        std::copy_if(scenarios.begin(), scenarios.end(), std::back_inserter(ofProject),
            [&](const Scenario& scenario) { return scenario.projectId == projectId; });
        return ofProject;
    });
}

QCoro::Task<Scenario> MockBackend::createScenario(QString projectId, QString name, QString description) {
    return queue.run([this, projectId, name, description] {
        return scenarios.emplace_back(Scenario{freshId(), projectId, name, description});
    });
}

QCoro::Task<SessionHandle> MockBackend::createSession(
    QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) {
    return queue.run([this, scenarioId, appUrl, captureTarget] {
        const Session session{
            freshId(), scenarioId, SessionStatus::active, appUrl, captureTarget, 0, std::nullopt};
        sessions.emplace(session.id, session);
        events.emplace(session.id, std::vector<LiveEvent>());
        forReview[session.id].begun = QDateTime::currentDateTime();
        std::error_code ignored;
        std::filesystem::create_directories(sessionFolder(session.id), ignored);
        return SessionHandle{session};
    });
}

QCoro::Task<> MockBackend::sendEvent(QString sessionId, LiveEvent event) {
    return queue.run([this, sessionId, event] {
        existing(sessionId);
        events[sessionId].push_back(event);
        persistEventLog(sessionId);
    });
}

QCoro::Task<> MockBackend::setPauses(QString sessionId, std::vector<TakePause> pauses) {
    return queue.run([this, sessionId, pauses] {
        if (sessions.contains(sessionId))
            forReview[sessionId].pauses = pauses;
    });
}

QCoro::Task<QString> MockBackend::uploadVideo(QString sessionId, std::filesystem::path file) {
    return queue.run([this, sessionId, file] {
        Session& session = stored(sessionId);
        session.status = SessionStatus::uploading;
        store(file, video(sessionId));
        session.videoKey = QLatin1String(videoName);
        session.status = SessionStatus::uploaded;
        writeReview(session, file);
        return *session.videoKey;
    });
}

QCoro::Task<> MockBackend::finishSession(QString sessionId, double durationSeconds) {
    return queue.run([this, sessionId, durationSeconds] {
        Session& session = existing(sessionId);
        session.durationSeconds = durationSeconds;
        session.status = SessionStatus::finishing;
    });
}

QCoro::Task<> MockBackend::deleteSession(QString sessionId) {
    return queue.run([this, sessionId] {
        existing(sessionId);
        sessions.erase(sessionId);
        events.erase(sessionId);
        forReview.erase(sessionId);
        std::error_code ignored;
        std::filesystem::remove_all(sessionFolder(sessionId), ignored);
    });
}

QCoro::Task<std::optional<Session>> MockBackend::storedSession(const QString& sessionId) {
    return queue.run([this, sessionId]() -> std::optional<Session> {
        const auto found = sessions.find(sessionId);
        return found == sessions.end() ? std::nullopt : std::optional(found->second);
    });
}

} // namespace tavro
