#include "Session/RecordingsFolder.h"

#include "Core/Log.h"
#include "Core/Paths.h"

#include <QFile>

#include <algorithm>

namespace tavro {

namespace fs = std::filesystem;

namespace {

constexpr auto videoSuffix = ".mp4";
constexpr auto soundSuffix = ".m4a";
constexpr auto muxedSuffix = "-muxed.mp4";
constexpr auto markSuffix = ".uploaded";

void removeQuietly(const fs::path& path) {
    std::error_code ignored;
    fs::remove(path, ignored);
}

std::vector<fs::path> filesIn(const fs::path& folder) {
    std::vector<fs::path> files;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end;
         entry.increment(failed)) {
        std::error_code unreadable;
        if (entry->is_regular_file(unreadable))
            files.push_back(entry->path());
    }
    std::ranges::sort(files);
    return files;
}

} // namespace

RecordingsFolder::RecordingsFolder(fs::path path) : folder(std::move(path)) {
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    fs::permissions(folder, fs::perms::owner_all, ignored);
}

// An identifier comes from the backend: whatever it is, the file lies in this folder.
fs::path RecordingsFolder::file(const QString& sessionId, const char* suffix) const {
    QString name = sessionId;
    name.replace(QLatin1Char('/'), QLatin1Char('_')).remove(QChar::Null);
    return folder / Paths::fromText(name + QLatin1String(suffix));
}

fs::path RecordingsFolder::video(const QString& sessionId) const {
    return file(sessionId, videoSuffix);
}

fs::path RecordingsFolder::muxed(const QString& sessionId) const {
    return file(sessionId, muxedSuffix);
}

// Without its mark a session counts as never uploaded, and its files are kept: nothing is lost by a failure
// here.
void RecordingsFolder::markUploaded(const QString& sessionId) const {
    QFile mark(Paths::toText(file(sessionId, markSuffix)));
    if (mark.open(QIODevice::WriteOnly))
        mark.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
}

std::vector<fs::path> RecordingsFolder::tidy() const {
    for (const fs::path& mark : filesIn(folder)) {
        if (mark.extension() != markSuffix)
            continue;
        const fs::path stem = folder / mark.stem();
        for (const char* suffix : {videoSuffix, soundSuffix, muxedSuffix, markSuffix})
            removeQuietly(
                stem.string() + suffix); // the mark last, so that an interrupted removal is taken up again
    }
    std::vector<fs::path> kept = filesIn(folder);
    for (const fs::path& path : kept)
        Log::info(
            QStringLiteral("recordings: kept %1, its session was never uploaded").arg(Paths::toText(path)));
    return kept;
}

} // namespace tavro
