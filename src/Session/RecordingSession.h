#pragma once

#include "Backend/BackendClient.h"
#include "Core/Promise.h"
#include "Session/CaptureController.h"
#include "Session/RecordingNote.h"
#include "Session/RecordingsFolder.h"
#include "Session/SessionStateMachine.h"

#include <chrono>
#include <memory>

namespace tavro {

/// Drives recording sessions, one after another. Main thread only. The object outlives its operations. They
/// throw TransitionError, without an effect, in a wrong phase, and pass on errors of backend and capture.
class RecordingSession {
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    /// `capture` and `muxer` outlive the session. Creates `workDirectory`.
    RecordingSession(std::shared_ptr<BackendClient> backend, CaptureController& capture, TakeMuxer& muxer,
        std::filesystem::path workDirectory, Now now = &Clock::now);

    /// Opens a session on the backend and starts the capture. A failure returns to `idle` and discards the
    /// capture; `withdraw` then deletes a session already created on the backend.
    QCoro::Task<> begin(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta target, bool includeMic);
    /// Tries once to delete the session of a begin that failed. Never throws; a failure is logged.
    QCoro::Task<> withdraw();
    /// Freezes the picture until `resume`. Throws when the report fails; the pause stays in force.
    QCoro::Task<> pause();
    QCoro::Task<> resume();
    /// Discards the take and records again within the same session.
    QCoro::Task<> restart();
    /// Stops the capture, joins picture and sound, reports the duration, uploads. Does nothing without a
    /// session.
    QCoro::Task<> finish();
    /// Deletes take and session. Does nothing without a session.
    QCoro::Task<> deleteSession();

    /// For the program's end during a take: completes the files in the work folder without a report to the
    /// backend. Returns the video, joined with any sound; nothing without a take. First lets a running finish
    /// complete its files.
    QCoro::Task<std::optional<std::filesystem::path>> finalizeTake();

    /// Returns to `idle` from any phase.
    void reset();

    /// Seconds of the current take without its pauses; 0 when there is none.
    double elapsed() const;
    SessionPhase phase() const { return machine.phase(); }
    const std::optional<QString>& sessionId() const { return id; }
    const std::optional<std::filesystem::path>& outputURL() const {
        return output;
    } ///< the current take's video
    /// The sound that was not uploaded, because it could not be joined to the picture.
    const std::optional<std::filesystem::path>& soundLeftBehind() const { return soundLeft; }

private:
    class FileWork;
    struct Pause {
        Clock::time_point from;
        std::optional<Clock::time_point> to;
    };

    bool mustWait() const;
    QCoro::Task<> filesSettled();
    Promise<void> nextTurn();
    void endPause();
    std::vector<TakePause> pausesInFilm() const;
    QCoro::Task<> report(LiveEvent event);
    QCoro::Task<std::filesystem::path> finalFile(QString session, QString withoutMux);
    void startClock();
    void clear();

    const std::shared_ptr<BackendClient> backend;
    CaptureController& capture;
    TakeMuxer& muxer;
    const RecordingsFolder folder;
    const Now now;

    SessionStateMachine machine;
    std::optional<QString> id;
    std::shared_ptr<RecordingNote> note; ///< with the session; held by its finish to its end
    std::optional<QString> abandoned;    ///< on the backend, of a begin that failed
    std::optional<Clock::time_point> startDate;
    std::vector<Pause> pauses; ///< of the current take; only the last one can be without its end
    std::optional<std::filesystem::path> output;
    std::optional<std::filesystem::path> soundLeft;

    bool filesBusy = false; ///< an operation is changing the take's files
    std::vector<Promise<void>> waiting;
};

} // namespace tavro
