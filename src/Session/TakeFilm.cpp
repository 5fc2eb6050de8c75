#include "Session/TakeFilm.h"

#include "Core/Errors.h"
#include "Core/Log.h"
#include "Core/Paths.h"

namespace tavro {

namespace {

/// The time of the last picture, also when the film is made days later.
void keepTime(const std::filesystem::path& film, std::filesystem::file_time_type recorded) {
    std::error_code ignored;
    std::filesystem::last_write_time(film, recorded, ignored);
}

} // namespace

QCoro::Task<TakeFilm> makeFilm(TakeMuxer& muxer, std::filesystem::path video,
    std::optional<std::filesystem::path> audio, std::filesystem::path joined, QString who,
    QString withoutMux) {
    TakeFilm film{video};
    std::error_code unknown;
    const auto recorded = std::filesystem::last_write_time(video, unknown);
    if (audio) {
        try {
            auto muxing = muxer.mux(video, *audio, joined);
            co_await muxing;
            Log::info(QStringLiteral("%1: mux succeeded → %2").arg(who, Paths::toText(joined.filename())));
            film.file = joined;
            if (!unknown)
                keepTime(joined, recorded);
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
        if (!unknown)
            keepTime(video, recorded);
    } catch (...) { // the fragmented file is playable too
        Log::error(QStringLiteral("%1: %2 stays in fragments: %3")
                       .arg(who, Paths::toText(video.filename()), localizedDescriptionOfCurrentError()));
        film.isWhole = false;
    }
    co_return film;
}

} // namespace tavro
