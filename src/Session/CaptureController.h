#pragma once

#include "Backend/Models.h"

#include <qcoro/qcorotask.h>

#include <filesystem>
#include <optional>

namespace tavro {

/// What records the screen and the narration of a take. All operations are called on the main thread:
/// `start` first; then any `pause` and `resume`; then one of `stop` and `discard`. `restartTake` may replace
/// the take at any point after `start`.
class CaptureController {
public:
    virtual ~CaptureController() = default;

    /// Records `target` into `outputURL`, with sound beside it when `includeMic`. Completes when the capture
    /// runs. Throws what keeps the picture from being recorded; a failure of the sound never does.
    virtual QCoro::Task<> start(
        CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL) = 0;
    virtual void pause() = 0; ///< the picture stands still; the sound goes on
    virtual void resume() = 0;
    /// Completes when all files of the take are finished; returns the video's.
    virtual QCoro::Task<std::filesystem::path> stop() = 0;
    /// Throws the take away and starts another with the same target.
    virtual QCoro::Task<> restartTake(std::filesystem::path outputURL) = 0;
    /// Stops and deletes the take's files. Never throws.
    virtual QCoro::Task<> discard() = 0;

    /// The finished sound file of the take, when it has one. Readable after `stop()`.
    virtual std::optional<std::filesystem::path> audioFile() const { return std::nullopt; }
};

/// Joins the picture and the sound of a take into one file. Throws; leaves both inputs untouched.
class TakeMuxer {
public:
    virtual ~TakeMuxer() = default;
    virtual QCoro::Task<> mux(
        std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) = 0;
};

} // namespace tavro
