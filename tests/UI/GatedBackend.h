#pragma once

#include "Backend/BackendClient.h"
#include "Core/Promise.h"

#include <map>

namespace tavro::test {

/// A backend whose listings and creations wait for the test's promises.
class GatedBackend final : public BackendClient {
public:
    Promise<std::vector<Project>> projects;
    std::map<QString, Promise<std::vector<Scenario>>> scenarios;
    Promise<Scenario> creation;
    QStringList calls;
    QString serviceAddress = localAddress;

    QString address() const override { return serviceAddress; }
    QCoro::Task<std::vector<Project>> listProjects() override {
        calls << QStringLiteral("listProjects");
        co_return co_await projects;
    }
    QCoro::Task<std::vector<Scenario>> listScenarios(QString projectId) override {
        calls << QStringLiteral("listScenarios ") + projectId;
        const auto answer = scenarios[projectId];
        co_return co_await answer;
    }
    QCoro::Task<Scenario> createScenario(QString projectId, QString name, QString description) override {
        calls << QStringLiteral("createScenario %1|%2|%3").arg(projectId, name, description);
        co_return co_await creation;
    }

    // Not used by the setup form.
    QCoro::Task<std::optional<User>> currentUser() override { throw std::logic_error("not expected"); }
    QCoro::Task<SessionHandle> createSession(QString, std::optional<QString>, CaptureTargetMeta) override {
        throw std::logic_error("not expected");
    }
    QCoro::Task<> sendEvent(QString, LiveEvent) override { throw std::logic_error("not expected"); }
    QCoro::Task<QString> uploadVideo(QString, std::filesystem::path) override {
        throw std::logic_error("not expected");
    }
    QCoro::Task<> finishSession(QString, double) override { throw std::logic_error("not expected"); }
    QCoro::Task<> deleteSession(QString) override { throw std::logic_error("not expected"); }
};

} // namespace tavro::test
