#include "Backend/BackendContract.h"

#include "support/TestSupport.h"

#include <set>

namespace tavro::test {

namespace {

const CaptureTargetMeta display{CaptureKind::display, u"1"_qs, u"Display 1"_qs};
const CaptureTargetMeta window{CaptureKind::window, u"4711"_qs, u"Shop — Basket"_qs};

void expectNotFound(const std::function<void()>& action) {
    EXPECT_EQ(errorOf(action).text, u"notFound");
}

} // namespace

QString BackendContract::newSession() {
    return await(client().createSession(u"scn_guest"_qs, std::nullopt, display)).session.id;
}

TEST_P(BackendContract, listsProjectsAndTheScenariosOfEach) {
    const auto projects = await(client().listProjects());
    ASSERT_FALSE(projects.empty());
    const QString project = projects.front().id;
    const auto scenarios = await(client().listScenarios(project));
    ASSERT_FALSE(scenarios.empty());
    for (const Scenario& scenario : scenarios)
        EXPECT_EQ(scenario.projectId, project);
    EXPECT_EQ(await(client().listProjects()), projects);
    EXPECT_EQ(await(client().listScenarios(project)), scenarios);
}

TEST_P(BackendContract, addsACreatedScenarioAtTheEndOfItsProject) {
    const QString project = await(client().listProjects()).front().id;
    auto expected = await(client().listScenarios(project));
    for (const QString& description : {u"With an ü"_qs, u""_qs}) {
        const Scenario created = await(client().createScenario(project, u"Gift card"_qs, description));
        EXPECT_FALSE(created.id.isEmpty());
        EXPECT_EQ(created, (Scenario{created.id, project, u"Gift card"_qs, description}));
        expected.push_back(created);
    }
    EXPECT_EQ(await(client().listScenarios(project)), expected);
}

TEST_P(BackendContract, opensASessionWithWhatItWasGiven) {
    const std::pair<std::optional<QString>, CaptureTargetMeta> cases[] = {
        {std::nullopt, display}, {u"https://shop.example/?a=1&b=ü"_qs, window}};
    std::set<QString> ids;
    for (const auto& [appUrl, target] : cases) {
        const Session session = await(client().createSession(u"scn_guest"_qs, appUrl, target)).session;
        EXPECT_EQ(
            session, (Session{session.id, u"scn_guest"_qs, SessionStatus::active, appUrl, target, 0, {}}));
        EXPECT_FALSE(session.id.isEmpty());
        ids.insert(session.id);
    }
    EXPECT_EQ(ids.size(), std::size(cases));
}

TEST_P(BackendContract, receivesEveryKindOfEventInOrder) {
    const QString id = newSession();
    const std::vector<LiveEvent> sent{event::Paused(), event::Resumed(),
        Marker{u"m"_qs, id, 1.5, u"n"_qs, Severity::question}, Screenshot{u"s"_qs, id, 3, 2, {}, {}, {}, {}},
        TranscriptSegment{u"t"_qs, id, 0, 1, u"line\nbreak — “quoted”"_qs, 0.5, u"mic"_qs}, event::Paused()};
    for (const LiveEvent& event : sent)
        await(client().sendEvent(id, event));
    EXPECT_TRUE(waitUntil([&] { return backend->events(id).size() >= sent.size(); }));
    EXPECT_EQ(backend->events(id), sent);
}

// The session's order of calls; `finished` is sent twice and arrives once.
TEST_P(BackendContract, takesATakeFromItsPauseToItsVideo) {
    const TemporaryFolder folder;
    const QByteArray bytes(3'000'000, 'v');
    writeFile(folder.path() / "take.mp4", bytes);
    const QString id = newSession();
    await(client().sendEvent(id, event::Paused()));
    await(client().sendEvent(id, event::Resumed()));
    await(client().finishSession(id, 93.25));
    EXPECT_FALSE(await(client().uploadVideo(id, folder.path() / "take.mp4")).isEmpty());
    await(client().sendEvent(id, event::Finished{93.25}));
    EXPECT_TRUE(waitUntil([&] { return backend->events(id).size() >= 3; }));
    EXPECT_EQ(backend->events(id),
        (std::vector<LiveEvent>{event::Paused(), event::Resumed(), event::Finished{93.25}}));
    EXPECT_EQ(backend->video(id), bytes);
}

TEST_P(BackendContract, replacesTheVideoByALaterUpload) {
    const TemporaryFolder folder;
    const QString id = newSession();
    for (const QByteArray& bytes : {QByteArray("a longer first"), QByteArray("second")}) {
        writeFile(folder.path() / "take.mp4", bytes);
        await(client().uploadVideo(id, folder.path() / "take.mp4"));
        EXPECT_EQ(backend->video(id), bytes);
    }
}

TEST_P(BackendContract, passesOnThatTheVideoCannotBeRead) {
    const QString id = newSession();
    const auto error = errorOf([&] { await(client().uploadVideo(id, "/nonexistent/take.mp4")); });
    EXPECT_FALSE(error.localizedDescription.isEmpty());
    EXPECT_EQ(backend->video(id), QByteArray());
}

TEST_P(BackendContract, forgetsADeletedSession) {
    const TemporaryFolder folder;
    writeFile(folder.path() / "take.mp4", "video");
    const QString id = newSession();
    await(client().sendEvent(id, event::Deleted()));
    await(client().deleteSession(id));
    expectNotFound([&] { await(client().uploadVideo(id, folder.path() / "take.mp4")); });
    expectNotFound([&] { await(client().deleteSession(id)); });
    EXPECT_EQ(backend->video(id), QByteArray());
    EXPECT_FALSE(newSession().isEmpty());
}

TEST_P(BackendContract, servesCallsThatOverlap) {
    const QString project = await(client().listProjects()).front().id;
    const std::size_t before = await(client().listScenarios(project)).size();
    std::vector<QCoro::Task<Scenario>> running;
    for (int i = 0; i < 20; ++i)
        running.push_back(client().createScenario(project, QString::number(i), {}));
    std::set<QString> ids;
    for (auto& task : running)
        ids.insert(await(std::move(task)).id);
    EXPECT_EQ(ids.size(), running.size());
    EXPECT_EQ(await(client().listScenarios(project)).size(), before + running.size());
}

} // namespace tavro::test
