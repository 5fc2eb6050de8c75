#include "Platform/Media/WriterPipeline.h"

#include "Core/Log.h"
#include "Core/Paths.h"
#include "Platform/Media/LibavError.h"

#include <QTimer>

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Status = AssetWriter::Status;

// A packet without a successor for this long is written by itself, as a still picture.
constexpr auto longestWait = 300ms;

} // namespace

WriterPipeline::WriterPipeline(std::filesystem::path path, FileType type_)
    : type(type_)
    , file(std::move(path)) {}

WriterPipeline::~WriterPipeline() {
    cancel();
}

void WriterPipeline::setTrack(std::unique_ptr<TrackEncoder> trackEncoder, const QString& label) {
    encoder = std::move(trackEncoder);
    queue = std::make_unique<SerialQueue>(label);
}

bool WriterPipeline::start() {
    if (!encoder || status() != Status::unknown)
        return false;
    {
        const std::lock_guard lock(mutex);
        currentStatus = Status::writing;
    }
    queue->async([this] { run([this] { open(); }); });
    return true;
}

std::int64_t WriterPipeline::position(MediaTime time, int perSecond) const {
    const auto units = [&](MediaTime t) { return av_rescale_q(t.value, {1, t.timescale}, {1, perSecond}); };
    return units(time) - units(*zero);
}

void WriterPipeline::submit(TrackContent content, std::int64_t size) {
    waiting += size;
    queue->async([this, content = std::move(content), size] {
        waiting -= size;
        run([&] { encoder->encode(content, output); });
    });
}

QCoro::Task<> WriterPipeline::finish() {
    if (!queue)
        co_return;
    auto completed = queue->run([this] { run([this] { complete(); }); });
    co_await completed;
}

void WriterPipeline::cancel() {
    settle(Status::cancelled);
}

// Skips the work once the writer has ended.
void WriterPipeline::run(const std::function<void()>& work) {
    if (!isWriting())
        return;
    try {
        work();
    } catch (...) {
        fail(std::current_exception());
    }
}

void WriterPipeline::open() {
    fragments.emplace(file, type, encoder->open());
}

void WriterPipeline::add(libav::Packet packet) {
    const auto now = Clock::now();
    const bool afterSilence = now - std::exchange(lastPacket, now) >= longestWait;
    fragments->add(std::move(packet));
    if (afterSilence) // probably a still screen again, so do not wait
        fragments->flush();
    else if (!watching)
        watchForSilence();
}

void WriterPipeline::watchForSilence() {
    watching = true;
    const auto left = std::max<Clock::duration>(lastPacket + longestWait - Clock::now(), 0s);
    QTimer::singleShot(std::chrono::ceil<std::chrono::milliseconds>(left), [this] {
        watching = false;
        run([this] {
            if (!fragments->hasUnwritten())
                return;
            if (Clock::now() < lastPacket + longestWait)
                watchForSilence();
            else
                fragments->flush();
        });
    });
}

void WriterPipeline::complete() {
    encoder->drain(output);
    fragments->finish();
    settle(Status::completed);
}

void WriterPipeline::fail(std::exception_ptr reason) {
    Log::error(
        QStringLiteral("writer: writing %1 failed: %2").arg(name(), describe(reason).localizedDescription));
    settle(Status::failed, std::move(reason));
}

// The first final status stays.
void WriterPipeline::settle(Status status, std::exception_ptr reason) {
    const std::lock_guard lock(mutex);
    if (currentStatus != Status::unknown && currentStatus != Status::writing)
        return;
    currentStatus = status;
    currentError = std::move(reason);
}

Status WriterPipeline::status() const {
    const std::lock_guard lock(mutex);
    return currentStatus;
}

std::exception_ptr WriterPipeline::error() const {
    const std::lock_guard lock(mutex);
    return currentError;
}

QString WriterPipeline::name() const {
    return Paths::toText(file.path().filename());
}

} // namespace tavro
