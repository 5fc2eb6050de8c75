#include "Backend/MockBackend.h"

#include "Backend/ModelsJson.h"

#include "Backend/BackendContract.h"
#include "support/TestSupport.h"

#include <QRegularExpression>

#include <cmath>

namespace tavro::test {

namespace fs = std::filesystem;

namespace {

const CaptureTargetMeta display{CaptureKind::display, u"1"_qs, u"Display 1"_qs};

struct MockUnderTest final : BackendUnderTest {
    TemporaryFolder folder;
    fs::path root = folder.path() / "not" / "there" / "Tavro";
    MockBackend mock{root};

    BackendClient& client() override { return mock; }
    std::vector<LiveEvent> events(const QString& id) override {
        const QByteArray text = readFile(mock.sessionFolder(id) / "events.json");
        return text.isEmpty() ? std::vector<LiveEvent>() : decodeJson<std::vector<LiveEvent>>(text);
    }
    QByteArray video(const QString& id) override { return readFile(mock.sessionFolder(id) / "video.mp4"); }

    QString newSession() { return await(mock.createSession(u"scn_guest"_qs, {}, display)).session.id; }
    std::optional<Session> stored(const QString& id) { return await(mock.storedSession(id)); }
};

INSTANTIATE_TEST_SUITE_P(Mock, BackendContract,
    testing::Values(BackendKind{"mock", [] { return std::make_unique<MockUnderTest>(); }}));

TEST(MockBackend, servesTheSampleProjectToNobodySignedIn) {
    MockUnderTest mock;
    EXPECT_TRUE(fs::is_directory(mock.root));
    EXPECT_EQ(await(mock.mock.currentUser()), std::nullopt);
    EXPECT_EQ(await(mock.mock.listProjects()), (std::vector<Project>{{u"prj_demo"_qs, u"Checkout Redesign"_qs,
                                                   u"Sample project"_qs, u"Shop v2"_qs}}));
    EXPECT_EQ(await(mock.mock.listScenarios(u"prj_demo"_qs)),
        (std::vector<Scenario>{
            {u"scn_guest"_qs, u"prj_demo"_qs, u"Guest checkout flow"_qs, u"Buy as guest"_qs},
            {u"scn_login"_qs, u"prj_demo"_qs, u"Returning customer"_qs, u"Login + reorder"_qs}}));
    EXPECT_TRUE(await(mock.mock.listScenarios(u"PRJ_DEMO"_qs)).empty());
    await(mock.mock.createScenario(u"prj_unknown"_qs, u"Kept all the same"_qs, {}));
    EXPECT_EQ(await(mock.mock.listScenarios(u"prj_unknown"_qs)).size(), 1u);
    MockBackend next(mock.root);
    EXPECT_TRUE(await(next.listScenarios(u"prj_unknown"_qs)).empty());
}

TEST(MockBackend, keepsEachSessionInAFolderOfItsOwn) {
    MockUnderTest mock;
    const QString id = mock.newSession();
    EXPECT_TRUE(QRegularExpression(u"^[0-9a-f]{8}(-[0-9a-f]{4}){3}-[0-9a-f]{12}$"_qs).match(id).hasMatch())
        << qPrintable(id);
    EXPECT_EQ(mock.mock.sessionFolder(id), mock.root / "sessions" / id.toStdString());
    EXPECT_TRUE(fs::is_empty(mock.mock.sessionFolder(id)));
    await(mock.mock.sendEvent(id, event::Paused()));
    EXPECT_EQ(readFile(mock.mock.sessionFolder(id) / "events.json"), R"([{"type":"paused"}])");
    await(mock.mock.sendEvent(id, event::Finished{10}));
    EXPECT_EQ(readFile(mock.mock.sessionFolder(id) / "events.json"),
        R"([{"type":"paused"},{"durationSeconds":10,"type":"finished"}])");
    await(mock.mock.deleteSession(id));
    EXPECT_FALSE(fs::exists(mock.mock.sessionFolder(id)));
}

TEST(MockBackend, movesTheStatusWithFinishAndUpload) {
    MockUnderTest mock;
    const auto take = mock.folder.path() / "take.mp4";
    const QString id = mock.newSession();
    EXPECT_EQ(mock.stored(id)->status, SessionStatus::active);
    await(mock.mock.finishSession(id, 42.5));
    EXPECT_EQ(mock.stored(id)->status, SessionStatus::finishing);
    EXPECT_EQ(mock.stored(id)->durationSeconds, 42.5);

    const auto error = errorOf([&] { await(mock.mock.uploadVideo(id, take)); });
    EXPECT_EQ(error.code, ENOENT);
    EXPECT_EQ(mock.stored(id)->status, SessionStatus::uploading);
    EXPECT_EQ(mock.stored(id)->videoKey, std::nullopt);

    writeFile(take, "video");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(await(mock.mock.uploadVideo(id, take)), u"video.mp4");
        EXPECT_EQ(mock.stored(id)->status, SessionStatus::uploaded);
        EXPECT_EQ(mock.stored(id)->videoKey, u"video.mp4");
    }
}

TEST(MockBackend, refusesUnknownSessionsAndChangesNothing) {
    MockUnderTest mock;
    writeFile(mock.folder.path() / "take.mp4", "video");
    const QString id = u"nobody"_qs;
    const std::function<void()> operations[] = {[&] { await(mock.mock.sendEvent(id, event::Paused())); },
        [&] { await(mock.mock.uploadVideo(id, mock.folder.path() / "take.mp4")); },
        [&] { await(mock.mock.finishSession(id, 1)); }, [&] { await(mock.mock.deleteSession(id)); }};
    for (const auto& operation : operations) {
        const auto error = errorOf(operation);
        EXPECT_EQ(error.text, u"notFound");
        EXPECT_EQ(error.code, static_cast<int>(BackendError::Case::notFound));
    }
    EXPECT_TRUE(fs::is_empty(mock.root));
}

// The next successful write restores the whole log file.
TEST(MockBackend, goesOnWhenItsFilesCannotBeWritten) {
    MockUnderTest mock;
    const QString id = mock.newSession();
    fs::remove(mock.mock.sessionFolder(id));
    await(mock.mock.sendEvent(id, event::Paused()));
    await(mock.mock.sendEvent(id, event::Finished{std::nan("")}));
    fs::create_directory(mock.mock.sessionFolder(id));
    await(mock.mock.sendEvent(id, event::Resumed()));
    EXPECT_FALSE(fs::exists(mock.mock.sessionFolder(id) / "events.json")); // one event has no JSON form

    const QString other = mock.newSession();
    fs::remove(mock.mock.sessionFolder(other));
    await(mock.mock.sendEvent(other, event::Paused()));
    fs::create_directory(mock.mock.sessionFolder(other));
    await(mock.mock.sendEvent(other, event::Resumed()));
    EXPECT_EQ(mock.events(other), (std::vector<LiveEvent>{event::Paused(), event::Resumed()}));
}

} // namespace
} // namespace tavro::test
