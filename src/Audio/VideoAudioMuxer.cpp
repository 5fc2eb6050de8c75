#include "Audio/VideoAudioMuxer.h"

#include "Core/Errors.h"
#include "Core/Files.h"
#include "Core/SerialQueue.h"

#include <algorithm>
#include <utility>

namespace tavro {

namespace {

PlatformError muxError(VideoAudioMuxer::ErrorCode code) {
    return PlatformError(QStringLiteral("Tavro.Mux"), code);
}

std::unique_ptr<MediaComposition> compose(
    MediaLibrary& library, const std::filesystem::path& video, const std::filesystem::path& audio) {
    auto composition = library.makeComposition();
    const auto picture = library.openAsset(video);
    const auto length = picture->duration();
    if (picture->trackCount(MediaType::video) == 0 ||
        !composition->insertTrack(MediaType::video, picture, length))
        throw muxError(VideoAudioMuxer::noVideoTrack);

    const auto sound = library.openAsset(audio);
    // When the sound cannot be inserted, the file has the picture alone.
    if (sound->trackCount(MediaType::audio) > 0)
        composition->insertTrack(MediaType::audio, sound, std::min(sound->duration(), length));
    return composition;
}

void muxNow(MediaLibrary& library, const std::filesystem::path& video, const std::filesystem::path& audio,
    const std::filesystem::path& out) {
    const auto composition = compose(library, video, audio);
    Files::remove(out);
    const auto session = library.makeExportSession(*composition);
    if (!session)
        throw muxError(VideoAudioMuxer::noExportSession);
    if (session->exportTo(out) == ExportSession::Status::completed)
        return;
    if (const auto reason = session->error())
        std::rethrow_exception(reason);
    throw muxError(VideoAudioMuxer::exportFailed);
}

} // namespace

VideoAudioMuxer::VideoAudioMuxer(MediaLibrary& library_) : library(library_) {}

QCoro::Task<> VideoAudioMuxer::mux(
    std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) {
    SerialQueue queue(QStringLiteral("mux")); // files are read and written: not on the caller's thread
    auto done = queue.run([&files = library, video = std::move(video), audio = std::move(audio),
                              out = std::move(out)] { muxNow(files, video, audio, out); });
    co_await done;
}

} // namespace tavro
