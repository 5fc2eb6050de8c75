#include "Session/KeptUploads.h"

#include "Core/Log.h"
#include "Core/Paths.h"
#include "Core/Promise.h"
#include "Core/Tasks.h"
#include "Session/RecordingNote.h"
#include "Session/RecordingsFolder.h"
#include "Session/TakeFilm.h"

#include <algorithm>
#include <deque>

namespace tavro {

namespace {

namespace fs = std::filesystem;

enum Refusal { isGone = 1, isInUse, isDamaged, isOfAnotherService };

PlatformError refusal(Refusal code, const QString& message) {
    const bool mayWorkLater = code == isInUse;
    return PlatformError(QStringLiteral("Tavro.KeptUploads"), code, message,
        {mayWorkLater ? Cause::other : Cause::recordingUnusable});
}

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
}

} // namespace

/// The waiting work and the coroutines that do it. They keep the state alive, not the backend.
struct KeptUploads::State {
    State(fs::path folderPath, TakeMuxer& takeMuxer, Surroundings given)
        : path(std::move(folderPath))
        , muxer(takeMuxer)
        , surroundings(std::move(given)) {}

    struct Job {
        QString sessionId;
        bool uploads;
    };

    const fs::path path;
    TakeMuxer& muxer;
    const Surroundings surroundings;
    const RecordingsFolder folder{path};
    std::deque<Job> jobs; ///< the first one is being done
    bool isWorking = false;
    bool isGivenUp = false;
    std::optional<Promise<void>> ended;     ///< of the work under way
    std::shared_ptr<BackendClient> backend; ///< during an upload
    std::vector<Outcome> outcomes;

    static void enqueue(const std::shared_ptr<State>& state, Job job);
    static QCoro::Task<> work(std::shared_ptr<State> state);
    static QCoro::Task<> run(std::shared_ptr<State> state, Job job);
    static QCoro::Task<fs::path> wholeFilm(
        std::shared_ptr<State> state, KeptRecording kept, std::shared_ptr<RecordingNote> note);
    static QCoro::Task<> upload(std::shared_ptr<State> state, QString sessionId, fs::path file);

    void abandon();
    void connect(const QString& service);
    KeptRecording unusedRecording(const QString& sessionId) const;
    fs::path fileOf(const QString& sessionId) const;
};

void KeptUploads::State::enqueue(const std::shared_ptr<State>& state, Job job) {
    const bool isWaiting = std::ranges::any_of(state->jobs,
        [&](const Job& other) { return other.sessionId == job.sessionId && other.uploads == job.uploads; });
    if (isWaiting || state->isGivenUp)
        return;
    state->jobs.push_back(std::move(job));
    if (std::exchange(state->isWorking, true))
        return;
    state->ended.emplace();
    startTask(QStringLiteral("kept recordings"), [state] { return work(state); });
}

QCoro::Task<> KeptUploads::State::work(std::shared_ptr<State> state) {
    while (!state->jobs.empty()) {
        auto running = run(state, state->jobs.front());
        co_await running;
        if (state->isGivenUp)
            state->jobs.clear();
        else
            state->jobs.pop_front();
    }
    state->isWorking = false;
    if (!state->isGivenUp) {
        state->surroundings.progress(std::nullopt);
        if (const auto outcomes = std::exchange(state->outcomes, {}); !outcomes.empty())
            state->surroundings.ended(outcomes);
    }
    state->ended->resolve();
}

QCoro::Task<> KeptUploads::State::run(std::shared_ptr<State> state, Job job) {
    Outcome outcome{job.sessionId, state->fileOf(job.sessionId), std::nullopt};
    try {
        const KeptRecording kept = state->unusedRecording(job.sessionId);
        if (job.uploads)
            state->connect(kept.service);
        const auto note = std::make_shared<RecordingNote>(state->folder.note(job.sessionId), kept);
        auto making = wholeFilm(state, kept, note);
        outcome.file = co_await making;
        if (job.uploads && !state->isGivenUp) {
            auto uploading = upload(state, job.sessionId, outcome.file);
            co_await uploading;
        }
    } catch (...) {
        outcome.failure = describeCurrentError();
        Log::error(
            QStringLiteral("recordings: %1 was not %2: %3")
                .arg(job.sessionId, job.uploads ? QStringLiteral("uploaded") : QStringLiteral("made whole"),
                    outcome.failure->text));
    }
    state->backend.reset();
    if (job.uploads)
        state->outcomes.push_back(std::move(outcome));
}

/// The recording, when it can be worked on.
KeptRecording KeptUploads::State::unusedRecording(const QString& sessionId) const {
    const fs::path note = folder.note(sessionId);
    const auto kept = RecordingNote::read(note);
    if (!kept || !isFile(fileOf(sessionId)))
        throw refusal(isGone, QStringLiteral("The recording is not in its folder any more."));
    if (RecordingNote::isHeld(note))
        throw refusal(isInUse, QStringLiteral("The recording is in use at the moment."));
    return *kept;
}

void KeptUploads::State::connect(const QString& service) {
    backend = surroundings.connect();
    if (backend->address() != service)
        throw refusal(isOfAnotherService,
            QStringLiteral("It belongs to another service than the one in use: %1").arg(service));
    surroundings.progress(0);
    backend->setUploadProgress([report = surroundings.progress](std::int64_t sent, std::int64_t total) {
        if (total > 0)
            report(static_cast<double>(sent) / static_cast<double>(total));
    });
}

QCoro::Task<fs::path> KeptUploads::State::wholeFilm(
    std::shared_ptr<State> state, KeptRecording kept, std::shared_ptr<RecordingNote> note) {
    const fs::path file = state->fileOf(kept.sessionId);
    const fs::path sound = state->folder.sound(kept.sessionId);
    const fs::path joined = state->folder.muxed(kept.sessionId);
    if (file == joined || (kept.isWhole && !isFile(sound)))
        co_return file;
    auto making = makeFilm(state->muxer, file, isFile(sound) ? std::optional(sound) : std::nullopt, joined,
        QStringLiteral("recordings"), QStringLiteral("the sound stays in a file of its own"));
    const TakeFilm film = co_await making;
    if (!film.isWhole && !kept.isWhole)
        throw refusal(isDamaged, QStringLiteral("The recording was cut short and could not be completed."));
    note->update([](KeptRecording& recording) { recording.isWhole = true; });
    co_return film.file;
}

QCoro::Task<> KeptUploads::State::upload(std::shared_ptr<State> state, QString sessionId, fs::path file) {
    auto uploading = state->backend->uploadVideo(sessionId, file);
    co_await uploading;
    state->folder.markUploaded(sessionId);
    Log::info(QStringLiteral("recordings: uploaded ") + Paths::toText(file));
}

fs::path KeptUploads::State::fileOf(const QString& sessionId) const {
    const fs::path joined = folder.muxed(sessionId);
    return isFile(joined) ? joined : folder.video(sessionId);
}

KeptUploads::KeptUploads(fs::path folder, TakeMuxer& muxer, Surroundings surroundings)
    : state(std::make_shared<State>(std::move(folder), muxer, std::move(surroundings))) {}

KeptUploads::~KeptUploads() {
    state->abandon();
}

void KeptUploads::State::abandon() {
    isGivenUp = true;
    if (backend)
        backend->setUploadProgress({});
    backend.reset(); // fails the upload under way
}

bool KeptUploads::isWorking() const {
    return state->isWorking;
}

QCoro::Task<> KeptUploads::giveUp() {
    state->abandon();
    if (!state->isWorking)
        co_return;
    const auto ended = *state->ended;
    co_await ended;
}

std::vector<QString> KeptUploads::belongingTo(const QString& service) const {
    std::vector<QString> ids;
    for (const KeptRecording& kept : RecordingNote::all(state->path))
        if (kept.service == service && isFile(state->fileOf(kept.sessionId)))
            ids.push_back(kept.sessionId);
    std::ranges::sort(ids);
    return ids;
}

void KeptUploads::makeAllWhole() {
    for (const KeptRecording& kept : RecordingNote::all(state->path)) {
        const fs::path video = state->folder.video(kept.sessionId);
        if (!kept.isWhole && isFile(video) && state->fileOf(kept.sessionId) == video &&
            !RecordingNote::isHeld(state->folder.note(kept.sessionId)))
            State::enqueue(state, {kept.sessionId, false});
    }
}

void KeptUploads::upload(const std::vector<QString>& sessionIds) {
    for (const QString& id : sessionIds)
        State::enqueue(state, {id, true});
}

} // namespace tavro
