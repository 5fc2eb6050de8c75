#pragma once

#include "Platform/MediaComposition.h"
#include "Session/CaptureController.h"

namespace tavro {

/// Lays a take's sound beside its picture, from time zero and cut to the picture's length, in one MPEG-4
/// file. Failures of its own are errors of domain "Tavro.Mux" without a text.
class VideoAudioMuxer final : public TakeMuxer {
public:
    enum ErrorCode {
        noVideoTrack = 1,
        noExportSession = 2,
        exportFailed = 3, ///< and the platform does not say why
    };

    /// `library` is used off the main thread and outlives what is under way.
    explicit VideoAudioMuxer(MediaLibrary& library);

    /// A file at `out` is replaced; a failed export may leave part of one there. Works away from the caller's
    /// thread.
    QCoro::Task<> mux(
        std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) override;

private:
    MediaLibrary& library;
};

} // namespace tavro
