#pragma once

#include "Platform/MediaComposition.h"
#include "Session/CaptureController.h"

namespace tavro {

/// Joins picture and sound in one MPEG-4 file, both from time zero, the sound cut to the picture's length.
/// Its own errors have domain "Tavro.Mux" and no text.
class VideoAudioMuxer final : public TakeMuxer {
public:
    enum ErrorCode {
        noVideoTrack = 1,
        noExportSession = 2,
        exportFailed = 3, ///< without a reason from the platform
    };

    /// `library` is used on other threads and outlives every `mux` under way.
    explicit VideoAudioMuxer(MediaLibrary& library);

    /// Replaces a file at `out`; a failed export may leave part of one. Works on a thread of its own.
    QCoro::Task<> mux(
        std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) override;

private:
    MediaLibrary& library;
};

} // namespace tavro
