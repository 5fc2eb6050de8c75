#include "Session/TakeFilm.h"

#include "Core/Errors.h"
#include "Core/Log.h"
#include "Core/Paths.h"

namespace tavro {

QCoro::Task<TakeFilm> makeFilm(TakeMuxer& muxer, std::filesystem::path video,
    std::optional<std::filesystem::path> audio, std::filesystem::path joined, QString who,
    QString withoutMux) {
    TakeFilm film{video};
    if (audio) {
        try {
            auto muxing = muxer.mux(video, *audio, joined);
            co_await muxing;
            Log::info(QStringLiteral("%1: mux succeeded → %2").arg(who, Paths::toText(joined.filename())));
            film.file = joined;
            co_return film;
        } catch (...) {
            Log::error(QStringLiteral("%1: mux failed (%2); %3")
                           .arg(who, localizedDescriptionOfCurrentError(), withoutMux));
            film.hasItsSound = false;
        }
    }
    try {
        auto completing = muxer.complete(video);
        co_await completing;
    } catch (...) { // the fragmented file is playable too
        Log::error(QStringLiteral("%1: %2 stays in fragments: %3")
                       .arg(who, Paths::toText(video.filename()), localizedDescriptionOfCurrentError()));
        film.isWhole = false;
    }
    co_return film;
}

} // namespace tavro
