#include "Session/RecordingSession.h"

#include "Session/ScriptedBackend.h"
#include "Session/ScriptedCapture.h"
#include "support/TestSupport.h"

namespace tavro::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

const CaptureTargetMeta display{CaptureKind::display, u"1"_qs, u"Display 1"_qs};
const QString paused = u"send {\"type\":\"paused\"}"_qs;
const QString resumed = u"send {\"type\":\"resumed\"}"_qs;
const QString deleted = u"send {\"type\":\"deleted\"}"_qs;
QString finished(double seconds) {
    return u"send {\"durationSeconds\":%1,\"type\":\"finished\"}"_qs.arg(seconds);
}
QString finishSession(double seconds) {
    return u"finishSession %1"_qs.arg(seconds);
}

struct RecordingSessionTest : testing::Test {
    TemporaryFolder temporary;
    fs::path work = temporary.path() / "Tavro-recordings";
    RecordingSession::Clock::time_point time{};
    Script script;
    ScriptedCapture capture{script};
    ScriptedMuxer muxer{script};
    std::shared_ptr<ScriptedBackend> backend =
        std::make_shared<ScriptedBackend>(script, temporary.path() / "Tavro");
    RecordingSession session{backend, capture, muxer, work, [this] { return time; }};

    QCoro::Task<> beginning(bool includeMic = false) {
        return session.begin(u"scn_guest"_qs, {}, display, includeMic);
    }
    // Begins a session and clears the recorded calls.
    QString begin(bool includeMic = false) {
        await(beginning(includeMic));
        script.calls.clear();
        return *session.sessionId();
    }
    void pass(std::chrono::milliseconds duration) { time += duration; }
    fs::path file(const QString& name) const { return work / name.toStdString(); }
    std::optional<Session> stored(const QString& id) { return await(backend->local().storedSession(id)); }
    QByteArray uploaded(const QString& id) {
        return readFile(backend->local().sessionFolder(id) / "video.mp4");
    }
    QStringList filesLeft() const {
        QStringList names;
        for (const auto& entry : fs::directory_iterator(work))
            names << Paths::toText(entry.path().filename());
        names.sort();
        return names;
    }
    void expectIdle() const {
        EXPECT_EQ(session.phase(), SessionPhase::idle);
        EXPECT_EQ(session.sessionId(), std::nullopt);
        EXPECT_EQ(session.outputURL(), std::nullopt);
        EXPECT_EQ(session.elapsed(), 0);
    }
    QString failureOf(QCoro::Task<> operation) {
        return errorOf([&] { await(std::move(operation)); }).text;
    }
    // Starts an operation that waits at the named call.
    QCoro::Task<> held(const QString& call, const std::function<QCoro::Task<>()>& operation) {
        script.held.emplace(call, Promise<void>());
        auto running = operation();
        EXPECT_TRUE(waitUntil([&] { return script.calls.contains(call); })) << qPrintable(call);
        return running;
    }
    void release(const QString& call) {
        const auto gate = script.held.extract(call);
        gate.mapped().resolve();
    }
};

TEST_F(RecordingSessionTest, beginsNothingInAFolderOfAnother) {
    fs::remove(work);
    fs::create_directory_symlink(temporary.path(), work);
    const QString failure = failureOf(beginning());
    EXPECT_TRUE(failure.contains(u"is not a folder")) << qPrintable(failure);
    EXPECT_TRUE(script.calls.isEmpty());
    expectIdle();
    fs::remove(work);
    begin();
}

TEST_F(RecordingSessionTest, recordsATakeFromBeginToUpload) {
    expectIdle();
    const LogLines log;
    await(session.begin(u"scn_guest"_qs, u"https://shop.example"_qs, display, true));
    const QString id = *session.sessionId();
    EXPECT_EQ(script.calls, (QStringList{u"createSession"_qs, u"start"_qs}));
    EXPECT_EQ(session.phase(), SessionPhase::recording);
    EXPECT_EQ(session.outputURL(), file(id + u".mp4"_qs));
    EXPECT_EQ(stored(id),
        (Session{id, u"scn_guest"_qs, SessionStatus::active, u"https://shop.example"_qs, display, 0, {}}));

    pass(8500ms);
    script.calls.clear();
    await(session.finish());
    EXPECT_EQ(session.phase(), SessionPhase::done);
    EXPECT_EQ(script.calls,
        (QStringList{u"stop"_qs, u"mux"_qs, finishSession(8.5), u"uploadVideo"_qs, finished(8.5)}));
    EXPECT_EQ(uploaded(id), "picture 1 + sound 1");
    EXPECT_EQ(log.all(),
        (QStringList{u"[INFO] session.begin: scenarioId=scn_guest target=display/1 includeMic=true"_qs,
            u"[INFO] session.begin: backend created session id="_qs + id,
            u"[INFO] session.begin: recording started (session="_qs + id + u')',
            u"[INFO] session.finish: mux succeeded → "_qs + id + u"-muxed.mp4"_qs}));
    EXPECT_EQ(filesLeft(),
        (QStringList{id + u"-muxed.mp4"_qs, id + u".m4a"_qs, id + u".mp4"_qs, id + u".uploaded"_qs}));

    session.reset();
    expectIdle();
    EXPECT_TRUE(RecordingsFolder(work).tidy().empty());
    EXPECT_TRUE(filesLeft().isEmpty());
    EXPECT_NE(begin(), id);
}

TEST_F(RecordingSessionTest, uploadsThePictureAloneWhenTheMuxFails) {
    const QString id = begin(true);
    script.failing = {u"mux"_qs};
    const LogLines log;
    await(session.finish());
    EXPECT_EQ(log.all(),
        QStringList(
            u"[ERROR] session.finish: mux failed (scripted failure of mux); uploading video-only file"_qs));
    EXPECT_EQ(uploaded(id), "picture 1");
    EXPECT_EQ(session.phase(), SessionPhase::done);
    const auto sound = file(id + u".m4a"_qs);
    EXPECT_EQ(session.soundLeftBehind(), sound);
    session.reset();
    EXPECT_EQ(session.soundLeftBehind(), std::nullopt);
    EXPECT_EQ(RecordingsFolder(work).tidy(), std::vector{sound});
    EXPECT_EQ(readFile(sound), "sound 1");
}

TEST_F(RecordingSessionTest, countsTheTimeBetweenThePausesAlsoOfATakeThatEndsInOne) {
    const LogLines log;
    await(session.begin(u"scn_login"_qs, {}, {CaptureKind::window, u"4711"_qs, u"W"_qs}, false));
    EXPECT_EQ(
        log.all().first(), u"[INFO] session.begin: scenarioId=scn_login target=window/4711 includeMic=false");
    const QString id = *session.sessionId();
    EXPECT_EQ(session.elapsed(), 0);
    pass(10s);
    await(session.pause());
    EXPECT_TRUE(capture.paused);
    pass(7s);
    EXPECT_EQ(session.elapsed(), 10);
    await(session.resume());
    EXPECT_FALSE(capture.paused);
    EXPECT_EQ(session.elapsed(), 10);
    pass(2500ms);
    await(session.pause());
    pass(1h);
    await(session.resume());
    pass(500ms);
    script.calls.clear();
    await(session.pause());
    pass(3s);
    await(session.finish());
    EXPECT_EQ(script.calls, (QStringList{u"pause"_qs, paused, u"stop"_qs, u"complete"_qs, finishSession(13),
                                u"uploadVideo"_qs, finished(13)}));
    EXPECT_EQ(uploaded(id), "picture 1");
    EXPECT_EQ(backend->pauses, (std::vector<TakePause>{{10, 7}, {19.5, 3600}, {3620, 3}}));
}

TEST_F(RecordingSessionTest, uploadsTheFragmentsOfATakeThatCannotBeCompleted) {
    const QString id = begin(false);
    script.failing = {u"complete"_qs};
    const test::LogLines log;
    await(session.finish());
    EXPECT_TRUE(log.all().contains(
        u"[ERROR] session.finish: %1.mp4 stays in fragments: scripted failure of complete"_qs.arg(id)));
    EXPECT_EQ(uploaded(id), "picture 1");
}

TEST_F(RecordingSessionTest, restartsFromZeroAlsoWhilePaused) {
    const QString id = begin(true);
    pass(4s);
    await(session.pause());
    pass(1s);
    script.calls.clear();
    capture.filmBegan = time - 250ms;
    await(session.restart());
    EXPECT_EQ(script.calls, QStringList(u"restartTake"_qs)); // no call to the backend
    EXPECT_EQ(session.phase(), SessionPhase::recording);
    EXPECT_EQ(session.elapsed(), 0);
    pass(2s);
    EXPECT_EQ(session.elapsed(), 2);
    EXPECT_EQ(session.sessionId(), id);
    await(session.pause());
    pass(1500ms);
    await(session.finish());
    EXPECT_EQ(uploaded(id), "picture 2 + sound 2");
    EXPECT_EQ(backend->pauses, (std::vector<TakePause>{{2.25, 1.5}})); // of the second take, in its film
    EXPECT_EQ(stored(id)->durationSeconds, 2);
}

TEST_F(RecordingSessionTest, deletesTakeAndSession) {
    const QString id = begin(true);
    await(session.pause());
    script.calls.clear();
    await(session.deleteSession());
    EXPECT_EQ(script.calls, (QStringList{u"discard"_qs, deleted, u"deleteSession"_qs}));
    expectIdle();
    EXPECT_TRUE(filesLeft().isEmpty());
    EXPECT_EQ(stored(id), std::nullopt);
}

TEST_F(RecordingSessionTest, refusesWhatDoesNotFitAndDoesNothing) {
    await(session.finish()); // nothing to finish, and nothing to delete
    await(session.deleteSession());
    EXPECT_TRUE(script.calls.isEmpty());
    EXPECT_EQ(failureOf(session.pause()), u"invalid(from: idle, action: pause)");
    EXPECT_EQ(failureOf(session.restart()), u"invalid(from: idle, action: restart)");
    begin();
    pass(1s);
    EXPECT_EQ(failureOf(beginning()), u"invalid(from: recording, action: openSetup)");
    EXPECT_EQ(failureOf(session.resume()), u"invalid(from: recording, action: resume)");
    await(session.pause());
    script.calls.clear();
    pass(1s);
    EXPECT_EQ(failureOf(session.pause()), u"invalid(from: paused, action: pause)");
    EXPECT_EQ(session.elapsed(), 1);
    EXPECT_TRUE(capture.paused);
    EXPECT_TRUE(script.calls.isEmpty());
}

TEST_F(RecordingSessionTest, isReadyAgainAfterABeginThatFailed) {
    const QStringList begun{u"createSession"_qs, u"start"_qs, u"discard"_qs};
    const struct {
        QString failing;
        std::set<QString> also;
        QStringList calls, withdrawal;
    } cases[] = {
        {u"createSession"_qs, {}, {u"createSession"_qs}, {}},
        {u"start"_qs, {}, begun, {u"deleteSession"_qs}},
        {u"start"_qs, {u"deleteSession"_qs}, begun, {u"deleteSession"_qs}},
    };
    for (const auto& c : cases) {
        script.calls.clear();
        script.failing = c.also;
        script.failing.insert(c.failing);
        EXPECT_EQ(failureOf(beginning(true)), u"scripted failure of "_qs + c.failing);
        EXPECT_EQ(script.calls, c.calls);
        expectIdle();
        EXPECT_FALSE(capture.running);
        EXPECT_TRUE(filesLeft().isEmpty());
        script.calls.clear();
        for (int attempt = 0; attempt < 2; ++attempt)
            await(session.withdraw());
        EXPECT_EQ(script.calls, c.withdrawal) << "once";
    }
    script.failing.clear();
    begin();
}

TEST_F(RecordingSessionTest, leavesThePhaseWhereAFinishFailed) {
    const struct {
        QString failing;
        SessionPhase phase;
        bool marked; // as uploaded
    } cases[] = {
        {u"stop"_qs, SessionPhase::finishing, false},
        {finishSession(1), SessionPhase::uploading, false},
        {u"uploadVideo"_qs, SessionPhase::uploading, false},
        {finished(1), SessionPhase::uploading, true},
    };
    for (const auto& c : cases) {
        const QString id = begin();
        pass(1s);
        script.failing = {c.failing};
        EXPECT_EQ(failureOf(session.finish()), u"scripted failure of "_qs + c.failing);
        EXPECT_EQ(session.phase(), c.phase);
        EXPECT_EQ(script.calls.last(), c.failing);
        EXPECT_EQ(session.sessionId(), id);
        EXPECT_EQ(readFile(file(id + u".mp4"_qs)).isEmpty(), false);
        EXPECT_EQ(fs::exists(file(id + u".uploaded"_qs)), c.marked);
        session.reset();
        expectIdle();
    }
}

TEST_F(RecordingSessionTest, keepsAPauseThatCouldNotBeReported) {
    begin();
    pass(2s);
    script.failing = {paused, resumed};
    EXPECT_EQ(failureOf(session.pause()), u"scripted failure of "_qs + paused);
    EXPECT_EQ(session.phase(), SessionPhase::paused);
    EXPECT_TRUE(capture.paused);
    pass(5s);
    EXPECT_EQ(session.elapsed(), 2);
    EXPECT_EQ(failureOf(session.resume()), u"scripted failure of "_qs + resumed);
    EXPECT_EQ(session.phase(), SessionPhase::recording);
    EXPECT_FALSE(capture.paused);
    pass(1s);
    EXPECT_EQ(session.elapsed(), 3);
}

TEST_F(RecordingSessionTest, leavesWhatAFailedRestartOrDeleteLeft) {
    begin();
    pass(2s);
    script.failing = {u"restartTake"_qs};
    EXPECT_EQ(failureOf(session.restart()), u"scripted failure of restartTake");
    EXPECT_EQ(session.phase(), SessionPhase::recording);
    EXPECT_EQ(session.elapsed(), 2);

    for (const QString& failing : {deleted, u"deleteSession"_qs}) {
        script.failing = {failing};
        script.calls.clear();
        EXPECT_EQ(failureOf(session.deleteSession()), u"scripted failure of "_qs + failing);
        EXPECT_EQ(session.phase(), SessionPhase::idle);
        EXPECT_TRUE(session.sessionId().has_value());
        EXPECT_EQ(script.calls.first(), u"discard");
        EXPECT_EQ(script.calls.last(), failing);
        script.failing.clear();
        session.reset();
        begin();
    }
}

TEST_F(RecordingSessionTest, finishesWhileAPauseIsStillBeingReported) {
    const QString id = begin();
    pass(3s);
    auto pausing = held(paused, [&] { return session.pause(); });
    pass(2s);
    await(session.finish());
    EXPECT_EQ(session.phase(), SessionPhase::done);
    EXPECT_EQ(stored(id)->durationSeconds, 3);
    script.failing = {paused};
    release(paused);
    EXPECT_EQ(failureOf(std::move(pausing)), u"scripted failure of "_qs + paused);
    EXPECT_EQ(session.phase(), SessionPhase::done);
}

TEST_F(RecordingSessionTest, refusesASecondPressOfTheSameButton) {
    begin(true);
    for (const QString& call : {u"stop"_qs, u"mux"_qs, u"uploadVideo"_qs}) {
        auto finishing = held(call, [&] { return session.finish(); });
        const QString phase = name(session.phase());
        EXPECT_EQ(failureOf(session.finish()), u"invalid(from: %1, action: finish)"_qs.arg(phase));
        EXPECT_EQ(failureOf(session.deleteSession()), u"invalid(from: %1, action: delete)"_qs.arg(phase));
        EXPECT_EQ(failureOf(session.pause()), u"invalid(from: %1, action: pause)"_qs.arg(phase));
        release(call);
        await(std::move(finishing));
        EXPECT_EQ(session.phase(), SessionPhase::done);
        session.reset();
        begin(true);
    }
}

TEST_F(RecordingSessionTest, refusesASecondBeginDuringTheFirst) {
    for (const QString& call : {u"createSession"_qs, u"start"_qs}) {
        auto opening = held(call, [&] { return beginning(); });
        EXPECT_EQ(failureOf(beginning()), u"invalid(from: setup, action: openSetup)");
        release(call);
        await(std::move(opening));
        EXPECT_EQ(session.phase(), SessionPhase::recording);
        await(session.deleteSession());
        script.calls.clear();
    }
}

// The capture runs one operation at a time: presses during a restart wait for the new take.
TEST_F(RecordingSessionTest, takesButtonsPressedDuringARestartAfterIt) {
    const QString id = begin();
    pass(9s);
    auto restarting = held(u"restartTake"_qs, [&] { return session.restart(); });
    auto pausing = session.pause();
    auto finishing = session.finish();
    pass(1s);
    EXPECT_EQ(script.calls, QStringList(u"restartTake"_qs));
    release(u"restartTake"_qs);
    await(std::move(restarting));
    await(std::move(pausing));
    await(std::move(finishing));
    EXPECT_EQ(script.calls.mid(0, 4), (QStringList{u"restartTake"_qs, u"pause"_qs, paused, u"stop"_qs}));
    EXPECT_EQ(stored(id)->durationSeconds, 0);
    EXPECT_EQ(uploaded(id), "picture 2");
}

TEST_F(RecordingSessionTest, beginsTheNextSessionAfterADeleteUnderWay) {
    const QString first = begin();
    auto deleting = held(u"discard"_qs, [&] { return session.deleteSession(); });
    auto opening = session.begin(u"scn_login"_qs, {}, display, false);
    release(u"discard"_qs);
    await(std::move(deleting));
    await(std::move(opening));
    EXPECT_EQ(stored(first), std::nullopt);
    ASSERT_TRUE(session.sessionId().has_value());
    EXPECT_EQ(stored(*session.sessionId())->scenarioId, u"scn_login");
    EXPECT_EQ(session.phase(), SessionPhase::recording);
    EXPECT_TRUE(capture.running);
}

TEST_F(RecordingSessionTest, discardsACaptureWhoseSessionWasResetMeanwhile) {
    auto opening = held(u"start"_qs, [&] { return beginning(); });
    session.reset();
    release(u"start"_qs);
    EXPECT_EQ(failureOf(std::move(opening)), u"invalid(from: idle, action: start)");
    expectIdle();
    EXPECT_FALSE(capture.running);
    EXPECT_TRUE(filesLeft().isEmpty());
}

TEST_F(RecordingSessionTest, leavesAFinishedFileWhenTheProgramEndsDuringATake) {
    EXPECT_EQ(await(session.finalizeTake()), std::nullopt);
    const QString id = begin(true);
    await(session.pause());
    script.calls.clear();
    const auto left = await(session.finalizeTake());
    EXPECT_EQ(left, file(id + u"-muxed.mp4"_qs));
    EXPECT_EQ(script.calls, (QStringList{u"stop"_qs, u"mux"_qs}));
    EXPECT_EQ(readFile(*left), "picture 1 + sound 1");
    expectIdle();
    EXPECT_EQ(RecordingsFolder(work).tidy(), std::vector{*left});
    EXPECT_EQ(filesLeft().size(), 4); // picture, sound, both joined, and what a later upload needs
    EXPECT_EQ(stored(id)->status, SessionStatus::active);

    const QString other = begin(true);
    script.failing = {u"mux"_qs};
    const LogLines log;
    EXPECT_EQ(await(session.finalizeTake()), file(other + u".mp4"_qs));
    EXPECT_EQ(log.all(), QStringList(u"[ERROR] session.finish: mux failed (scripted failure of mux); "
                                     "picture and sound stay in files of their own"_qs));
}

TEST_F(RecordingSessionTest, waitsForTheFilesOfAFinishUnderWayWhenTheProgramEnds) {
    const QString id = begin(true);
    auto finishing = held(u"mux"_qs, [&] { return session.finish(); });
    auto finalizing = session.finalizeTake();
    EXPECT_FALSE(fs::exists(file(id + u"-muxed.mp4"_qs)));
    release(u"mux"_qs);
    EXPECT_EQ(await(std::move(finalizing)), std::nullopt);
    EXPECT_TRUE(fs::exists(file(id + u"-muxed.mp4"_qs)));
    await(std::move(finishing));
}

TEST_F(RecordingSessionTest, finalizesTheTakeOfABeginUnderWay) {
    auto opening = held(u"start"_qs, [&] { return beginning(); });
    auto finalizing = session.finalizeTake();
    release(u"start"_qs);
    await(std::move(opening));
    const auto left = await(std::move(finalizing));
    ASSERT_TRUE(left.has_value());
    EXPECT_EQ(readFile(*left), "picture 1");
}

} // namespace
} // namespace tavro::test
