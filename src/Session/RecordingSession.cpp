#include "Session/RecordingSession.h"

#include "Backend/ModelsJson.h"
#include "Core/Files.h"
#include "Core/Log.h"
#include "Core/Paths.h"
#include "Session/TakeFilm.h"

#include <QVariant>

#include <algorithm>

namespace tavro {

// Marks an operation that changes the take's files. Its end resumes the waiting operations.
class RecordingSession::FileWork {
public:
    explicit FileWork(RecordingSession& owner) : session(owner) { session.filesBusy = true; }
    ~FileWork() {
        session.filesBusy = false;
        for (const auto& turn : std::exchange(session.waiting, {}))
            turn.resolve();
    }
    FileWork(const FileWork&) = delete;
    FileWork& operator=(const FileWork&) = delete;

private:
    RecordingSession& session;
};

RecordingSession::RecordingSession(std::shared_ptr<BackendClient> client, CaptureController& controller,
    TakeMuxer& takeMuxer, std::filesystem::path workDirectory, Now clock)
    : backend(std::move(client))
    , capture(controller)
    , muxer(takeMuxer)
    , folder(std::move(workDirectory))
    , now(std::move(clock)) {}

// A restart in `recording` or a delete in `idle` may still use the capture; the phase alone cannot show it.
bool RecordingSession::mustWait() const {
    const SessionPhase phase = machine.phase();
    return filesBusy &&
           (phase == SessionPhase::idle || phase == SessionPhase::recording || phase == SessionPhase::paused);
}

QCoro::Task<> RecordingSession::filesSettled() {
    while (mustWait()) {
        const auto turn = nextTurn();
        co_await turn;
    }
}

Promise<void> RecordingSession::nextTurn() {
    return waiting.emplace_back();
}

QCoro::Task<> RecordingSession::begin(
    QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta target, bool includeMic) {
    Log::info(
        QStringLiteral("session.begin: scenarioId=%1 target=%2/%3 includeMic=%4")
            .arg(scenarioId, rawString(target.kind), target.identifier, QVariant(includeMic).toString()));
    co_await filesSettled();
    machine.apply(SessionAction::openSetup);
    const FileWork work(*this);
    bool captureTouched = false;
    std::exception_ptr failure;
    std::shared_ptr<RecordingNote> kept;
    try {
        folder.requireOwn();
        auto creating = backend->createSession(scenarioId, appUrl, target);
        const SessionHandle handle = co_await creating;
        id = handle.session.id;
        Log::info(QStringLiteral("session.begin: backend created session id=%1").arg(handle.session.id));
        kept = note =
            std::make_shared<RecordingNote>(folder.note(*id), KeptRecording{*id, backend->address()});
        output = folder.video(handle.session.id);
        captureTouched = true;
        auto starting = capture.start(target, includeMic, *output);
        co_await starting;
        startClock();
        machine.apply(SessionAction::start);
        Log::info(QStringLiteral("session.begin: recording started (session=%1)").arg(handle.session.id));
    } catch (...) {
        failure = std::current_exception();
    }
    if (!failure)
        co_return;
    if (captureTouched)
        co_await capture.discard();
    if (kept)
        kept->remove();
    abandoned = id;
    if (machine.phase() == SessionPhase::setup)
        machine.apply(SessionAction::cancelSetup);
    clear();
    std::rethrow_exception(failure);
}

QCoro::Task<> RecordingSession::withdraw() {
    co_await filesSettled();
    if (!abandoned)
        co_return;
    const FileWork work(*this); // a next session waits: the backend has one live channel
    const QString session = *std::exchange(abandoned, std::nullopt);
    try {
        auto deleting = backend->deleteSession(session);
        co_await deleting;
    } catch (...) {
        Log::error(QStringLiteral("session.begin: session %1 stays on the backend: %2")
                       .arg(session, localizedDescriptionOfCurrentError()));
    }
}

QCoro::Task<> RecordingSession::pause() {
    co_await filesSettled();
    machine.apply(SessionAction::pause);
    capture.pause();
    endPause(); // a restart that failed left it
    pauses.push_back({now(), std::nullopt});
    auto reporting = report(event::Paused());
    co_await reporting;
}

QCoro::Task<> RecordingSession::resume() {
    co_await filesSettled();
    machine.apply(SessionAction::resume);
    capture.resume();
    endPause();
    auto reporting = report(event::Resumed());
    co_await reporting;
}

QCoro::Task<> RecordingSession::restart() {
    co_await filesSettled();
    machine.apply(SessionAction::restart);
    if (!output)
        co_return;
    const FileWork work(*this);
    auto restarting = capture.restartTake(*output);
    co_await restarting;
    startClock();
}

QCoro::Task<> RecordingSession::report(LiveEvent event) {
    if (!id)
        co_return;
    auto sending = backend->sendEvent(*id, std::move(event));
    co_await sending;
}

QCoro::Task<> RecordingSession::finish() {
    co_await filesSettled();
    if (!id)
        co_return;
    const QString session = *id;
    const double duration = elapsed();
    const auto pausesMade = pausesInFilm();
    const auto kept = note;
    kept->update([duration](KeptRecording& recording) { recording.durationSeconds = duration; });
    auto finalizing = finalFile(session, QStringLiteral("uploading video-only file"));
    const auto file = co_await finalizing;
    try {
        auto finishing = backend->finishSession(session, duration);
        co_await finishing;
        kept->update([](KeptRecording& recording) { recording.finishTold = true; });
        auto describing = backend->setPauses(session, pausesMade);
        co_await describing;
        auto uploading = backend->uploadVideo(session, file);
        co_await uploading;
    } catch (...) {
        Log::error(QStringLiteral("session.finish: the recording was not uploaded and is kept: %1")
                       .arg(Paths::toText(file)));
        throw;
    }
    folder.markUploaded(session);
    if (id == session) {
        auto reporting = report(event::Finished{duration});
        co_await reporting;
    }
    machine.apply(SessionAction::uploadComplete);
}

// Ends the take, `recording` or `paused` to `uploading`. Returns the joined file; without one, the video.
QCoro::Task<std::filesystem::path> RecordingSession::finalFile(QString session, QString withoutMux) {
    machine.apply(SessionAction::finish);
    const FileWork work(*this);
    const auto kept = note; // a reset may come meanwhile
    auto stopping = capture.stop();
    const auto video = co_await stopping;
    machine.apply(SessionAction::videoFinalized);
    const auto audio = capture.audioFile();
    auto making =
        makeFilm(muxer, video, audio, folder.muxed(session), QStringLiteral("session.finish"), withoutMux);
    const TakeFilm film = co_await making;
    if (!film.hasItsSound)
        soundLeft = audio;
    kept->update([&film](KeptRecording& recording) { recording.isWhole = film.isWhole; });
    co_return film.file;
}

QCoro::Task<> RecordingSession::deleteSession() {
    co_await filesSettled();
    if (!id)
        co_return;
    const QString session = *id;
    machine.apply(SessionAction::delete_);
    // The next session must wait until this one is deleted.
    const FileWork work(*this);
    const auto kept = note;
    co_await capture.discard();
    kept->remove();
    if (id == session) {
        auto reporting = report(event::Deleted());
        co_await reporting;
    }
    auto deleting = backend->deleteSession(session);
    co_await deleting;
    if (id == session)
        reset();
}

QCoro::Task<std::optional<std::filesystem::path>> RecordingSession::finalizeTake() {
    while (filesBusy) {
        const auto turn = nextTurn();
        co_await turn;
    }
    const SessionPhase phase = machine.phase();
    if (!id || (phase != SessionPhase::recording && phase != SessionPhase::paused))
        co_return std::nullopt;
    note->update([duration = elapsed()](KeptRecording& recording) { recording.durationSeconds = duration; });
    auto finalizing = finalFile(*id, QStringLiteral("picture and sound stay in files of their own"));
    const auto file = co_await finalizing;
    reset();
    co_return file;
}

double RecordingSession::elapsed() const {
    if (!startDate)
        return 0;
    const auto present = now();
    auto recorded = present - *startDate;
    for (const Pause& pause : pauses)
        recorded -= pause.to.value_or(present) - pause.from;
    return std::chrono::duration<double>(recorded).count();
}

void RecordingSession::endPause() {
    if (!pauses.empty() && !pauses.back().to)
        pauses.back().to = now();
}

// The film goes on during a pause, with the picture from before it. It begins earlier than the clock.
std::vector<TakePause> RecordingSession::pausesInFilm() const {
    using Seconds = std::chrono::duration<double>;
    const auto filmBegan = capture.beginning().value_or(startDate.value_or(now()));
    std::vector<TakePause> inFilm;
    for (const Pause& pause : pauses) {
        const Seconds at = pause.from - filmBegan, length = pause.to.value_or(now()) - pause.from;
        inFilm.push_back({std::max(at, Seconds(0)).count(), length.count()});
    }
    return inFilm;
}

void RecordingSession::startClock() {
    startDate = now();
    pauses.clear();
}

void RecordingSession::reset() {
    machine.apply(SessionAction::reset);
    clear();
}

void RecordingSession::clear() {
    id.reset();
    note.reset();
    startDate.reset();
    output.reset();
    soundLeft.reset();
    pauses.clear();
}

} // namespace tavro
