#include "App/Notices.h"

#include "Core/Paths.h"
#include "Platform/Notifier.h"
#include "Platform/Workspace.h"

namespace tavro {
namespace {

QString freeSpace(std::uintmax_t bytes, const std::filesystem::path& folder) {
    return QStringLiteral("Only %1 MB are free in %2.").arg(bytes / 1'000'000).arg(Paths::toText(folder));
}

/// The names of the first files, and how many more there are.
QString listed(const std::vector<std::filesystem::path>& files) {
    constexpr qsizetype named = 3;
    QStringList names;
    for (const auto& file : files)
        names << Paths::toText(file.filename());
    const auto others = names.size() - named;
    QString list = names.mid(0, named).join(QStringLiteral(", "));
    if (others > 0)
        list += QStringLiteral(" and %1 more").arg(others);
    return list;
}

} // namespace

Notices::Notices(Notifier& notifierGiven, Workspace& workspaceGiven, Upload uploadGiven)
    : notifier(notifierGiven)
    , workspace(workspaceGiven)
    , upload(std::move(uploadGiven)) {}

void Notices::beginFailed(const ErrorDescription& error) {
    tell(QStringLiteral("The recording did not start"), error.localizedDescription, true);
}

void Notices::tooFullToBegin(std::uintmax_t free, const std::filesystem::path& folder) {
    tell(QStringLiteral("The recording did not start"),
        freeSpace(free, folder) + QStringLiteral("\nA recording needs at least 1 GB."), true, folder);
}

void Notices::tooFullToGoOn(std::uintmax_t free, const std::filesystem::path& folder) {
    tell(QStringLiteral("The recording ends: the disk is nearly full"),
        freeSpace(free, folder) + QStringLiteral("\nIt is finished now, while there is room for its film."),
        true, folder);
}

void Notices::writingFailed(const ErrorDescription& error) {
    tell(QStringLiteral("The recording has stopped"),
        error.localizedDescription + QStringLiteral(
                                         "\nWhat was recorded until now is kept. Finish the session, "
                                         "or restart it once this is mended."),
        true);
}

void Notices::sharingStopped() {
    tell(QStringLiteral("The desktop stopped sharing the screen"),
        QStringLiteral("The recording goes on with the last picture and the sound. "
                       "Finish the session to keep it. A restart deletes it and records anew."),
        true);
}

void Notices::restartFailed(const ErrorDescription& error) {
    tell(QStringLiteral("Nothing is being recorded"),
        error.localizedDescription +
            QStringLiteral("\nRestart again once this is mended, or delete the session."),
        true);
}

void Notices::finishFailed(const ErrorDescription& error, const std::optional<std::filesystem::path>& kept,
    const QString& sessionId) {
    const QString summary = QStringLiteral("The recording was not uploaded");
    if (!kept)
        return tell(summary, error.localizedDescription, true);
    const QString body =
        error.localizedDescription + QStringLiteral("\nIt is kept in ") + Paths::toText(*kept);
    tell(summary, body, true, kept->parent_path(), {sessionId});
}

void Notices::uploadsEnded(const std::vector<KeptUploads::Outcome>& outcomes) {
    std::vector<std::filesystem::path> uploaded, left;
    std::vector<QString> again;
    QString reason;
    for (const auto& outcome : outcomes) {
        (outcome.failure ? left : uploaded).push_back(outcome.file);
        if (!outcome.failure)
            continue;
        again.push_back(outcome.sessionId);
        if (reason.isEmpty())
            reason = outcome.failure->localizedDescription;
    }
    if (!uploaded.empty())
        tell(uploaded.size() == 1 ? QStringLiteral("Recording uploaded")
                                  : QStringLiteral("Recordings uploaded"),
            listed(uploaded), false);
    if (!left.empty())
        tell(QStringLiteral("The upload failed"),
            QStringLiteral("%1\nIn %2: %3")
                .arg(reason, Paths::toText(left.front().parent_path()), listed(left)),
            true, left.front().parent_path(), again);
}

void Notices::narrationLeft(const std::filesystem::path& sound) {
    tell(QStringLiteral("The narration was not uploaded"),
        QStringLiteral("It could not be joined with the video and is kept in ") + Paths::toText(sound), true,
        sound.parent_path());
}

void Notices::deleteFailed(const ErrorDescription& error) {
    tell(QStringLiteral("The session was not deleted"), error.localizedDescription, true);
}

void Notices::savedLocally(const std::filesystem::path& video, const std::optional<QUrl>& review) {
    tell(QStringLiteral("Recording saved"), Paths::toText(video), false, video.parent_path(), {}, review);
}

void Notices::neverUploaded(
    const std::vector<std::filesystem::path>& recordings, const std::vector<QString>& sessionIds) {
    const auto folder = recordings.front().parent_path();
    tell(QStringLiteral("Recordings that were never uploaded"),
        QStringLiteral("In %1: %2").arg(Paths::toText(folder), listed(recordings)), false, folder,
        sessionIds);
}

void Notices::noTray() {
    tell(QStringLiteral("Tavro is running"),
        QStringLiteral("This desktop shows no tray icons. Start Tavro again to record a new session. "
                       "Settings and Quit are in the menu of its icon among the applications."),
        false);
}

void Notices::tell(const QString& summary, const QString& body, bool failure,
    const std::optional<std::filesystem::path>& folder, const std::vector<QString>& toUpload,
    const std::optional<QUrl>& review) {
    std::vector<Notifier::Action> actions;
    if (review)
        actions.push_back({QStringLiteral("Review"), [this, url = *review] { workspace.open(url); }});
    if (folder) {
        actions.push_back({QStringLiteral("Open Folder"),
            [this, url = QUrl::fromLocalFile(Paths::toText(*folder))] { workspace.open(url); }});
    }
    if (!toUpload.empty())
        actions.push_back({QStringLiteral("Upload Again"), [this, toUpload] { upload(toUpload); }});
    notifier.show({.summary = summary, .body = body, .actions = std::move(actions), .failure = failure});
}

} // namespace tavro
