#pragma once

#include "Backend/BackendClient.h"
#include "Core/Promise.h"
#include "Session/CaptureController.h"
#include "Session/RecordingsFolder.h"
#include "Session/SessionStateMachine.h"

#include <chrono>
#include <memory>

namespace tavro {

/// Drives one recording session after another, each from its opening to its upload. Main thread only.
///
/// Every operation throws TransitionError, with nothing done, when it does not fit the phase, and passes on
/// unchanged what the backend and the capture throw. The object outlives the operations running on it.
class RecordingSession {
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    /// `capture` and `muxer` outlive the session. `workDirectory` is created.
    RecordingSession(std::shared_ptr<BackendClient> backend, CaptureController& capture, TakeMuxer& muxer,
        std::filesystem::path workDirectory, Now now = &Clock::now);

    /// Opens a session on the backend and starts capture. A failure returns to `idle` and discards what was
    /// captured; a session that the backend created by then stays there.
    QCoro::Task<> begin(
        QString scenarioId, std::optional<QString> appUrl, CaptureTargetMeta target, bool includeMic);
    /// The picture stands still from here to `resume`. A failure to report it is thrown with the pause in
    /// force.
    QCoro::Task<> pause();
    QCoro::Task<> resume();
    /// Throws the take so far away and records again, within the same session.
    QCoro::Task<> restart();
    /// Stops capture, joins picture and sound, reports the duration and uploads. Nothing to do without a
    /// session.
    QCoro::Task<> finish();
    /// Throws take and session away. Nothing to do without a session.
    QCoro::Task<> deleteSession();

    /// For a program that ends during a take: finishes the take's files, so that they play, and leaves them
    /// in the work folder without a word to the backend. Returns the video's file, the joined one when there
    /// is sound, or nothing when nothing was being recorded. With a finish under way, waits until its files
    /// are complete.
    QCoro::Task<std::optional<std::filesystem::path>> finalizeTake();

    /// Back to `idle` and ready for another session, from any phase.
    void reset();

    /// Seconds of the current take without its pauses; 0 when there is none.
    double elapsed() const;
    SessionPhase phase() const { return machine.phase(); }
    const std::optional<QString>& sessionId() const { return id; }
    const std::optional<std::filesystem::path>& outputURL() const {
        return output;
    } ///< the current take's video
    /// The sound of the take that was finished, when it could not be joined to the picture and so is not in
    /// what was uploaded.
    const std::optional<std::filesystem::path>& soundLeftBehind() const { return soundLeft; }

private:
    class FileWork;

    bool mustWait() const;
    QCoro::Task<> filesSettled();
    Promise<void> nextTurn();
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
    std::optional<Clock::time_point> startDate;
    std::chrono::duration<double> pausedAccumulated{0};
    std::optional<Clock::time_point> pauseStartedAt;
    std::optional<std::filesystem::path> output;
    std::optional<std::filesystem::path> soundLeft;

    bool filesBusy = false; ///< an operation is changing the take's files
    std::vector<Promise<void>> waiting;
};

} // namespace tavro
