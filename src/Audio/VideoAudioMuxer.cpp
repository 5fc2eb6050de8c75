#include "Audio/VideoAudioMuxer.h"

#include "Core/Errors.h"
#include "Core/SerialQueue.h"

#include <QScopeGuard>

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <set>

namespace tavro {

namespace {

PlatformError muxError(VideoAudioMuxer::ErrorCode code) {
    return PlatformError(QStringLiteral("Tavro.Mux"), code);
}

std::unique_ptr<MediaComposition> compose(MediaLibrary& library, const std::filesystem::path& video,
    const std::optional<std::filesystem::path>& audio) {
    auto composition = library.makeComposition();
    const auto picture = library.openAsset(video);
    const auto length = picture->duration();
    if (picture->trackCount(MediaType::video) == 0 ||
        !composition->insertTrack(MediaType::video, picture, length))
        throw muxError(VideoAudioMuxer::noVideoTrack);
    if (!audio)
        return composition;

    const auto sound = library.openAsset(*audio);
    // When the sound cannot be inserted, the file has the picture alone.
    if (sound->trackCount(MediaType::audio) > 0)
        composition->insertTrack(MediaType::audio, sound, std::min(sound->duration(), length));
    return composition;
}

} // namespace

/// The exports under way.
class VideoAudioMuxer::Exports {
public:
    explicit Exports(MediaLibrary& used) : library(used) {}

    void run(const std::filesystem::path& video, const std::optional<std::filesystem::path>& audio,
        const std::filesystem::path& out);
    void cancel();
    void waitForTheirEnd();

private:
    void begin(ExportSession* session);
    void end(ExportSession* session);

    MediaLibrary& library;
    std::mutex mutex;
    std::condition_variable ended;
    std::multiset<ExportSession*> underWay; // null while an export is prepared
    bool cancelled = false;
};

void VideoAudioMuxer::Exports::run(const std::filesystem::path& video,
    const std::optional<std::filesystem::path>& audio, const std::filesystem::path& out) {
    begin(nullptr);
    const auto atEnd = qScopeGuard([this] { end(nullptr); });
    const auto composition = compose(library, video, audio);
    const auto session = library.makeExportSession(*composition);
    if (!session)
        throw muxError(noExportSession);
    begin(session.get());
    const auto atExportsEnd = qScopeGuard([&] { end(session.get()); });
    if (session->exportTo(out) == ExportSession::Status::completed)
        return;
    if (const auto reason = session->error())
        std::rethrow_exception(reason);
    throw muxError(exportFailed);
}

void VideoAudioMuxer::Exports::begin(ExportSession* session) {
    const std::lock_guard lock(mutex);
    if (cancelled)
        throw muxError(exportFailed);
    underWay.insert(session);
}

void VideoAudioMuxer::Exports::end(ExportSession* session) {
    const std::lock_guard lock(mutex);
    underWay.erase(underWay.find(session));
    ended.notify_all();
}

void VideoAudioMuxer::Exports::cancel() {
    const std::lock_guard lock(mutex);
    cancelled = true;
    for (ExportSession* session : underWay)
        if (session)
            session->cancelExport();
}

void VideoAudioMuxer::Exports::waitForTheirEnd() {
    std::unique_lock lock(mutex);
    ended.wait(lock, [this] { return underWay.empty(); });
}

VideoAudioMuxer::VideoAudioMuxer(MediaLibrary& library) : exports(std::make_shared<Exports>(library)) {}

VideoAudioMuxer::~VideoAudioMuxer() {
    cancel();
    exports->waitForTheirEnd(); // they use the library
}

void VideoAudioMuxer::cancel() {
    exports->cancel();
}

QCoro::Task<> VideoAudioMuxer::mux(
    std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) {
    return run(video, audio, out);
}

QCoro::Task<> VideoAudioMuxer::complete(std::filesystem::path video) {
    return run(video, std::nullopt, video);
}

QCoro::Task<> VideoAudioMuxer::run(
    std::filesystem::path video, std::optional<std::filesystem::path> audio, std::filesystem::path out) {
    SerialQueue queue(QStringLiteral("mux")); // files are read and written: not on the caller's thread
    auto done = queue.run([all = exports, video, audio, out] { all->run(video, audio, out); });
    co_await done;
}

} // namespace tavro
