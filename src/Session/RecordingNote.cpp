#include "Session/RecordingNote.h"

#include "Backend/Json.h"
#include "Core/Files.h"
#include "Core/Log.h"
#include "Core/Paths.h"

#include <QFile>

#include <cerrno>
#include <sys/file.h>

namespace tavro {

namespace fs = std::filesystem;

constexpr auto jsonForm(const KeptRecording*) {
    return json::record("KeptRecording", json::field("sessionId", &KeptRecording::sessionId),
        json::field("service", &KeptRecording::service),
        json::field("durationSeconds", &KeptRecording::durationSeconds),
        json::field("finishTold", &KeptRecording::finishTold),
        json::field("isWhole", &KeptRecording::isWhole));
}

RecordingNote::RecordingNote(fs::path path, KeptRecording kept)
    : file(std::move(path))
    , recording(std::move(kept)) {
    write();
}

RecordingNote::~RecordingNote() = default;

void RecordingNote::update(const std::function<void(KeptRecording&)>& change) {
    change(recording);
    write();
}

void RecordingNote::remove() {
    Files::remove(file);
    lock.reset();
}

// The new file has its lock before it takes the place of the old one.
void RecordingNote::write() {
    fs::path unfinished = file;
    unfinished += Files::unfinishedSuffix;
    auto next = std::make_unique<QFile>(Paths::toText(unfinished));
    const QByteArray text = encodeJson(recording);
    std::error_code failed;
    if (next->open(QIODevice::WriteOnly, QFile::ReadOwner | QFile::WriteOwner)) {
        ::flock(next->handle(), LOCK_EX | LOCK_NB); // without locks on this file system, no use is noticed
        if (next->write(text) == text.size() && next->flush()) {
            fs::rename(unfinished, file, failed);
            if (!failed) {
                lock = std::move(next);
                return;
            }
        }
    }
    Log::error(QStringLiteral("recordings: %1 was not written: %2")
                   .arg(Paths::toText(file),
                       failed ? QString::fromStdString(failed.message()) : next->errorString()));
    Files::remove(unfinished);
}

std::optional<KeptRecording> RecordingNote::read(const fs::path& file) {
    QFile stored(Paths::toText(file));
    if (!stored.open(QIODevice::ReadOnly))
        return std::nullopt;
    try {
        return decodeJson<KeptRecording>(stored.readAll());
    } catch (const JsonError& error) {
        Log::error(
            QStringLiteral("recordings: %1 is not readable: %2").arg(Paths::toText(file), error.text()));
        return std::nullopt;
    }
}

bool RecordingNote::isHeld(const fs::path& file) {
    QFile stored(Paths::toText(file));
    return stored.open(QIODevice::ReadOnly) && ::flock(stored.handle(), LOCK_SH | LOCK_NB) != 0 &&
           errno == EWOULDBLOCK;
}

std::vector<KeptRecording> RecordingNote::all(const fs::path& folder) {
    std::vector<KeptRecording> kept;
    std::error_code failed;
    for (fs::directory_iterator entry(folder, failed), end; !failed && entry != end; entry.increment(failed))
        if (entry->path().extension() == ".json")
            if (auto recording = read(entry->path()))
                kept.push_back(*std::move(recording));
    return kept;
}

} // namespace tavro
