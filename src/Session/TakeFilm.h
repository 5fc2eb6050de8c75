#pragma once

#include "Session/CaptureController.h"

#include <QString>

namespace tavro {

struct TakeFilm {
    std::filesystem::path file;
    bool hasItsSound = true; ///< false: the take's sound could not be joined
    bool isWhole = true;     ///< false: the picture stays in fragments
};

/// Makes one film of a take's files: `video` and `audio` joined in `joined`, else the completed `video`
/// alone. Failures are logged as lines of `who`. Main thread.
QCoro::Task<TakeFilm> makeFilm(TakeMuxer& muxer, std::filesystem::path video,
    std::optional<std::filesystem::path> audio, std::filesystem::path joined, QString who,
    QString withoutMux);

} // namespace tavro
