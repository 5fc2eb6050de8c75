#pragma once

#include "Session/KeptUploads.h"

#include <QUrl>

#include <filesystem>
#include <functional>
#include <optional>
#include <vector>

namespace tavro {

class Notifier;
class Workspace;

/// Desktop notifications to the user. Those of a failure say what happened, in the words of `inWords`, what
/// became of the recording, and what to do.
class Notices {
public:
    /// Notifier and workspace outlive the object. `upload` is the action “Upload Again”.
    using Upload = std::function<void(const std::vector<QString>& sessionIds)>;
    Notices(Notifier& notifier, Workspace& workspace, Upload upload);

    void beginFailed(const ErrorDescription& error);
    /// Too few bytes are free in `folder` to begin a take, or to go on with it.
    void tooFullToBegin(std::uintmax_t free, const std::filesystem::path& folder);
    void tooFullToGoOn(std::uintmax_t free, const std::filesystem::path& folder);
    /// Writing failed during a take; the part recorded so far is kept.
    void writingFailed(const ErrorDescription& error);
    /// The desktop stopped sharing during a take, which goes on with its last picture.
    void sharingStopped();
    /// The old take is deleted and no new take runs.
    void restartFailed(const ErrorDescription& error);
    /// `kept`: the take's file, when there is one.
    void finishFailed(const ErrorDescription& error, const std::optional<std::filesystem::path>& kept,
        const QString& sessionId);
    void uploadsEnded(const std::vector<KeptUploads::Outcome>& outcomes);
    /// The uploaded or saved video lacks the narration, which is in `sound`.
    void narrationLeft(const std::filesystem::path& sound);
    void deleteFailed(const ErrorDescription& error);
    /// The token is in this process alone.
    void signInNotStored(const ErrorDescription& error);
    /// `review`: the page that shows the video, if there is one.
    void savedLocally(const std::filesystem::path& video, const std::optional<QUrl>& review);
    /// `recordings` is not empty. `sessionIds`: of those that can be uploaded to the service in use.
    void neverUploaded(
        const std::vector<std::filesystem::path>& recordings, const std::vector<QString>& sessionIds);
    void noTray();

private:
    void tell(const QString& summary, const QString& body, bool failure,
        const std::optional<std::filesystem::path>& folder = std::nullopt,
        const std::vector<QString>& toUpload = {}, const std::optional<QUrl>& review = std::nullopt);

    Notifier& notifier;
    Workspace& workspace;
    const Upload upload;
};

} // namespace tavro
