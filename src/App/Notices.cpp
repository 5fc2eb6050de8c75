#include "App/Notices.h"

#include "Core/Paths.h"
#include "Platform/Notifier.h"
#include "Platform/Workspace.h"

namespace tavro {

namespace {

QString freeSpace(std::uintmax_t bytes, const std::filesystem::path& folder) {
    return QStringLiteral("Only %1 MB are free in %2.").arg(bytes / 1'000'000).arg(Paths::toText(folder));
}

} // namespace

Notices::Notices(Notifier& notifierGiven, Workspace& workspaceGiven)
    : notifier(notifierGiven)
    , workspace(workspaceGiven) {}

void Notices::beginFailed(const ErrorDescription& error) {
    tell(QStringLiteral("The recording did not start"), error.localizedDescription, true);
}

void Notices::tooFullToBegin(std::uintmax_t free, const std::filesystem::path& folder) {
    tell(QStringLiteral("The recording did not start"),
        freeSpace(free, folder) + QStringLiteral("\nA recording needs at least 1 GB."), true, folder);
}

void Notices::finishedByFullDisk(std::uintmax_t free, const std::filesystem::path& folder) {
    tell(QStringLiteral("The recording was finished: the disk is nearly full"),
        freeSpace(free, folder) + QStringLiteral("\nWhat was recorded until now is complete."), true, folder);
}

void Notices::writingFailed(const ErrorDescription& error) {
    tell(QStringLiteral("The recording has stopped"),
        error.localizedDescription + QStringLiteral(
                                         "\nWhat was recorded until now is kept. Finish the session, "
                                         "or restart it once this is mended."),
        true);
}

void Notices::restartFailed(const ErrorDescription& error) {
    tell(QStringLiteral("Nothing is being recorded"),
        error.localizedDescription +
            QStringLiteral("\nRestart again once this is mended, or delete the session."),
        true);
}

void Notices::finishFailed(const ErrorDescription& error, const std::optional<std::filesystem::path>& kept) {
    const QString summary = QStringLiteral("The recording was not uploaded");
    if (!kept)
        return tell(summary, error.localizedDescription, true);
    const QString body =
        error.localizedDescription + QStringLiteral("\nIt is kept in ") + Paths::toText(*kept);
    tell(summary, body, true, kept->parent_path());
}

void Notices::narrationLeft(const std::filesystem::path& sound) {
    tell(QStringLiteral("The narration was not uploaded"),
        QStringLiteral("It could not be joined with the video and is kept in ") + Paths::toText(sound), true,
        sound.parent_path());
}

void Notices::deleteFailed(const ErrorDescription& error) {
    tell(QStringLiteral("The session was not deleted"), error.localizedDescription, true);
}

void Notices::savedLocally(const std::filesystem::path& video) {
    tell(QStringLiteral("Recording saved"), Paths::toText(video), false, video.parent_path());
}

void Notices::neverUploaded(const std::vector<std::filesystem::path>& recordings) {
    constexpr qsizetype named = 3;
    QStringList names;
    for (const auto& recording : recordings)
        names << Paths::toText(recording.filename());
    const auto others = names.size() - named;
    QString list = names.mid(0, named).join(QStringLiteral(", "));
    if (others > 0)
        list += QStringLiteral(" and %1 more").arg(others);
    const auto folder = recordings.front().parent_path();
    tell(QStringLiteral("Recordings that were never uploaded"),
        QStringLiteral("In %1: %2").arg(Paths::toText(folder), list), false, folder);
}

void Notices::noTray() {
    tell(QStringLiteral("Tavro is running"),
        QStringLiteral("This desktop shows no tray icons. Start Tavro again to record a new session."),
        false);
}

void Notices::tell(const QString& summary, const QString& body, bool failure,
    const std::optional<std::filesystem::path>& folder) {
    std::optional<Notifier::Action> action;
    if (folder) {
        action = Notifier::Action{QStringLiteral("Open Folder"),
            [this, url = QUrl::fromLocalFile(Paths::toText(*folder))] { workspace.open(url); }};
    }
    notifier.show({.summary = summary, .body = body, .action = std::move(action), .failure = failure});
}

} // namespace tavro
