#include "Session/KeptUploads.h"

#include "Backend/HTTPBackend.h"
#include "Backend/MockBackend.h"
#include "Core/ErrorWords.h"
#include "Session/RecordingNote.h"
#include "Session/RecordingSession.h"

#include "Session/ScriptedCapture.h"
#include "support/LoopbackService.h"
#include "support/TestSupport.h"

#include <QCryptographicHash>

namespace tavro::test {
namespace {

namespace fs = std::filesystem;

struct KeptUploadsTest : testing::Test {
    TemporaryFolder temporary;
    fs::path work = temporary.path() / "Tavro-recordings";
    fs::path local = temporary.path() / "local";
    LoopbackService service;
    QUrl inUse = service.baseURL();
    bool isSignedIn = true;
    Script script;
    ScriptedCapture capture{script};
    ScriptedMuxer muxer{script};
    std::unique_ptr<RecordingSession> session;
    std::vector<KeptUploads::Outcome> told;
    std::vector<std::optional<double>> progress;
    std::unique_ptr<KeptUploads> uploads = launch();

    std::shared_ptr<BackendClient> connect() const {
        if (isSignedIn)
            return std::make_shared<HTTPBackend>(inUse, u"token-1"_qs);
        return std::make_shared<MockBackend>(local);
    }
    std::unique_ptr<KeptUploads> launch() {
        return std::make_unique<KeptUploads>(work, muxer,
            KeptUploads::Surroundings{.connect = [this] { return connect(); },
                .progress = [this](auto part) { progress.push_back(part); },
                .ended =
                    [this](const auto& outcomes) {
                        told.insert(told.end(), outcomes.begin(), outcomes.end());
                    }});
    }
    QString begin(bool withSound = true) {
        session = std::make_unique<RecordingSession>(connect(), capture, muxer, work);
        await(
            session->begin(u"scn_guest"_qs, {}, {CaptureKind::display, u"1"_qs, u"Display 1"_qs}, withSound));
        return *session->sessionId();
    }
    /// A session whose upload fails; the service behaves again afterwards.
    QString keepOne() {
        service.misbehave({.match = "PUT", .status = 403});
        const QString id = begin();
        errorOf([&] { await(session->finish()); });
        session->reset();
        service.behave();
        service.forget();
        return id;
    }
    QString uploadAndWait(const QString& id) {
        told.clear();
        uploads->upload({id});
        EXPECT_TRUE(waitUntil([&] { return !told.empty(); }));
        if (told.empty())
            return u"nothing was told"_qs;
        EXPECT_EQ(told.front().sessionId, id);
        return told.front().failure ? inWords(*told.front().failure, Attempt::upload).happened : QString();
    }
    fs::path file(const QString& id, const char* suffix) const { return work / (id.toStdString() + suffix); }
    std::vector<QString> offered() const { return uploads->belongingTo(connect()->address()); }
    void expectOnTheService(const fs::path& film) const {
        const auto puts = service.received("PUT");
        ASSERT_EQ(puts.size(), 1U);
        EXPECT_EQ(puts.front().sha256,
            QCryptographicHash::hash(readFile(film), QCryptographicHash::Sha256).toHex());
    }
};

TEST_F(KeptUploadsTest, uploadsWhatAFailedFinishKept) {
    const QString id = keepOne();
    EXPECT_EQ(offered(), std::vector{id});
    EXPECT_EQ(RecordingNote::read(file(id, ".json"))->finishTold, true);
    EXPECT_EQ(fs::status(file(id, ".json")).permissions(), fs::perms::owner_read | fs::perms::owner_write);

    script.calls.clear();
    EXPECT_EQ(uploadAndWait(id), QString());
    EXPECT_EQ(script.calls, QStringList()) << "it was whole already";
    expectOnTheService(file(id, "-muxed.mp4"));
    EXPECT_EQ(service.requestLines().last(), "POST /api/app/sessions/" + id.toUtf8() + "/video-uploaded");
    EXPECT_EQ(progress.back(), std::nullopt);
    EXPECT_TRUE(offered().empty());
    EXPECT_TRUE(RecordingsFolder(work).tidy().empty());
    EXPECT_TRUE(fs::is_empty(work));
    EXPECT_EQ(uploadAndWait(id), u"The recording is not in its folder any more."_qs);
}

TEST_F(KeptUploadsTest, keepsWhatCannotBeUploaded) {
    const QString id = keepOne();
    const struct {
        Misbehaviour rule;
        QString told;
    } cases[] = {
        {{.match = "POST /api/app/sessions/", .status = 404},
            u"The service no longer knows this session."_qs},
        {{.match = "POST /api/app/sessions/", .status = 500},
            u"The service has a fault and refused the upload (HTTP 500)."_qs},
        {{.match = "PUT", .status = 404}, u"The service refused the upload (HTTP 404)."_qs},
        {{.match = "PUT", .cutAfter = 3}, u"The connection to the service broke off."_qs},
    };
    const QByteArray film = readFile(file(id, "-muxed.mp4"));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.rule.match.toStdString());
        service.behave();
        service.misbehave(c.rule);
        EXPECT_EQ(uploadAndWait(id), c.told);
        EXPECT_EQ(readFile(file(id, "-muxed.mp4")), film);
        EXPECT_EQ(offered(), std::vector{id});
    }
    service.behave();
    EXPECT_EQ(uploadAndWait(id), QString());
}

TEST_F(KeptUploadsTest, goesOnlyToTheServiceWithTheSession) {
    const QString id = keepOne();
    const LoopbackService another;
    for (const bool signedIn : {true, false}) {
        inUse = another.baseURL();
        isSignedIn = signedIn;
        EXPECT_TRUE(offered().empty());
        EXPECT_TRUE(uploadAndWait(id).startsWith(u"It belongs to another service"_qs));
    }
    EXPECT_TRUE(another.received().empty());
    EXPECT_TRUE(service.received().empty());
    EXPECT_EQ(RecordingsFolder(work).tidy(), std::vector{file(id, "-muxed.mp4")});
}

TEST_F(KeptUploadsTest, makesWholeWhatAKillLeft) {
    for (const bool atLaunch : {true, false}) {
        for (const bool withSound : {true, false}) {
            const QString id = begin(withSound);
            uploads->makeAllWhole();
            EXPECT_EQ(uploadAndWait(id), u"The recording is in use at the moment."_qs);
            session.reset(); // as a kill does: no more locks, and no end of the take
            script.calls.clear();
            service.forget();
            uploads = launch();
            const QString step = withSound ? u"mux"_qs : u"complete"_qs;
            if (atLaunch) {
                uploads->makeAllWhole();
                EXPECT_TRUE(waitUntil([&] { return script.calls.contains(step); }));
            }
            EXPECT_EQ(uploadAndWait(id), QString());
            EXPECT_EQ(script.calls, QStringList(step));
            expectOnTheService(file(id, withSound ? "-muxed.mp4" : ".mp4"));
            uploads->makeAllWhole();
            EXPECT_EQ(script.calls, QStringList(step));
        }
    }
}

TEST_F(KeptUploadsTest, keepsFragmentsThatCannotBeCompleted) {
    const QString id = begin(false);
    session.reset();
    script.failing = {u"complete"_qs};
    EXPECT_EQ(uploadAndWait(id), u"The recording was cut short and could not be completed."_qs);
    EXPECT_TRUE(service.received("PUT").empty());
    EXPECT_EQ(offered(), std::vector{id});
}

TEST_F(KeptUploadsTest, isGivenUpWithoutDelay) {
    const QString id = keepOne();
    service.misbehave({.match = "PUT", .delay = std::chrono::minutes(10)});
    uploads->upload({id, id});
    EXPECT_TRUE(waitUntil([&] { return !service.received("PUT").empty(); }));
    uploads.reset();
    EXPECT_TRUE(waitUntil([&] { return !RecordingNote::isHeld(file(id, ".json")); }));
    EXPECT_TRUE(told.empty());
    service.behave();
    uploads = launch();
    service.forget();
    EXPECT_EQ(uploadAndWait(id), QString());
    expectOnTheService(file(id, "-muxed.mp4"));
    EXPECT_EQ(told.size(), 1U);
}

TEST_F(KeptUploadsTest, localSessionIsUploadedAfterARestart) {
    isSignedIn = false;
    const QString id = begin();
    await(session->finalizeTake());
    EXPECT_EQ(offered(), std::vector{id});
    EXPECT_EQ(uploadAndWait(id), QString());
    EXPECT_EQ(
        readFile(local / "sessions" / id.toStdString() / "video.mp4"), readFile(file(id, "-muxed.mp4")));

    const QString gone = begin();
    await(session->finalizeTake());
    fs::remove_all(local / "sessions" / gone.toStdString());
    EXPECT_FALSE(uploadAndWait(gone).isEmpty());
    EXPECT_TRUE(fs::exists(file(gone, "-muxed.mp4")));
}

TEST_F(KeptUploadsTest, noteGoesWithItsRecording) {
    const QString id = begin();
    EXPECT_TRUE(RecordingNote::isHeld(file(id, ".json")));
    EXPECT_EQ(*RecordingNote::read(file(id, ".json")), (KeptRecording{id, service.baseURL().toString()}));
    for (const char* suffix : {".mp4", ".m4a"}) // as before the first frame
        fs::remove(file(id, suffix));
    EXPECT_TRUE(RecordingsFolder(work).tidy().empty());
    EXPECT_TRUE(RecordingNote::isHeld(file(id, ".json")));
    await(session->deleteSession());
    EXPECT_TRUE(fs::is_empty(work));

    const QString left = keepOne();
    for (const char* suffix : {"-muxed.mp4", ".mp4", ".m4a"})
        fs::remove(file(left, suffix));
    script.failing = {u"start"_qs};
    errorOf([&] { begin(); });
    EXPECT_TRUE(offered().empty());
    EXPECT_TRUE(RecordingsFolder(work).tidy().empty());
    EXPECT_TRUE(fs::is_empty(work));

    const fs::path strange = work / "strange.json";
    writeFile(strange, R"({"sessionId":"strange","service":"local","finishTold":1,"isWhole":false})");
    EXPECT_TRUE(RecordingsFolder(work).tidy().empty());
    EXPECT_TRUE(offered().empty());
    EXPECT_TRUE(fs::exists(strange)) << "not the program's own";
}

} // namespace
} // namespace tavro::test
