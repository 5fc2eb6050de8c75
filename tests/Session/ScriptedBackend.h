#pragma once

#include "Backend/MockBackend.h"
#include "Backend/ModelsJson.h"

#include "Session/Script.h"

namespace tavro::test {

/// The local backend, with a script before each session operation.
class ScriptedBackend final : public BackendClient {
public:
    ScriptedBackend(Script& playedScript, std::filesystem::path root)
        : script(playedScript)
        , mock(std::move(root)) {}

    MockBackend& local() { return mock; }
    std::vector<TakePause> pauses; ///< as they were told before the last upload

    QCoro::Task<std::optional<User>> currentUser() override { return mock.currentUser(); }
    QCoro::Task<std::vector<Project>> listProjects() override { return mock.listProjects(); }
    QCoro::Task<std::vector<Scenario>> listScenarios(QString project) override {
        return mock.listScenarios(project);
    }
    QCoro::Task<Scenario> createScenario(QString project, QString name, QString description) override {
        return mock.createScenario(project, name, description);
    }
    QCoro::Task<SessionHandle> createSession(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta captureTarget) override {
        co_await script.step(u"createSession"_qs);
        auto created = mock.createSession(scenarioId, appUrl, captureTarget);
        co_return co_await created;
    }
    QCoro::Task<> sendEvent(QString sessionId, LiveEvent event) override {
        const QByteArray text = encodeJson(event);
        co_await script.step(u"send "_qs + QString::fromUtf8(text));
        auto sent = mock.sendEvent(sessionId, event);
        co_await sent;
    }
    QCoro::Task<> setPauses(QString sessionId, std::vector<TakePause> told) override {
        pauses = told;
        return mock.setPauses(sessionId, told);
    }
    QCoro::Task<QString> uploadVideo(QString sessionId, std::filesystem::path file) override {
        co_await script.step(u"uploadVideo"_qs);
        auto uploaded = mock.uploadVideo(sessionId, file);
        co_return co_await uploaded;
    }
    QCoro::Task<> finishSession(QString sessionId, double durationSeconds) override {
        co_await script.step(u"finishSession %1"_qs.arg(durationSeconds));
        auto finished = mock.finishSession(sessionId, durationSeconds);
        co_await finished;
    }
    QCoro::Task<> deleteSession(QString sessionId) override {
        co_await script.step(u"deleteSession"_qs);
        auto deleted = mock.deleteSession(sessionId);
        co_await deleted;
    }

private:
    Script& script;
    MockBackend mock;
};

} // namespace tavro::test
