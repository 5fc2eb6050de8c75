#pragma once

#include "Platform/MediaComposition.h"
#include "Session/CaptureController.h"

#include <memory>

namespace tavro {

/// Joins picture and sound in one MPEG-4 file, both from time zero, the sound cut to the picture's length.
/// Its own errors have domain "Tavro.Mux" and no text. Main thread.
class VideoAudioMuxer final : public TakeMuxer {
public:
    enum ErrorCode {
        noVideoTrack = 1,
        noExportSession = 2,
        exportFailed = 3, ///< without a reason from the platform
    };

    /// `library` is used on other threads and outlives this object.
    explicit VideoAudioMuxer(MediaLibrary& library);
    /// Cancels, and waits for the export under way.
    ~VideoAudioMuxer() override;

    /// Replaces a file at `out` as a whole or not at all. Works on a thread of its own.
    QCoro::Task<> mux(
        std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) override;
    QCoro::Task<> complete(std::filesystem::path video) override;

    /// Ends all exports, now and later: they fail with `exportFailed`, and their sources stay. Any thread.
    void cancel();

private:
    class Exports;
    QCoro::Task<> run(
        std::filesystem::path video, std::optional<std::filesystem::path> audio, std::filesystem::path out);

    const std::shared_ptr<Exports> exports; // shared with their threads
};

} // namespace tavro
