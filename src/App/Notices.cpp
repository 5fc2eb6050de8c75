#include "App/Notices.h"

#include "Core/ErrorWords.h"
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

/// One sentence or more a line, without the empty ones.
QString lines(QStringList sentences) {
    sentences.removeAll(QString());
    return sentences.join(QLatin1Char('\n'));
}

/// Another upload may do what this one did not.
bool canBeTriedAgain(const ErrorDescription& error) {
    return error.cause.kind != Cause::unknownToService && error.cause.kind != Cause::recordingUnusable;
}

/// What to do about a recording that is kept because its upload failed.
QString uploadRemedy(const ErrorDescription& error, const ErrorWords& words) {
    if (!canBeTriedAgain(error))
        return words.remedy;
    const QString again = QStringLiteral("Tavro offers to upload it again, here and at its next start.");
    return words.remedy.isEmpty() ? again : words.remedy + QLatin1Char(' ') + again;
}

} // namespace

Notices::Notices(Notifier& notifierGiven, Workspace& workspaceGiven, Upload uploadGiven)
    : notifier(notifierGiven)
    , workspace(workspaceGiven)
    , upload(std::move(uploadGiven)) {}

void Notices::beginFailed(const ErrorDescription& error) {
    const ErrorWords words = inWords(error, Attempt::createSession);
    const bool isAnotherUnderWay = error.cause.kind == Cause::sessionUnderWay;
    tell(QStringLiteral("The recording did not start"),
        lines({words.happened,
            isAnotherUnderWay ? QStringLiteral("Its recording is not affected.")
                              : QStringLiteral("Nothing was recorded."),
            words.remedy}),
        true);
}

void Notices::tooFullToBegin(std::uintmax_t free, const std::filesystem::path& folder) {
    tell(QStringLiteral("The recording did not start"),
        lines({freeSpace(free, folder), QStringLiteral("Nothing was recorded."),
            QStringLiteral("Make room: a recording needs at least 1 GB.")}),
        true, folder);
}

void Notices::tooFullToGoOn(std::uintmax_t free, const std::filesystem::path& folder) {
    tell(QStringLiteral("The recording ends: the disk is nearly full"),
        freeSpace(free, folder) + QStringLiteral("\nIt is finished now, while there is room for its film."),
        true, folder);
}

void Notices::writingFailed(const ErrorDescription& error) {
    const ErrorWords words = inWords(error, Attempt::local);
    tell(QStringLiteral("The recording has stopped"),
        lines({words.happened, QStringLiteral("What was recorded until now is kept."), words.remedy,
            QStringLiteral("Finish the session, or restart it once this is mended.")}),
        true);
}

void Notices::sharingStopped() {
    tell(QStringLiteral("The desktop stopped sharing the screen"),
        QStringLiteral("The recording goes on with the last picture and the sound. "
                       "Finish the session to keep it. A restart deletes it and records anew."),
        true);
}

void Notices::restartFailed(const ErrorDescription& error) {
    const ErrorWords words = inWords(error, Attempt::local);
    tell(QStringLiteral("Nothing is being recorded"),
        lines({words.happened, QStringLiteral("The take before the restart is deleted."), words.remedy,
            QStringLiteral("Restart again once this is mended, or delete the session.")}),
        true);
}

void Notices::finishFailed(const ErrorDescription& error, const std::optional<std::filesystem::path>& kept,
    const QString& sessionId) {
    const ErrorWords words = inWords(error, Attempt::upload);
    const QString summary = QStringLiteral("The recording was not uploaded");
    if (!kept)
        return tell(
            summary, lines({words.happened, QStringLiteral("There is no recording."), words.remedy}), true);
    tell(summary,
        lines({words.happened, QStringLiteral("The recording is kept in ") + Paths::toText(*kept),
            uploadRemedy(error, words)}),
        true, kept->parent_path(), canBeTriedAgain(error) ? std::vector{sessionId} : std::vector<QString>());
}

void Notices::uploadsEnded(const std::vector<KeptUploads::Outcome>& outcomes) {
    std::vector<std::filesystem::path> uploaded, left;
    std::vector<QString> again;
    const ErrorDescription* reason = nullptr;
    for (const auto& outcome : outcomes) {
        (outcome.failure ? left : uploaded).push_back(outcome.file);
        if (!outcome.failure)
            continue;
        if (canBeTriedAgain(*outcome.failure))
            again.push_back(outcome.sessionId);
        if (!reason)
            reason = &*outcome.failure;
    }
    if (!uploaded.empty())
        tell(uploaded.size() == 1 ? QStringLiteral("Recording uploaded")
                                  : QStringLiteral("Recordings uploaded"),
            listed(uploaded), false);
    if (!reason)
        return;
    const auto folder = left.front().parent_path();
    const ErrorWords words = inWords(*reason, Attempt::upload);
    tell(QStringLiteral("The upload failed"),
        lines({words.happened, QStringLiteral("In %1: %2").arg(Paths::toText(folder), listed(left)),
            uploadRemedy(*reason, words)}),
        true, folder, again);
}

void Notices::narrationLeft(const std::filesystem::path& sound) {
    tell(QStringLiteral("The narration was not uploaded"),
        QStringLiteral("It could not be joined with the video and is kept in ") + Paths::toText(sound), true,
        sound.parent_path());
}

void Notices::deleteFailed(const ErrorDescription& error) {
    const ErrorWords words = inWords(error, Attempt::deleteSession);
    tell(QStringLiteral("The session was not deleted"),
        lines({words.happened, QStringLiteral("Its recording is deleted from this computer."), words.remedy}),
        true);
}

void Notices::signInNotStored(const ErrorDescription& error) {
    const ErrorWords words = inWords(error, Attempt::local);
    tell(QStringLiteral("The sign-in was not stored"),
        lines({words.happened, QStringLiteral("You stay signed in until Tavro ends."), words.remedy}), true);
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
