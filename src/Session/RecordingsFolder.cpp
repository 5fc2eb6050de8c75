#include "Session/RecordingsFolder.h"

#include "Core/Errors.h"
#include "Core/Files.h"
#include "Core/Log.h"
#include "Core/Paths.h"
#include "Session/RecordingNote.h"

#include <QFile>

#include <algorithm>
#include <chrono>
#include <sys/stat.h>
#include <unistd.h>

namespace tavro {

namespace fs = std::filesystem;

namespace {

constexpr auto videoSuffix = ".mp4";
constexpr auto soundSuffix = ".m4a";
constexpr auto muxedSuffix = "-muxed.mp4";
constexpr auto noteSuffix = ".json";
constexpr auto markSuffix = ".uploaded";

// Another instance that is about to end may still write; its files keep changing.
constexpr std::chrono::minutes longestStandstill{1};

bool isFile(const fs::path& path) {
    std::error_code ignored;
    return fs::is_regular_file(path, ignored);
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

bool isAbandoned(const fs::path& unfinished) {
    std::error_code failed;
    const auto changed = fs::last_write_time(unfinished, failed);
    return !failed && fs::file_time_type::clock::now() - changed > longestStandstill;
}

// A note without a recording, of no take under way.
bool isLoneNote(const fs::path& path) {
    const std::string stem = (path.parent_path() / path.stem()).string();
    return path.extension() == noteSuffix && !isFile(stem + videoSuffix) && !isFile(stem + muxedSuffix) &&
           !isFile(stem + soundSuffix) && !RecordingNote::isHeld(path) && RecordingNote::read(path);
}

// True for the most complete file of a recording: joined, else picture, else sound.
bool standsForItsRecording(const fs::path& path) {
    if (path.string().ends_with(muxedSuffix))
        return true;
    const std::string stem = (path.parent_path() / path.stem()).string();
    if (isFile(stem + muxedSuffix))
        return false;
    return path.extension() == videoSuffix ||
           (path.extension() == soundSuffix && !isFile(stem + videoSuffix));
}

} // namespace

RecordingsFolder::RecordingsFolder(fs::path path) : folder(std::move(path)) {
    std::error_code ignored;
    fs::create_directories(folder, ignored);
    if (const QString why = obstacle(); !why.isEmpty())
        Log::error(QStringLiteral("recordings: ") + why);
}

// In a folder that all may write, e.g. $TMPDIR=/tmp, another user can be the first to take the name.
QString RecordingsFolder::obstacle() const {
    struct stat status {};
    if (::lstat(folder.c_str(), &status) != 0)
        return {};
    const bool isFolder = S_ISDIR(status.st_mode); // not a link, which could lead anywhere
    if (isFolder && status.st_uid == ::geteuid()) {
        if ((status.st_mode & ALLPERMS) != S_IRWXU)
            ::chmod(folder.c_str(), S_IRWXU);
        return {};
    }
    return QStringLiteral(
        "Tavro does not keep recordings in %1, which %2. Remove it, or set TMPDIR to a folder "
        "of your own.")
        .arg(Paths::toText(folder),
            isFolder ? QStringLiteral("belongs to another user") : QStringLiteral("is not a folder"));
}

void RecordingsFolder::requireOwn() const {
    if (const QString why = obstacle(); !why.isEmpty())
        throw PlatformError(QStringLiteral("Tavro.RecordingsFolder"), 1, why);
}

// The identifier comes from the backend; the file must stay in this folder.
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

fs::path RecordingsFolder::sound(const QString& sessionId) const {
    return file(sessionId, soundSuffix);
}

fs::path RecordingsFolder::note(const QString& sessionId) const {
    return file(sessionId, noteSuffix);
}

std::uintmax_t RecordingsFolder::size(const QString& sessionId) const {
    std::uintmax_t sum = 0;
    for (const fs::path& part : {video(sessionId), sound(sessionId)}) {
        std::error_code missing;
        const auto bytes = fs::file_size(part, missing);
        sum += missing ? 0 : bytes;
    }
    return sum;
}

// A failure loses nothing: without its mark a session counts as not uploaded, and its files are kept.
void RecordingsFolder::markUploaded(const QString& sessionId) const {
    if (!obstacle().isEmpty())
        return;
    QFile mark(Paths::toText(file(sessionId, markSuffix)));
    if (!mark.open(QIODevice::WriteOnly))
        return;
    mark.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    Files::remove(note(sessionId));
}

void RecordingsFolder::removeUploaded() const {
    if (!obstacle().isEmpty())
        return;
    for (const fs::path& mark : filesIn(folder)) {
        if (mark.extension() != markSuffix)
            continue;
        const std::string stem = (folder / mark.stem()).string();
        if (isFile(stem + muxedSuffix)) // else the upload lacks the sound
            Files::remove(stem + soundSuffix);
        for (const char* suffix : {videoSuffix, muxedSuffix, noteSuffix, markSuffix})
            Files::remove(stem + suffix); // the mark last: an interrupted removal continues next time
    }
}

std::vector<fs::path> RecordingsFolder::tidy() const {
    if (!obstacle().isEmpty())
        return {};
    removeUploaded();
    for (const fs::path& path : filesIn(folder))
        if ((path.extension() == Files::unfinishedSuffix && isAbandoned(path)) || isLoneNote(path))
            Files::remove(path);
    std::vector<fs::path> kept = filesIn(folder);
    std::erase_if(kept, [](const fs::path& path) { return path.extension() == noteSuffix; });
    for (const fs::path& path : kept)
        Log::info(
            QStringLiteral("recordings: kept %1, its session was never uploaded").arg(Paths::toText(path)));
    std::erase_if(kept, [](const fs::path& path) { return !standsForItsRecording(path); });
    return kept;
}

} // namespace tavro
