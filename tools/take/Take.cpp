#include "Take.h"

#include "Capture/CaptureTarget.h"
#include "Core/Paths.h"
#include "Permissions/PermissionStatus.h"

#include <QTimer>

namespace tavro {

namespace {

std::filesystem::path workDirectory() {
    return Paths::temporary() / "Tavro-recordings";
}

} // namespace

Take::Take(TakeOptions given)
    : options(std::move(given))
    , backend(TakeBackend::choose(options))
    , screen(makeSessionScreen(*writers))
    , capture(*screen.service, *writers, sound.audioEngine(), sound.audioHardware(), *converters,
          options.system,
          [this] { return toText(screen.obstacle().isEmpty() ? Grant::granted : Grant::denied); })
    , session(backend.client, capture, muxer, workDirectory()) {
    RecordingsFolder(workDirectory()).tidy();
}

QCoro::Task<TakeReport> Take::run() {
    auto beginning = begin();
    const QString id = co_await beginning;
    std::exception_ptr failure;
    try {
        auto performing = performAll();
        co_await performing;
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        auto finalizing = session.finalizeTake();
        co_await finalizing;
        std::rethrow_exception(failure);
    }
    auto reporting = report(id);
    co_return co_await reporting;
}

QCoro::Task<QString> Take::begin() {
    auto listingProjects = backend.client->listProjects();
    const auto projects = co_await listingProjects;
    if (projects.empty())
        throw std::runtime_error("the backend has no project");
    auto listingScenarios = backend.client->listScenarios(projects.front().id);
    const auto scenarios = co_await listingScenarios;
    if (scenarios.empty())
        throw std::runtime_error("the backend's first project has no scenario");
    auto choosing = target();
    const CaptureTargetMeta chosen = co_await choosing;
    std::exception_ptr failure;
    try {
        auto beginning = session.begin(scenarios.front().id, std::nullopt, chosen, options.narrate);
        co_await beginning;
    } catch (...) {
        failure = std::current_exception();
    }
    if (failure) {
        auto withdrawing = session.withdraw();
        co_await withdrawing;
        std::rethrow_exception(failure);
    }
    co_return QString(*session.sessionId());
}

QCoro::Task<CaptureTargetMeta> Take::target() {
    if (options.target)
        co_return CaptureTargetMeta(*options.target);
    auto listing = CaptureCatalog::displays(*screen.service);
    const auto displays = co_await listing;
    if (displays.empty())
        throw std::runtime_error("there is no display");
    co_return CaptureTargetMeta(displays.front().meta);
}

QCoro::Task<> Take::performAll() {
    const auto start = Clock::now();
    for (const TakeStep& step : options.steps) {
        auto waiting = waitUntil(start + step.at);
        co_await waiting;
        throwIfInterrupted();
        auto performing = perform(step.action);
        co_await performing;
    }
}

QCoro::Task<> Take::perform(TakeStep::Action action) {
    switch (action) {
    case TakeStep::Action::pause:
        return session.pause();
    case TakeStep::Action::resume:
        if (session.phase() == SessionPhase::paused) // a restart has ended the pause
            return session.resume();
        break;
    case TakeStep::Action::restart:
        return session.restart();
    case TakeStep::Action::deleteSession:
        durationSeconds = session.elapsed();
        return session.deleteSession();
    case TakeStep::Action::finish:
        durationSeconds = session.elapsed();
        return session.finish();
    }
    return []() -> QCoro::Task<> { co_return; }();
}

QCoro::Task<> Take::waitUntil(Clock::time_point time) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(time - Clock::now());
    if (interrupted || left.count() <= 0)
        co_return;
    const auto awaited = wake.emplace();
    QTimer::singleShot(left, Qt::PreciseTimer, qApp, [awaited] { awaited.resolve(); });
    co_await awaited;
}

QCoro::Task<TakeReport> Take::report(QString sessionId) {
    auto asking = backend.traces(sessionId);
    const auto traces = co_await asking;
    TakeReport report{
        sessionId, traces.video, traces.events, traces.durationSeconds.value_or(durationSeconds), 0, 0};
    const bool finished = options.steps.back().action == TakeStep::Action::finish;
    if (finished && !report.video) {
        const RecordingsFolder folder(workDirectory());
        const auto muxed = folder.muxed(sessionId);
        report.video = Paths::toText(std::filesystem::exists(muxed) ? muxed : folder.video(sessionId));
    }
    const StreamStatistics statistics = capture.statistics();
    report.framesDelivered = static_cast<std::int64_t>(statistics.framesDelivered);
    report.framesDropped = static_cast<std::int64_t>(statistics.framesDropped + statistics.framesRefused);
    co_return report;
}

void Take::interrupt() {
    interrupted = true;
    if (wake)
        wake->resolve();
}

void Take::throwIfInterrupted() const {
    if (interrupted)
        throw std::runtime_error("interrupted");
}

} // namespace tavro
