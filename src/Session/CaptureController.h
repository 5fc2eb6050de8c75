#pragma once

#include "Backend/Models.h"

#include <qcoro/qcorotask.h>

#include <chrono>
#include <filesystem>
#include <optional>

namespace tavro {

/// Records the screen and the narration of a take. Main thread. Call `start` first, then any `pause` and
/// `resume`, then `stop` or `discard`. `restartTake` may replace the take at any time after `start`.
class CaptureController {
public:
    virtual ~CaptureController() = default;

    /// Records `target` into `outputURL`, and the sound beside it when `includeMic` is set. Completes when
    /// the capture runs. Throws failures of the picture, never of the sound.
    virtual QCoro::Task<> start(
        CaptureTargetMeta target, bool includeMic, std::filesystem::path outputURL) = 0;
    virtual void pause() = 0; ///< the picture freezes; the sound goes on
    virtual void resume() = 0;
    /// Ends all files of the take, which stay in fragments; returns the video's.
    virtual QCoro::Task<std::filesystem::path> stop() = 0;
    /// Deletes the take and starts another with the same target.
    virtual QCoro::Task<> restartTake(std::filesystem::path outputURL) = 0;
    /// Stops the take and deletes its files. Never throws.
    virtual QCoro::Task<> discard() = 0;

    /// When the first picture of the take's film was on the screen, if that is known. Also after `stop()`.
    virtual std::optional<std::chrono::steady_clock::time_point> beginning() const { return std::nullopt; }

    /// The take's sound file, if any. Readable after `stop()`.
    virtual std::optional<std::filesystem::path> audioFile() const { return std::nullopt; }
};

/// Makes an ordinary film of a take's fragmented files. Main thread.
class TakeMuxer {
public:
    virtual ~TakeMuxer() = default;
    /// Joins picture and sound into one file. Throws; leaves both inputs untouched.
    virtual QCoro::Task<> mux(
        std::filesystem::path video, std::filesystem::path audio, std::filesystem::path out) = 0;
    /// Replaces the fragments of a take without sound. Throws; leaves the file untouched then.
    virtual QCoro::Task<> complete(std::filesystem::path video) = 0;
};

} // namespace tavro
